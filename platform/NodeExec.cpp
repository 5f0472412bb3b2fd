#include "platform/NodeExec.h"
#include "platform/SocketHandOver.h"

#include <QFile>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int kUsageStatus = 2;
constexpr int kFailureStatus = 1;
constexpr int kExecStatus = 127;

int fail(int status, const QString& message) {
    const QByteArray bytes = (QStringLiteral("keldts node-exec: ") + message + '\n').toLocal8Bit();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stderr);
    std::fflush(stderr);
    return status;
}

QString errnoText(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

bool writeAll(int fd, const QByteArray& bytes) {
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::send(fd, bytes.constData() + done,
                                 static_cast<size_t>(bytes.size() - done), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += n;
    }
    return true;
}

int connectTo(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (static_cast<size_t>(name.size()) >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return -1;
    }
    std::memcpy(address.sun_path, name.constData(), static_cast<size_t>(name.size()));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    int rc;
    do {
        rc = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    } while (rc != 0 && errno == EINTR);
    if (rc != 0) {
        const int cause = errno;
        ::close(fd);
        errno = cause;
        return -1;
    }
    return fd;
}

} // namespace

int runNodeExec(const QStringList& args) {
    QString socketPath;
    QByteArray token;
    int target = -1;
    qsizetype i = 0;
    for (; i < args.size(); ++i) {
        const QString& arg = args.at(i);
        if (arg == QLatin1String("--"))
            break;
        if (i + 1 >= args.size())
            return fail(kUsageStatus, QStringLiteral("%1 needs a value").arg(arg));
        const QString value = args.at(++i);
        if (arg == QLatin1String("--socket")) {
            socketPath = value;
        } else if (arg == QLatin1String("--token")) {
            token = value.toUtf8();
        } else if (arg == QLatin1String("--fd")) {
            bool ok = false;
            target = value.toInt(&ok);
            if (!ok || target < 0)
                return fail(kUsageStatus, QStringLiteral("bad descriptor number %1").arg(value));
        } else {
            return fail(kUsageStatus, QStringLiteral("unknown option %1").arg(arg));
        }
    }
    if (socketPath.isEmpty() || token.isEmpty() || target < 0 || i + 1 >= args.size())
        return fail(kUsageStatus, QStringLiteral("usage: keldts node-exec --socket PATH --token "
                                                 "TOKEN --fd H -- PROGRAM [ARGS...]"));
    if (target <= STDERR_FILENO)
        return fail(kUsageStatus,
                    QStringLiteral("descriptor %1 is the window's terminal").arg(target));

    std::vector<QByteArray> argvBytes;
    for (qsizetype k = i + 1; k < args.size(); ++k)
        argvBytes.push_back(QFile::encodeName(args.at(k)));
    std::vector<char*> argv;
    for (QByteArray& a : argvBytes)
        argv.push_back(a.data());
    argv.push_back(nullptr);

    const int channel = connectTo(socketPath);
    if (channel < 0)
        return fail(
            kFailureStatus,
            QStringLiteral("cannot reach the server at %1: %2").arg(socketPath, errnoText(errno)));
    if (!writeAll(channel, token + '\n'))
        return fail(kFailureStatus,
                    QStringLiteral("cannot talk to the server: %1").arg(errnoText(errno)));
    int fd = handover::receiveDescriptor(channel);
    if (fd < 0)
        return fail(kFailureStatus,
                    errno == 0 ? QStringLiteral("the server refused the hand-over")
                               : QStringLiteral("no socket received: %1").arg(errnoText(errno)));

    if (fd == target) {
        // dup2(H, H) would leave close-on-exec set and the node without its socket.
        handover::setCloseOnExec(fd, false);
    } else {
        int rc;
        do {
            rc = ::dup2(fd, target);
        } while (rc < 0 && errno == EINTR);
        if (rc < 0)
            return fail(kFailureStatus, QStringLiteral("cannot place the socket at %1: %2")
                                            .arg(target)
                                            .arg(errnoText(errno)));
        ::close(fd);
    }
    // A DOS node behind an emulator treats EAGAIN as a dropped line.
    const int flags = ::fcntl(target, F_GETFL);
    if (flags >= 0 && (flags & O_NONBLOCK))
        ::fcntl(target, F_SETFL, flags & ~O_NONBLOCK);

    // The channel is close-on-exec: a successful exec closes it and so tells the server.
    ::execvp(argv[0], argv.data());
    const QString why = QStringLiteral("cannot run %1: %2").arg(args.at(i + 1), errnoText(errno));
    writeAll(channel, why.toUtf8() + '\n');
    return fail(kExecStatus, why);
}
