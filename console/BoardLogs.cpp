#include "console/BoardLogs.h"

#include "platform/Cp437.h"
#include "platform/FileAccess.h"

#include <QFile>
#include <QLocale>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Appends whole lines or nothing: a write cut short by a full disk or a file-size limit is
// taken back, so the log never holds half a line.
bool appendBytes(const QString& path, const QByteArray& bytes) {
    const Result<int> opened = fileaccess::openRegular(path, O_WRONLY | O_APPEND | O_CREAT);
    if (!opened)
        return false;
    const int fd = opened.value();
    struct stat before {};
    bool ok = ::fstat(fd, &before) == 0;
    qsizetype done = 0;
    while (ok && done < bytes.size()) {
        const ssize_t n =
            ::write(fd, bytes.constData() + done, static_cast<size_t>(bytes.size() - done));
        if (n < 0 && errno == EINTR)
            continue;
        ok = n > 0;
        done += n > 0 ? n : 0;
    }
    if (!ok && done > 0 && ::ftruncate(fd, before.st_size) != 0)
        ok = false;
    return ::close(fd) == 0 && ok;
}

const QByteArray kHeader = "KELDTS Event Log\r\n" + QByteArray(79, '-') +
                           "\r\nDate           Time      Description\r\n" + QByteArray(79, '-') +
                           "\r\n";

} // namespace

QString BoardLogs::paneTime() const {
    const QDateTime now = board_ ? board_->clock.now() : QDateTime::currentDateTime();
    return now.toString(QStringLiteral("HH:mm:ss"));
}

void BoardLogs::writeDebugPane(const QString& line) {
    pane_.append(line);
}

bool BoardLogs::appendEventLog(const QString& message) {
    if (!board_ || board_->sysPaths.str("main").isEmpty())
        return true;
    const QString log = board_->filePath("main", QStringLiteral("KELDTS.LOG"));
    const qint32 limit = board_->serverConfig.i32("maxlogsize");
    // The old log becomes KELDTS.OLD in one rename: there is never a moment with half a copy,
    // or with both names gone.
    if (limit >= 1 && QFile::exists(log) && QFile(log).size() > limit &&
        ::rename(QFile::encodeName(log).constData(),
                 QFile::encodeName(board_->filePath("main", QStringLiteral("KELDTS.OLD")))
                     .constData()) != 0)
        return false;
    if (!QFile::exists(log) && !appendBytes(log, kHeader))
        return false;
    const QString stamp =
        QLocale::c().toString(board_->clock.now(), QStringLiteral("ddd yyyy-MM-dd HH:mm:ss  "));
    return appendBytes(log, cp437::fromUnicode(stamp + message) + "\r\n");
}

void BoardLogs::writeEventLog(const QString& message) {
    if (appendEventLog(message))
        return;
    // One report per failed write: the report itself goes to the same file and may fail too.
    if (reportingFailure_)
        return;
    reportingFailure_ = true;
    writeDebugPane(QStringLiteral("Error: Error While Writing To BBS.LOG"));
    appendEventLog(QStringLiteral("Error While Writing to BBS.LOG"));
    reportingFailure_ = false;
}

bool BoardLogs::writeBbsLog(const QString& line) {
    if (!board_)
        return false;
    return appendBytes(board_->filePath("dat", QStringLiteral("BBS.LOG")),
                       cp437::fromUnicode(line) + "\r\n");
}
