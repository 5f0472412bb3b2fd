#include "data/TableRowSource.h"

#include <algorithm>

Result<Record> TableRowSource::load() {
    const Result<QList<Record>> records = rows_.read();
    if (!records || row_ >= records->size())
        return readFailure(kind_, rows_.numberOf(row_));
    count_ = std::max(1, int(records->size()));
    return records->at(row_);
}

Result<> TableRowSource::save(const Edit& edit) {
    if (!rows_.edit(row_, edit).ok())
        return saveFailure(kind_, rows_.numberOf(row_));
    return {};
}
