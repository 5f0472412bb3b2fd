#include "data/RoomRows.h"

#include "data/Board.h"
#include "data/FileHelpers.h"
#include "data/records/TextLines.h"
#include "platform/AllOrNone.h"
#include "platform/Cp437.h"
#include "platform/FileAccess.h"
#include "platform/FileWrite.h"

#include <QFileInfo>

RoomRows::RoomRows(const Board& board, int first, int last)
    : board_(board), first_(first), last_(last) {}

const RecordLayout& RoomRows::layout() const {
    return roomLayout();
}

QString RoomRows::name() const {
    return first_ == last_ ? roomLayout().nameOf(first_)
                           : QStringLiteral("%1 to %2")
                                 .arg(roomLayout().nameOf(first_), roomLayout().nameOf(last_));
}

QString RoomRows::pathOf(int room) const {
    return board_.path(roomLayout(), room);
}

Result<Record> RoomRows::readRoom(int room) const {
    if (!QFileInfo::exists(pathOf(room)))
        return Record(roomLayout());
    const Result<QByteArray> text = fileaccess::readSmall(pathOf(room));
    if (!text)
        return failureOf(text);
    return textlines::parseRoom(cp437::toUnicode(text->split('\n').first().trimmed()));
}

Result<int> RoomRows::roomOf(int row) const {
    const int room = numberOf(row);
    if (row < 0 || room > last_)
        return noSuchRow(*this, room);
    return room;
}

Result<QList<Record>> RoomRows::read() {
    QList<Record> rooms;
    for (int room = first_; room <= last_; ++room) {
        Result<Record> read = readRoom(room);
        if (!read)
            return failureOf(read);
        rooms << read.value();
    }
    return rooms;
}

Result<int> RoomRows::insertNew() {
    return Failure{QStringLiteral("The rooms are fixed: edit a free room to open it")};
}

Result<> RoomRows::remove(int row) {
    const Result<int> room = roomOf(row);
    if (!room)
        return failureOf(room);
    return filehelpers::removeFile(pathOf(room.value()));
}

Result<> RoomRows::move(int row, bool up) {
    const Result<int> room = roomOf(row);
    if (!room)
        return failureOf(room);
    const int neighbour = room.value() + (up ? -1 : 1);
    if (neighbour < 1 || neighbour > kRooms)
        return {};
    const Result<std::optional<QByteArray>> mine = filehelpers::contentsOf(pathOf(room.value()));
    if (!mine)
        return failureOf(mine);
    const Result<std::optional<QByteArray>> theirs = filehelpers::contentsOf(pathOf(neighbour));
    if (!theirs)
        return failureOf(theirs);
    return allornone::replace(board_.journalPath(), {{pathOf(room.value()), theirs.value()},
                                                     {pathOf(neighbour), mine.value()}});
}

Result<> RoomRows::edit(int row, const RecordSource::Edit& edit) {
    const Result<int> room = roomOf(row);
    if (!room)
        return failureOf(room);
    const Result<Record> current = readRoom(room.value());
    if (!current)
        return failureOf(current);
    const Result<Record> edited = edit(current.value());
    if (!edited)
        return failureOf(edited);
    return filewrite::replace(
        pathOf(room.value()),
        cp437::fromUnicode(textlines::formatRoom(edited.value(), room.value())) + "\r\n");
}
