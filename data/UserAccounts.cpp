#include "data/UserAccounts.h"

#include "data/Board.h"
#include "data/FileHelpers.h"
#include "data/RecordFile.h"
#include "data/RecordTable.h"
#include "data/TextHelpers.h"
#include "data/records/BoardFiles.h"
#include "platform/AllOrNone.h"
#include "platform/Cp437.h"
#include "platform/Descriptor.h"
#include "platform/FileAccess.h"
#include "platform/FileWrite.h"
#include "platform/HeldFile.h"

#include <QFileInfo>

#include <fcntl.h>
#include <unistd.h>

namespace useraccounts {

namespace {

// A mail store is read whole; one beyond this is not a store this board could have written.
constexpr qint64 kLargestStore = qint64(1) << 30;
// A purge that finds its files changed under it starts again this often before it gives up.
constexpr int kAttempts = 3;

void report(const PassProgress& progress, const QString& step, qint64 done, qint64 total) {
    if (progress)
        progress(step, total > 0 ? int(done * 100 / total) : 100);
}

// The whole file, empty when it is missing.
Result<QByteArray> readWhole(const QString& path) {
    const QFileInfo info(path);
    if (!info.exists())
        return QByteArray();
    if (info.size() > kLargestStore)
        return Failure{QStringLiteral("%1 is too large to be read").arg(path)};
    return fileaccess::readSmall(path, kLargestStore);
}

Result<QList<Record>> readUsers(const Board& board) {
    return recordtable::read(board.path(userLayout()), userLayout());
}

// What the purge of one base makes of its files.
struct PurgedMail {
    QList<Record> kept;
    QByteArray store;
    bool changed = false;
};

PurgedMail purged(const QList<Record>& messages, QByteArray store, int user, bool bySender,
                  const PassProgress& progress, const QString& step) {
    PurgedMail result;
    qint32 removed = 0;
    const std::string_view key = bySender ? "fromuser" : "touser";
    for (qsizetype i = 0; i < messages.size(); ++i) {
        Record message = messages.at(i);
        const qint32 offset = message.i32("textoffset");
        if (message.i32(key) != user) {
            message.setI32("textoffset", offset - removed);
            result.kept.append(message);
        } else {
            // One-based in the store; a text that lies partly outside it takes what there is.
            const qint64 from = std::clamp<qint64>(qint64(offset) - removed - 1, 0, store.size());
            const qint64 length =
                std::clamp<qint64>(message.i32("textlength"), 0, store.size() - from);
            store.remove(qsizetype(from), qsizetype(length));
            removed += message.i32("textlength");
            result.changed = true;
        }
        if (i % 4096 == 0)
            report(progress, step, i, messages.size());
    }
    result.store = std::move(store);
    return result;
}

// Mail files as read, or as written: the records, and the texts they point into.
struct MailFiles {
    QByteArray records;
    QByteArray texts;
};

// A purged user has nothing left to scan in that base.
Result<> zeroScan(const Board& board, int user, const QString& base, const PassProgress& progress,
                  const QString& step) {
    report(progress, step, 1, 1);
    const QString scanPath = board.filePath("db", base + QStringLiteral(".QSC"));
    if (!QFileInfo::exists(scanPath) || user < 1)
        return {};
    Record zero(mailScanLayout());
    zero.clear();
    return recordfile::write(scanPath, user, zero);
}

} // namespace

Record newUser() {
    Record user(userLayout());
    user.clear();
    user.setStr("reserved243", "0");
    user.setI16("pagebreak", 24);
    user.setStr("laston", "0");
    user.setI16("videomode", 1);
    const int colors[] = {7, 0, 2, 5, 5, 1, 2};
    const std::string_view names[] = {"colors1", "colors2", "colors3", "colors4",
                                      "colors5", "colors6", "colors7"};
    for (int i = 0; i < 7; ++i)
        user.setChr(names[i], colors[i]);
    user.setStr("reserved872", "Z");
    user.setI16("reserved918", 2);
    return user;
}

bool isAvailable(const Record& user) {
    return user.i16("securitylevel") == 0;
}

bool isCompressible(const Record& user) {
    return user.i16("securitylevel") <= 0;
}

QString rowColumns(const Record& user) {
    const QString row = padString(user.text("handle"), 23) + QStringLiteral(" - ") +
                        QString::number(user.i16("securitylevel")).rightJustified(3) +
                        QStringLiteral("  ");
    if (isAvailable(user))
        return row + QStringLiteral("(AVAILABLE)");
    const QString laston = user.text("laston");
    return row + laston.mid(0, 2) + QLatin1Char('.') + laston.mid(2, 2) + QLatin1Char('.') +
           laston.mid(4, 2);
}

Result<> putUser(const Board& board, int number, const Record& user, const QByteArray& realName,
                 const QByteArray& handle) {
    Record entry(userIndexLayout());
    entry.clear();
    entry.setStr("realname", realName);
    entry.setStr("handle", handle);
    entry.setI16("usernumber", static_cast<qint16>(number));
    return recordfile::writeTogether({{board.path(userIndexLayout()), number, &entry},
                                      {board.path(userLayout()), number, &user}});
}

Result<> rebuildIndex(const Board& board, const PassProgress& progress) {
    const QString step = QStringLiteral("Rebuilding USERFILE.IDX");
    const Result<QList<Record>> users = readUsers(board);
    if (!users)
        return failureOf(users);
    QByteArray index;
    index.reserve(users->size() * userIndexLayout().length);
    Record entry(userIndexLayout());
    for (qsizetype n = 0; n < users->size(); ++n) {
        entry.clear();
        entry.setStr("realname", users->at(n).str("realname"));
        entry.setStr("handle", users->at(n).str("handle"));
        entry.setI16("usernumber", static_cast<qint16>(n + 1));
        index += entry.bytes();
        if (n % 4096 == 0)
            report(progress, step, n, users->size());
    }
    const Result<> written = filewrite::replace(board.path(userIndexLayout()), index);
    report(progress, step, 1, 1);
    return written;
}

Result<> purgeUserMail(const Board& board, int user, const QString& base, bool bySender,
                       const PassProgress& progress) {
    const QString datPath = board.filePath("db", base + QStringLiteral(".DAT"));
    const QString binPath = board.filePath("db", base + QStringLiteral(".BIN"));
    // The text store is always read from EMAIL.BIN, whichever base is purged: the node
    // programs have always expected exactly that of this tool.
    const QString storePath = board.filePath("db", QStringLiteral("EMAIL.BIN"));
    const QString step = QStringLiteral("Purging %1.DAT").arg(base);
    if (!QFileInfo::exists(datPath))
        return {};
    // Held across the replace: a node that writes through a descriptor it opened before writes
    // there, and what it wrote is found by comparing.
    const HeldFile dat(datPath);
    std::optional<HeldFile> bin;
    if (QFileInfo::exists(binPath))
        bin.emplace(binPath);
    const auto readBoth = [&]() -> Result<MailFiles> {
        MailFiles files;
        for (const auto& [file, bytes] :
             {std::pair{&dat, &files.records}, {bin ? &*bin : nullptr, &files.texts}}) {
            if (!file)
                continue;
            Result<QByteArray> read = file->readAll();
            if (!read)
                return failureOf(read);
            *bytes = std::move(read).value();
        }
        return files;
    };
    Result<MailFiles> seen = readBoth();
    if (!seen)
        return failureOf(seen);
    if (seen->records.size() < mailLayout().length)
        return {};
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        Result<QByteArray> store = !bin                   ? Result<QByteArray>(QByteArray())
                                   : storePath == binPath ? Result<QByteArray>(seen->texts)
                                                          : readWhole(storePath);
        if (!store)
            return failureOf(store);
        const qsizetype end = store->indexOf('\0');
        const PurgedMail result =
            purged(recordtable::recordsOf(seen->records, mailLayout()),
                   store->left(end < 0 ? store->size() : end), user, bySender, progress, step);
        if (!result.changed)
            return zeroScan(board, user, base, progress, step);
        const MailFiles written{recordtable::join(result.kept), result.store + "\r\n"};
        if (Result<> replaced = allornone::replace(
                board.journalPath(), {{datPath, written.records}, {binPath, written.texts}});
            !replaced)
            return replaced;
        // A node that wrote after the files were read wrote to the ones just replaced: purge
        // again from what they hold now, as long as nobody has written to the new ones yet.
        Result<MailFiles> now = readBoth();
        if (!now)
            return failureOf(now);
        if (now->records == seen->records && now->texts == seen->texts)
            return zeroScan(board, user, base, progress, step);
        const Result<QByteArray> recordsNow = readWhole(datPath), textsNow = readWhole(binPath);
        if (!recordsNow || !textsNow || recordsNow.value() != written.records ||
            textsNow.value() != written.texts)
            break;
        seen = std::move(now);
    }
    return Failure{QStringLiteral("Cannot finish purging %1.DAT of user %2: node programs wrote to "
                                  "it meanwhile; look at its latest messages")
                       .arg(base)
                       .arg(user)};
}

Result<> filterHandles(const Board& board, int user) {
    const QString path = board.filePath("main", QStringLiteral("HANDLES.UIP"));
    const Result<QByteArray> bytes = readWhole(path);
    if (!bytes)
        return failureOf(bytes);
    QByteArray kept;
    bool dropped = false;
    for (const QByteArray& line : bytes->split('\n')) {
        const QStringList parts = splitText(QStringLiteral(","), cp437::toUnicode(line), 4, 4);
        if (parts.at(1).trimmed().toDouble() == user && !parts.at(1).trimmed().isEmpty()) {
            dropped = true;
            continue;
        }
        kept += line + '\n';
    }
    if (!dropped)
        return {};
    kept.chop(1);
    // Written beside the file and renamed over it, not through a copy in the temporary
    // directory, which may lie on another file system.
    return filewrite::replace(path, kept);
}

Result<> purgeUserFiles(const Board& board, int user, const PassProgress& progress) {
    const struct {
        const char* base;
        bool bySender;
    } bases[] = {{"EMAIL", false}, {"SNTEMAIL", true}, {"ONELINE", false}};
    for (const auto& mail : bases) {
        if (Result<> purged =
                purgeUserMail(board, user, QLatin1String(mail.base), mail.bySender, progress);
            !purged)
            return purged;
    }
    if (Result<> filtered = filterHandles(board, user); !filtered)
        return filtered;
    Record noVote(voteAnswerLayout());
    noVote.clear();
    for (int n = 1; QFileInfo::exists(board.path(voteAnswerLayout(), n)); ++n) {
        if (Result<> written =
                recordfile::write(board.path(voteAnswerLayout(), n), 2 * user - 1, noVote);
            !written)
            return written;
    }
    for (int n = 1;; ++n) {
        const QString own = board.filePath("dat", QStringLiteral("MM%1.%2").arg(user).arg(n));
        if (!QFileInfo::exists(own))
            break;
        if (Result<> removed = filehelpers::removeFile(own); !removed)
            return removed;
    }
    for (const QString& own : {QStringLiteral("AB%1.DAT"), QStringLiteral("IRC%1.DAT")}) {
        if (Result<> removed = filehelpers::removeFile(board.filePath("dat", own.arg(user)));
            !removed)
            return removed;
    }
    return {};
}

Result<int> compress(const Board& board, const PassProgress& progress) {
    const QString step = QStringLiteral("Compressing the user file");
    const QString path = board.path(userLayout());
    const int length = userLayout().length;
    const Result<int> opened = fileaccess::openRegular(path, O_RDWR);
    if (!opened)
        return failureOf(opened);
    Descriptor fd(opened.value());
    const Result<QList<Record>> users = readUsers(board);
    if (!users)
        return failureOf(users);
    qsizetype count = users->size();
    while (count > 0 && isCompressible(users->at(count - 1)))
        --count;
    report(progress, step, 1, 2);
    // A node may have taken one of the free numbers since they were read: the tail is read
    // again, through the descriptor that cuts it, just before it goes.
    const Result<qint64> size = recordfile::size(path);
    if (!size)
        return failureOf(size);
    QByteArray tail(qsizetype(std::max<qint64>(size.value() - count * length, 0)),
                    Qt::Uninitialized);
    if (::pread(fd.get(), tail.data(), size_t(tail.size()), off_t(count) * length) != tail.size())
        return filewrite::systemFailure(QStringLiteral("read"), path);
    for (const Record& user : recordtable::recordsOf(tail, userLayout())) {
        if (!isCompressible(user))
            return Failure{QStringLiteral("%1 changed while it was compressed; nothing was "
                                          "dropped")
                               .arg(path)};
    }
    if (count < users->size() && ::ftruncate(fd.get(), off_t(count) * length) != 0)
        return filewrite::systemFailure(QStringLiteral("shorten"), path);
    // The index follows to the same count, whatever it held past it.
    const QString indexPath = board.path(userIndexLayout());
    const Result<qint64> indexSize =
        QFileInfo::exists(indexPath) ? recordfile::size(indexPath) : Result<qint64>(0);
    if (!indexSize)
        return failureOf(indexSize);
    const qint64 indexLength = qint64(count) * userIndexLayout().length;
    if (indexSize.value() > indexLength) {
        const Result<int> index = fileaccess::openRegular(indexPath, O_WRONLY);
        if (!index)
            return failureOf(index);
        Descriptor indexFd(index.value());
        if (::ftruncate(indexFd.get(), off_t(indexLength)) != 0)
            return filewrite::systemFailure(QStringLiteral("shorten"), indexPath);
    }
    report(progress, step, 1, 1);
    return int(count);
}

QList<int> find(const QList<Record>& users, const QString& text) {
    const QByteArray wanted = cp437::fromUnicode(text.trimmed()).toUpper();
    QList<int> found;
    if (wanted.isEmpty())
        return found;
    for (qsizetype n = 0; n < users.size(); ++n) {
        const Record& user = users.at(n);
        if (user.str("handle").toUpper().contains(wanted) ||
            user.str("realname").toUpper().contains(wanted))
            found.append(int(n + 1));
    }
    return found;
}

} // namespace useraccounts
