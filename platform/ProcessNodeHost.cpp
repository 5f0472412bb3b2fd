#include "platform/ProcessNodeHost.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimer>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

// Field 22 of /proc/<pid>/stat: when the process started, in clock ticks since boot. Together
// with the pid it names one process, so a recycled pid is not taken for a node.
QByteArray processStartTime(qint64 pid, char* state = nullptr) {
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return {};
    const QByteArray text = stat.readAll();
    const qsizetype nameEnd = text.lastIndexOf(')');
    if (nameEnd < 0)
        return {};
    // After the name: state is field 3, start time field 22.
    const QList<QByteArray> fields = text.mid(nameEnd + 2).split(' ');
    if (fields.size() < 20)
        return {};
    if (state)
        *state = fields.at(0).isEmpty() ? '?' : fields.at(0).at(0);
    return fields.at(19);
}

// A descriptor above `floor`, so that placing the socket at the node's number cannot land on it.
int duplicateAbove(int fd, int floor) {
    return ::fcntl(fd, F_DUPFD_CLOEXEC, floor + 1);
}

QString errnoText(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

} // namespace

ProcessNodeHost::ProcessNodeHost(const QString& runtimeDirectory, const QString& mainDirectory,
                                 QObject* parent)
    : QObject(parent) {
    const QByteArray board = QDir::cleanPath(QFileInfo(mainDirectory).absoluteFilePath()).toUtf8();
    directory_ = runtimeDirectory + QStringLiteral("/nodes-") +
                 QString::fromLatin1(
                     QCryptographicHash::hash(board, QCryptographicHash::Sha1).toHex().left(12));
}

QString ProcessNodeHost::titleFile(qint64 pid) const {
    return directory_ + QStringLiteral("/node-%1.title").arg(pid);
}

bool ProcessNodeHost::alive(qint64 pid, const QByteArray& startTime) {
    if (pid <= 0)
        return false;
    if (children_.contains(pid)) {
        int status = 0;
        pid_t reaped;
        do {
            reaped = ::waitpid(static_cast<pid_t>(pid), &status, WNOHANG);
        } while (reaped < 0 && errno == EINTR);
        if (reaped == pid || (reaped < 0 && errno == ECHILD)) {
            children_.remove(pid);
            return false;
        }
    }
    char state = '?';
    const QByteArray now = processStartTime(pid, &state);
    return !now.isEmpty() && now == startTime && state != 'Z' && state != 'X';
}

QList<NodeHost::Window> ProcessNodeHost::windows() {
    QList<Window> result;
    const QStringList files =
        QDir(directory_).entryList({QStringLiteral("node-*.title")}, QDir::Files);
    for (const QString& name : files) {
        bool ok = false;
        const qint64 pid = name.mid(5, name.size() - 11).toLongLong(&ok);
        if (!ok)
            continue;
        QFile file(directory_ + QLatin1Char('/') + name);
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const QByteArray startTime = file.readLine().trimmed();
        const QString title = QString::fromUtf8(file.readLine()).trimmed();
        file.close();
        if (!alive(pid, startTime)) {
            file.remove();
            continue;
        }
        result << Window{pid, title, pid};
    }
    return result;
}

qint64 ProcessNodeHost::findWindow(const QString& title) {
    for (const Window& window : windows()) {
        if (window.title == title)
            return window.handle;
    }
    return 0;
}

bool ProcessNodeHost::isWindow(qint64 handle) {
    QFile file(titleFile(handle));
    if (handle <= 0 || !file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray startTime = file.readLine().trimmed();
    file.close();
    if (alive(handle, startTime))
        return true;
    file.remove();
    return false;
}

void ProcessNodeHost::launch(const Launch& request, std::function<void(const Started&)> done) {
    const int target = request.targetFd;
    auto finish = [this, &done](const Started& started) {
        QTimer::singleShot(0, this, [done, started] { done(started); });
    };
    auto failWith = [&](const QString& why) {
        if (request.socketFd >= 0)
            ::close(request.socketFd);
        finish(Started{0, 0, why});
    };
    if (request.command.isEmpty() || request.socketFd < 0 || target <= STDERR_FILENO)
        return failWith(QStringLiteral("Nothing to launch for %1").arg(request.title));
    if (!QDir().mkpath(directory_))
        return failWith(QStringLiteral("Cannot create %1").arg(directory_));

    // Both sources sit above the node's number, so neither is overwritten by the other's dup2.
    const int socketCopy = duplicateAbove(request.socketFd, target);
    const QByteArray logTemplate = QFile::encodeName(directory_ + QStringLiteral("/spawn-XXXXXX"));
    QByteArray logName = logTemplate;
    const int logFirst = ::mkostemp(logName.data(), O_CLOEXEC);
    const int log = logFirst < 0 ? -1 : duplicateAbove(logFirst, target);
    if (logFirst >= 0)
        ::close(logFirst);
    if (socketCopy < 0 || log < 0) {
        const QString why =
            QStringLiteral("Cannot prepare %1: %2").arg(request.title, errnoText(errno));
        if (socketCopy >= 0)
            ::close(socketCopy);
        if (log >= 0)
            ::close(log);
        if (logFirst >= 0)
            ::unlink(logName.constData());
        return failWith(why);
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, socketCopy, target);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, log, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, log, STDERR_FILENO);
    // Whatever we inherited or a library left inheritable stays behind: the node gets 0, 1, 2
    // and its socket. Closing a descriptor that is not open is no error here.
    for (int fd = STDERR_FILENO + 1; fd < target; ++fd)
        posix_spawn_file_actions_addclose(&actions, fd);
    posix_spawn_file_actions_addclosefrom_np(&actions, target + 1);
    const QByteArray directory = QFile::encodeName(request.workingDirectory);
    if (!directory.isEmpty())
        posix_spawn_file_actions_addchdir_np(&actions, directory.constData());

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t signalSet;
    sigemptyset(&signalSet);
    posix_spawnattr_setsigmask(&attributes, &signalSet);
    // Dispositions the server set for itself (SIGPIPE ignored) are not the node's.
    sigfillset(&signalSet);
    posix_spawnattr_setsigdefault(&attributes, &signalSet);
    // Its own session: the node outlives the server and ignores the server's terminal.
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    std::vector<QByteArray> argvBytes;
    for (const QString& arg : request.command)
        argvBytes.push_back(QFile::encodeName(arg));
    std::vector<char*> argv;
    for (QByteArray& arg : argvBytes)
        argv.push_back(arg.data());
    argv.push_back(nullptr);

    pid_t pid = 0;
    const int rc = ::posix_spawnp(&pid, argv[0], &actions, &attributes, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    ::close(socketCopy);
    ::close(log);
    // The node holds the caller now; our copy would only delay the caller's EOF.
    ::close(request.socketFd);
    if (rc != 0) {
        ::unlink(logName.constData());
        return finish(Started{
            0, 0, QStringLiteral("Cannot run %1: %2").arg(request.command.first(), errnoText(rc))});
    }
    children_.insert(pid);
    QFile::remove(directory_ + QStringLiteral("/node-%1.log").arg(pid));
    ::rename(logName.constData(),
             QFile::encodeName(directory_ + QStringLiteral("/node-%1.log").arg(pid)).constData());

    QFile title(titleFile(pid));
    if (!title.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        title.write(processStartTime(pid) + '\n' + request.title.toUtf8() + '\n') < 0)
        return finish(Started{pid, pid, QStringLiteral("Cannot write %1").arg(title.fileName())});
    title.close();
    finish(Started{pid, pid, QString()});
}
