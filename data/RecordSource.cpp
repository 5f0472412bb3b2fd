#include "data/RecordSource.h"

#include "data/Board.h"
#include "data/FileHelpers.h"
#include "data/RecordFile.h"

Failure listLoadFailure() {
    return {QStringLiteral("An error occurred; closing configuration.")};
}

Failure readFailure(const QString& kind, int number) {
    return {QStringLiteral("Error reading %1 %2, closing configuration.").arg(kind).arg(number)};
}

Failure saveFailure(const QString& kind, int number) {
    return {QStringLiteral("Error saving %1 %2, closing configuration.").arg(kind).arg(number)};
}

FileRecordSource::FileRecordSource(const Board& board, const RecordLayout& file, QString kind,
                                   int number, int fileNumber)
    : board_(board), file_(file), kind_(std::move(kind)), number_(number), fileNumber_(fileNumber) {
}

QString FileRecordSource::path() const {
    return board_.path(file_, fileNumber_);
}

Result<Record> FileRecordSource::read() const {
    Record record(file_);
    if (!filehelpers::touchFile(path(), false).ok() ||
        !recordfile::read(path(), number_, record).ok())
        return readFailure(kind_, number_);
    return record;
}

Result<Record> FileRecordSource::load() {
    return read();
}

Result<> FileRecordSource::save(const Edit& edit) {
    const Result<Record> current = read();
    if (!current)
        return saveFailure(kind_, number_);
    const Result<Record> edited = edit(current.value());
    if (!edited)
        return failureOf(edited);
    if (!recordfile::write(path(), number_, edited.value()).ok())
        return saveFailure(kind_, number_);
    return {};
}
