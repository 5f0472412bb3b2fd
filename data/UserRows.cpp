#include "data/UserRows.h"

#include "data/Board.h"
#include "data/FileHelpers.h"
#include "data/RecordFile.h"
#include "data/RecordTable.h"
#include "data/UserAccounts.h"
#include "data/records/BoardFiles.h"

#include <QFileInfo>

const RecordLayout& UserRows::layout() const {
    return userLayout();
}

int UserRows::limit() const {
    return useraccounts::kMostUsers;
}

QString UserRows::path() const {
    return board_.path(userLayout());
}

Result<Record> UserRows::readUser(int number) const {
    const Result<qint16> count = recordtable::count(path(), userLayout());
    if (!count)
        return failureOf(count);
    if (number < 1 || number > count.value())
        return noSuchRow(*this, number);
    Record user(userLayout());
    if (Result<> read = recordfile::read(path(), number, user); !read)
        return failureOf(read);
    return user;
}

Result<QList<Record>> UserRows::read() {
    if (Result<> touched = filehelpers::touchFile(path(), false); !touched)
        return failureOf(touched);
    return recordtable::read(path(), userLayout());
}

Result<int> UserRows::insertNew() {
    const Result<qint16> count = recordtable::count(path(), userLayout());
    if (!count)
        return failureOf(count);
    if (count.value() >= limit())
        return Failure{QStringLiteral("USERFILE.DAT holds as many users as it can")};
    const int number = count.value() + 1;
    if (Result<> written = useraccounts::putUser(board_, number, useraccounts::newUser(), "'", "");
        !written)
        return failureOf(written);
    // A number that compress gave back may still have mail and votes of its last owner.
    if (Result<> purged = useraccounts::purgeUserFiles(board_, number, progress()); !purged)
        return failureOf(purged);
    return number - 1;
}

Result<> UserRows::remove(int row) {
    const int number = row + 1;
    Result<Record> user = readUser(number);
    if (!user)
        return failureOf(user);
    user->setStr("flags", "");
    user->setI32("accflags", 0);
    user->setI16("securitylevel", 0);
    user->setI16("maxtime", 1);
    if (Result<> written = useraccounts::putUser(
            board_, number, user.value(), user->str("realname"), useraccounts::kDeletedHandle);
        !written)
        return written;
    return useraccounts::purgeUserFiles(board_, number, progress());
}

Result<> UserRows::move(int, bool) {
    return Failure{QStringLiteral("users keep their numbers and are not moved")};
}

Result<> UserRows::edit(int row, const RecordSource::Edit& edit) {
    const int number = row + 1;
    const Result<Record> current = readUser(number);
    if (!current)
        return failureOf(current);
    const Result<Record> edited = edit(current.value());
    if (!edited)
        return failureOf(edited);
    if (!QFileInfo::exists(board_.path(userIndexLayout()))) {
        if (Result<> rebuilt = useraccounts::rebuildIndex(board_, progress()); !rebuilt)
            return rebuilt;
    }
    return useraccounts::putUser(board_, number, edited.value(), edited->str("realname"),
                                 edited->str("handle"));
}

Result<> UserRows::compress() {
    const Result<int> left = useraccounts::compress(board_, progress());
    if (!left)
        return failureOf(left);
    return {};
}
