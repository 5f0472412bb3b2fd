#include "data/TextLineRows.h"

#include "data/Board.h"
#include "data/records/TextLines.h"
#include "platform/Cp437.h"
#include "platform/FileAccess.h"
#include "platform/FileWrite.h"

#include <QFileInfo>

namespace {

constexpr int kFunctionBlockHead = 2;

QByteArray withoutLineEnd(QByteArray line) {
    if (line.endsWith('\r'))
        line.chop(1);
    return line;
}

} // namespace

TextLineRows::TextLineRows(const Board& board, Table table, QString fileName)
    : board_(board), table_(std::move(table)),
      fileName_(fileName.isEmpty() ? table_.line->nameOf() : std::move(fileName)) {}

QString TextLineRows::path() const {
    return board_.filePath(table_.line->directory, fileName_);
}

Result<TextLineRows::Lines> TextLineRows::load() const {
    Lines lines;
    if (QFileInfo::exists(path())) {
        const Result<QByteArray> text = fileaccess::readSmall(path());
        if (!text)
            return failureOf(text);
        QList<QByteArray> all = text->split('\n');
        // The line end of the last line leaves an empty piece behind it.
        if (!all.isEmpty() && all.back().isEmpty())
            all.removeLast();
        // A function block is read no further than its head and the lines it may hold: every
        // line an insert may have added is read back, so no save drops one.
        if (table_.head && all.size() > kFunctionBlockHead + table_.limit)
            all.resize(kFunctionBlockHead + table_.limit);
        for (const QByteArray& raw : all) {
            if (table_.head && lines.head.size() < kFunctionBlockHead) {
                lines.head << withoutLineEnd(raw);
                continue;
            }
            if (const QByteArray line = raw.trimmed(); !line.isEmpty())
                lines.rows << line;
        }
    }
    while (table_.head && lines.head.size() < kFunctionBlockHead)
        lines.head << QByteArray();
    return lines;
}

Result<> TextLineRows::store(const Lines& lines) const {
    QByteArray text;
    for (const QList<QByteArray>* part : {&lines.head, &lines.rows}) {
        for (const QByteArray& line : *part)
            text += line + "\r\n";
    }
    return filewrite::replace(path(), text);
}

Result<TextLineRows::Lines> TextLineRows::loadWith(int row) const {
    Result<Lines> lines = load();
    if (lines && (row < 0 || row >= lines->rows.size()))
        return noSuchRow(*this, row + 1);
    return lines;
}

Result<QList<Record>> TextLineRows::read() {
    const Result<Lines> lines = load();
    if (!lines)
        return failureOf(lines);
    QList<Record> rows;
    for (const QByteArray& line : lines->rows)
        rows << table_.parse(cp437::toUnicode(line));
    return rows;
}

Result<int> TextLineRows::insertNew() {
    Result<Lines> lines = load();
    if (!lines)
        return failureOf(lines);
    if (lines->rows.size() >= table_.limit)
        return Failure{
            QStringLiteral("%1 holds %2 entries, as many as it may").arg(name()).arg(table_.limit)};
    lines->rows << cp437::fromUnicode(table_.newLine);
    if (Result<> stored = store(lines.value()); !stored)
        return failureOf(stored);
    return int(lines->rows.size()) - 1;
}

Result<> TextLineRows::remove(int row) {
    Result<Lines> lines = loadWith(row);
    if (!lines)
        return failureOf(lines);
    lines->rows.removeAt(row);
    return store(lines.value());
}

Result<> TextLineRows::move(int row, bool up) {
    Result<Lines> lines = loadWith(row);
    if (!lines)
        return failureOf(lines);
    const int neighbour = up ? row - 1 : row + 1;
    if (neighbour < 0 || neighbour >= lines->rows.size())
        return {};
    lines->rows.swapItemsAt(row, neighbour);
    return store(lines.value());
}

Result<> TextLineRows::edit(int row, const RecordSource::Edit& edit) {
    Result<Lines> lines = loadWith(row);
    if (!lines)
        return failureOf(lines);
    const Result<Record> edited = edit(table_.parse(cp437::toUnicode(lines->rows[row])));
    if (!edited)
        return failureOf(edited);
    lines->rows[row] = cp437::fromUnicode(table_.format(edited.value()));
    return store(lines.value());
}

const formtable::Table* TextLineRows::headForm() const {
    return table_.head;
}

Result<Record> TextLineRows::readHead() {
    if (!table_.head)
        return TableRows::readHead();
    const Result<Lines> lines = load();
    if (!lines)
        return failureOf(lines);
    Record head(fbHeadLayout());
    head.setStr("fbMenu", lines->head[0].trimmed());
    head.setStr("fbDb", lines->head[1].trimmed());
    return head;
}

Result<> TextLineRows::editHead(const RecordSource::Edit& edit) {
    const Result<Record> head = readHead();
    if (!head)
        return failureOf(head);
    const Result<Record> edited = edit(head.value());
    if (!edited)
        return failureOf(edited);
    Result<Lines> lines = load();
    if (!lines)
        return failureOf(lines);
    lines->head = {edited->str("fbMenu"), edited->str("fbDb")};
    return store(lines.value());
}
