#include "console/ConsoleViews.h"

#include "data/Board.h"
#include "data/RecordTable.h"
#include "data/TextHelpers.h"
#include "data/records/BoardFiles.h"
#include "platform/Cp437.h"
#include "platform/FileAccess.h"

#include <QFileInfo>
#include <QStringList>

#include <algorithm>
#include <optional>

namespace views {

namespace {

const QString kCrLf = QStringLiteral("\r\n");

const LogFile kLogs[] = {
    {"mnuViewBbsLog", "&BBS Log", "BBS.LOG", "dat", "KELD - BBS Log", false},
    {"mnuViewMiscDaystatsLog", "&DayStats Log", "DAYSTATS.LOG", "dat", "DayStats - Log", true},
    {"mnuViewMiscFidoLog", "&FIDO Log", "FIDO.LOG", "dat", "FIDO - Log", true},
    {"mnuViewMiscNetworkLog", "&Network Log", "NETWORK.LOG", "dat", "Network - Log", true},
    {"mnuViewMiscUploadLog", "U&pload Log", "UPLOAD.LOG", "dat", "Upload - Log", true},
    {"mnuViewMiscUucpLog", "&UUCP Log", "UUCP.LOG", "dat", "UUCP - Log", true},
    {"mnuViewKeldtsLog", "KELDTS &Log", "KELDTS.LOG", "main", "KELDTS - Log", false},
    {"mnuViewKeldmailLog", "KELD&MAIL Log", "KELDMAIL.LOG", "main", "KELDMAIL - Log", false},
    {"mnuViewKeldchatLog", "KELD&CHAT Log", "KELDCHAT.LOG", "main", "KELDCHAT - Log", false},
    {"mnuViewKeldwebLog", "KELD-&WEB Log", "KELD-WEB.LOG", "dat", "KELD-WEB - Log", false},
    {"mnuViewKSyncerLog", "KS&yncer Log", "KSYNCER.LOG", "main", "KSyncer - Log", false},
};

// A whole file; what cannot be read is empty.
QByteArray wholeFile(const QString& path, qint64 limit = 1024 * 1024) {
    const Result<QByteArray> bytes = fileaccess::readSmall(path, limit);
    return bytes ? bytes.value() : QByteArray();
}

// The colour codes of the caller lists: a byte 3 and the byte after it.
QByteArray withoutColours(const QByteArray& text) {
    QByteArray plain;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) == '\x03')
            ++i;
        else
            plain += text.at(i);
    }
    return plain;
}

QString padLeft(const QString& text, int width) {
    return text.rightJustified(width, QLatin1Char(' '), true);
}

QString speed(qint32 baud) {
    if (baud == 0)
        return QStringLiteral("Local");
    return QString::number(baud == 11520 ? 115200 : baud);
}

// The web front end's callers of the last fifteen minutes, a row each, in order; nothing when its
// list was not written in that time.
std::optional<QStringList> webCallers(const Board& board, qint64 now) {
    const QString path = board.path(webCallerLayout());
    const QFileInfo file(path);
    if (!file.isFile() || file.size() == 0 ||
        file.lastModified().secsTo(board.clock.now()) > 15 * 60)
        return std::nullopt;
    const Result<QList<Record>> records = recordtable::read(path, webCallerLayout());
    QStringList rows;
    for (const Record& caller : records ? records.value() : QList<Record>()) {
        const qint64 left = 900 - (now - caller.text("webtime").toLongLong());
        if (left <= 0)
            continue;
        rows << padLeft(QStringLiteral("Web"), 4) + QLatin1Char(' ') +
                    padLeft(QString::number(caller.i16("webuser")), 6) + QLatin1Char(' ') +
                    padString(caller.text("webhandle"), 32) + QLatin1Char(' ') +
                    padString(caller.text("webactivity"), 24) + QLatin1Char(' ') +
                    padString(QStringLiteral("KELD-WEB"), 8) + QStringLiteral(" : ") +
                    padString(caller.text("webfrom"), 15) + QLatin1Char(' ') +
                    caller.text("webplace") + QLatin1Char(' ') + QString::number(left);
    }
    std::sort(rows.begin(), rows.end(),
              [](const QString& a, const QString& b) { return a.toUpper() < b.toUpper(); });
    return rows;
}

// A view's title over its line of hyphens, a blank line, and its columns' heads.
QString tableHead(const char* title, int hyphens, const char* columns, const char* rule) {
    return QLatin1String(title) + kCrLf + QString(hyphens, QLatin1Char('-')) + kCrLf + kCrLf +
           QLatin1String(columns) + kCrLf + QLatin1String(rule) + kCrLf;
}

} // namespace

QString todaysCallers(const Board& board) {
    QString text =
        tableHead("Keldoran Today's Callers", 32,
                  " Call #  User No.   User Name                     Ch  # Time   Baud",
                  "-------- ---------- ----------------------------- ----- ------ ---------");
    const QString callers = board.filePath("dat", QStringLiteral("CALLERS.LST"));
    if (QFileInfo::exists(callers))
        text += cp437::toUnicode(withoutColours(wholeFile(callers)));
    const QString netCalls = board.filePath("dat", QStringLiteral("NETCALLS.LST"));
    if (QFileInfo::exists(netCalls))
        text += kCrLf + cp437::toUnicode(withoutColours(wholeFile(netCalls)));
    return text;
}

QString whosOnline(const Board& board) {
    QString text =
        tableHead("Keldoran Who's Online", 29,
                  "Ch # User # Handle                           Action                   Baud",
                  "---- ------ -------------------------------- ------------------------ --------");
    const Result<QList<Record>> nodes =
        recordtable::read(board.path(controlLayout()), controlLayout());
    const int last = board.mainConfig.i16("maxchannelno");
    for (int node = 0; nodes && node <= last && node < nodes->size(); ++node) {
        const Record& row = nodes->at(node);
        // A record no node program has written yet is zeros: no caller there either.
        const QString action = row.text("action").remove(QChar(0)).trimmed();
        if (action.isEmpty() || action == QLatin1String("Waiting..."))
            continue;
        text += padLeft(QString::number(node), 4) + QLatin1Char(' ') +
                padLeft(QString::number(row.i32("usernumber")), 6) + QLatin1Char(' ') +
                padString(row.text("handle"), 32) + QLatin1Char(' ') + padString(action, 24) +
                QLatin1Char(' ') + padString(speed(row.i32("baud")), 8) + kCrLf;
    }
    if (const std::optional<QStringList> web =
            webCallers(board, board.clock.now().toSecsSinceEpoch()))
        text += kCrLf + web->join(kCrLf);
    return text;
}

QString logPath(const Board& board, const LogFile& log) {
    return board.filePath(log.directory, QLatin1String(log.file));
}

QString viewText(const Board& board, const QString& what) {
    QString text;
    if (what == QLatin1String("online")) {
        text = whosOnline(board);
    } else if (what == QLatin1String("today")) {
        text = todaysCallers(board);
    } else if (what.startsWith(QLatin1String("log "))) {
        const LogFile* log = logFile(what.mid(4).trimmed());
        if (!log)
            return {};
        const QString path = logPath(board, *log);
        // The board's logs are kept small: KELDTS.LOG is rotated at its size limit.
        text = QFileInfo::exists(path) ? cp437::toUnicode(wholeFile(path, 16 * 1024 * 1024))
                                       : QLatin1String(kFileNotFound);
    }
    return text.remove(QLatin1Char('\r'));
}

std::span<const LogFile> logFiles() {
    return kLogs;
}

const LogFile* logFile(const QString& name) {
    for (const LogFile& log : kLogs) {
        if (name.compare(QLatin1String(log.file), Qt::CaseInsensitive) == 0)
            return &log;
    }
    return nullptr;
}

} // namespace views
