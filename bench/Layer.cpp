#include "bench/Layer.h"

namespace bench {

Rows Layer::newRows(unsigned count) {
    Rows rows(count);
    for (Row*& row : rows) {
        row = new Row;
    }
    return rows;
}

void Layer::release(Rows& rows) {
    for (const Row* row : rows) {
        delete row;
    }
    rows.clear();
}

} // namespace bench
