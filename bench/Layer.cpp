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

bool carriesOver(unsigned& bound, const Row& row) {
    const unsigned held = (row.intcol1 != VELDB_NO_VALUE ? 1U : 0U) | (row.appName.empty() ? 0U : 2U) |
                          (row.rsvdName.empty() ? 0U : 4U); // the payload is always bound
    const bool carries = (bound & ~held) != 0;
    bound = held;
    return carries;
}

} // namespace bench
