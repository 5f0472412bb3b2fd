#include "data/UserAccounts.h"

#include "data/Board.h"
#include "data/FileHelpers.h"
#include "data/RecordFile.h"
#include "data/RecordTable.h"
#include "data/TextHelpers.h"
#include "data/records/BoardFiles.h"
#include "platform/Cp437.h"
#include "platform/FileAccess.h"
#include "platform/FileWrite.h"

#include <QFileInfo>

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

bool isFree(const Record& user) {
    return user.i16("securitylevel") == 0;
}

QString rowColumns(const Record& user) {
    const QString row = padString(user.text("handle"), 23) + QStringLiteral(" - ") +
                        QString::number(user.i16("securitylevel")).rightJustified(3) +
                        QStringLiteral("  ");
    if (isFree(user))
        return row + QStringLiteral("(AVAILABLE)");
    const QString laston = user.text("laston");
    return row + laston.mid(0, 2) + QLatin1Char('.') + laston.mid(2, 2) + QLatin1Char('.') +
           laston.mid(4, 2);
}

Result<> writeIndexEntry(const Board& board, int user, const QByteArray& realName,
                         const QByteArray& handle) {
    Record entry(userIndexLayout());
    entry.clear();
    entry.setStr("realname", realName);
    entry.setStr("handle", handle);
    entry.setI16("usernumber", static_cast<qint16>(user));
    return recordfile::write(board.path(userIndexLayout()), user, entry);
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
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const Result<QByteArray> datBytes = readWhole(datPath);
        if (!datBytes)
            return failureOf(datBytes);
        if (datBytes->size() < mailLayout().length)
            return {};
        const Result<QByteArray> store =
            QFileInfo::exists(binPath) ? readWhole(storePath) : Result<QByteArray>(QByteArray());
        if (!store)
            return failureOf(store);
        const QByteArray text =
            store->left(store->indexOf('\0') < 0 ? store->size() : store->indexOf('\0'));
        PurgedMail result = purged(recordtable::recordsOf(datBytes.value(), mailLayout()), text,
                                   user, bySender, progress, step);
        if (!result.changed)
            break;
        // A node that wrote mail meanwhile would lose it to our copy: read it all again.
        const Result<QByteArray> datNow = readWhole(datPath);
        const Result<QByteArray> storeNow =
            QFileInfo::exists(binPath) ? readWhole(storePath) : Result<QByteArray>(QByteArray());
        if (!datNow || !storeNow || datNow.value() != datBytes.value() ||
            storeNow.value() != store.value())
            continue;
        if (Result<> written = filewrite::replace(datPath, recordtable::join(result.kept));
            !written)
            return written;
        if (Result<> written = filewrite::replace(binPath, result.store + "\r\n"); !written)
            return written;
        break;
    }
    report(progress, step, 1, 1);
    const QString scanPath = board.filePath("db", base + QStringLiteral(".QSC"));
    if (!QFileInfo::exists(scanPath) || user < 1)
        return {};
    Record zero(mailScanLayout());
    zero.clear();
    return recordfile::write(scanPath, user, zero);
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
    const QString work = board.filePath("temp", QStringLiteral("HANDLES.TMP"));
    if (Result<> parked = filewrite::replace(work, kept); !parked)
        return parked;
    if (Result<> written = filewrite::replace(path, kept); !written)
        return written;
    return filehelpers::removeFile(work);
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
    int count = -1;
    // The first `count` records, or nothing to do when there are no more.
    const auto firstRecords =
        [&count](const QList<Record>& records) -> std::optional<recordtable::Rearrangement> {
        if (count >= records.size())
            return std::nullopt;
        recordtable::Rearrangement kept{records.mid(0, count), {}};
        for (qsizetype i = 0; i < records.size(); ++i)
            kept.placeOfOld.append(i < count ? int(i) : -1);
        return kept;
    };
    const auto withoutFreeTail = [&](const QList<Record>& users) {
        qsizetype last = users.size();
        while (last > 0 && users.at(last - 1).i16("securitylevel") <= 0)
            --last;
        count = int(last);
        report(progress, step, 1, 2);
        return firstRecords(users);
    };
    if (Result<> users =
            recordtable::rewrite(board.path(userLayout()), userLayout(), withoutFreeTail);
        !users)
        return failureOf(users);
    // The index follows to the same count, whatever it held past it.
    const QString indexPath = board.path(userIndexLayout());
    if (count >= 0 && QFileInfo::exists(indexPath)) {
        if (Result<> index = recordtable::rewrite(indexPath, userIndexLayout(), firstRecords);
            !index)
            return failureOf(index);
    }
    report(progress, step, 1, 1);
    return std::max(count, 0);
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
