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
    // A row the sysop left as it was is not written at all: a text line written again would
    // come out in the table's own spelling.
    const Result<QList<Record>> records = rows_.read();
    if (!records || row_ >= records->size())
        return saveFailure(kind_, rows_.numberOf(row_));
    const Result<Record> edited = edit(records->at(row_));
    if (edited && edited->bytes() == records->at(row_).bytes())
        return {};
    if (!rows_.edit(row_, edit).ok())
        return saveFailure(kind_, rows_.numberOf(row_));
    return {};
}
