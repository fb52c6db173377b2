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

// The payload is left out: every row binds one.
bool carriesOver(const Row* last, const Row& row) {
    return last != nullptr &&
           ((last->intcol1 != VELDB_NO_VALUE && row.intcol1 == VELDB_NO_VALUE) ||
            (!last->appName.empty() && row.appName.empty()) || (!last->rsvdName.empty() && row.rsvdName.empty()));
}

} // namespace bench
