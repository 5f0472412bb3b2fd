#include "platform/SingleInstance.h"

#include "platform/Descriptor.h"

#include <QFile>
#include <QLocalSocket>
#include <QSocketNotifier>
#include <QTimer>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <initializer_list>

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr qint64 kMaxCommandLength = 1024;
// `keldts ctl` sends one line and reads one answer. The bound is per program, so that one that
// hogs the socket keeps out only itself; the bound over all of them only keeps descriptors for
// the callers, and when it is reached the one that has been silent longest makes room.
constexpr int kMaxClientsPerProcess = 4;
constexpr int kMaxClients = 64;
constexpr int kClientDeadlineMs = 5000;
// `keldts ctl` writes its line as soon as it is connected.
constexpr int kFirstLineMs = 1000;
// How often the server makes sure its control socket is still where `ctl` looks for it.
constexpr int kPlaceCheckMs = 5000;
// Out of descriptors, the waiting connection stays in the backlog and the socket stays
// readable: look again after a pause instead of spinning on it.
constexpr int kAcceptRetryMs = 250;
// The node hosts name their sockets "tmux-" or "handover-" and 12 hex digits of the board's
// hash; the spare bytes keep the check honest if a name grows a little.
constexpr int kLongestHostSocketName = 24;

const char* kLockName = "KELDTS.lock";
const char* kHostName = "host";

QString errnoText(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

QString userName(uid_t uid) {
    passwd entry{};
    passwd* found = nullptr;
    char buffer[1024];
    if (::getpwuid_r(uid, &entry, buffer, sizeof buffer, &found) == 0 && found)
        return QStringLiteral("%1 (uid %2)").arg(QString::fromLocal8Bit(found->pw_name)).arg(uid);
    return QStringLiteral("uid %1").arg(uid);
}

QString modeText(mode_t mode) {
    return QStringLiteral("%1").arg(mode & 07777, 4, 8, QLatin1Char('0'));
}

// Why `dir` is no place for the control socket, or nothing. Whoever can write there can put a
// socket of their own in its place and answer `ctl` in the server's name.
Result<> trusted(const QString& dir, const struct stat& info, std::initializer_list<uid_t> owners) {
    if (S_ISLNK(info.st_mode))
        return Failure{
            QStringLiteral("%1 is a symbolic link, not a directory of its own").arg(dir)};
    if (!S_ISDIR(info.st_mode))
        return Failure{QStringLiteral("%1 is not a directory").arg(dir)};
    if (std::find(owners.begin(), owners.end(), info.st_uid) == owners.end())
        return Failure{QStringLiteral("%1 belongs to %2, not to %3, so its owner could answer in "
                                      "the server's name")
                           .arg(dir, userName(info.st_uid), userName(*owners.begin()))};
    if ((info.st_mode & (S_IWGRP | S_IRWXO)) != 0)
        return Failure{QStringLiteral("%1 is open to %2 (mode %3), so they could replace the "
                                      "control socket")
                           .arg(dir,
                                (info.st_mode & S_IRWXO) != 0 ? QStringLiteral("other users")
                                                              : QStringLiteral("its group"),
                                modeText(info.st_mode))};
    return {};
}

// A socket's path has to fit in sockaddr_un, with its terminating zero.
Result<> fitsSockets(const QString& board) {
    const QByteArray control = QFile::encodeName(SingleInstance::socketPath(board));
    const QByteArray host = QFile::encodeName(SingleInstance::nodeHostDirectory(board));
    const qsizetype longest = std::max(control.size(), host.size() + 1 + kLongestHostSocketName);
    if (longest < qsizetype(sizeof(sockaddr_un::sun_path)))
        return {};
    return Failure{
        QStringLiteral("The board's path is too long for its sockets: %1 needs socket paths of "
                       "up to %2 bytes, and a unix socket's path holds at most %3. Move the board "
                       "to a shorter path.")
            .arg(board)
            .arg(longest)
            .arg(sizeof(sockaddr_un::sun_path) - 1)};
}

} // namespace

SingleInstance::SingleInstance(const QString& boardDirectory, QObject* parent)
    : QObject(parent), board_(boardDirectory) {}

SingleInstance::~SingleInstance() {
    // Gone with us, so that `ctl` hears at once that nothing runs here; a failure leaves a
    // stale file the next start replaces. A socket in our place now is another server's.
    if (listenFd_ >= 0 && socketIsOurs()) {
        const QByteArray name = QFile::encodeName(socketPath(board_));
        (void)::unlink(name.constData());
    }
    stopListening();
    if (lockFd_ >= 0)
        ::close(lockFd_);
}

QString SingleInstance::runtimeDirectory(const QString& board) {
    return board + QStringLiteral("/.keldts");
}

QString SingleInstance::socketPath(const QString& board) {
    return runtimeDirectory(board) + QStringLiteral("/KELDTS.sock");
}

QString SingleInstance::nodeHostDirectory(const QString& board) {
    return runtimeDirectory(board) + QLatin1Char('/') + QLatin1String(kHostName);
}

Result<SingleInstance::Claim> SingleInstance::acquire() {
    if (Result<> fits = fitsSockets(board_); !fits)
        return failureOf(fits);
    struct stat board {};
    const QByteArray boardName = QFile::encodeName(board_);
    if (::stat(boardName.constData(), &board) != 0)
        return Failure{QStringLiteral("Cannot look at %1: %2").arg(board_, errnoText(errno))};
    const QString dir = runtimeDirectory(board_);
    const QByteArray dirName = QFile::encodeName(dir);
    if (::mkdir(dirName.constData(), 0700) != 0 && errno != EEXIST)
        return Failure{QStringLiteral("Cannot create %1: %2").arg(dir, errnoText(errno))};
    const auto refuse = [&dir](const Result<>& why) {
        return Failure{QStringLiteral("KELDTS will not use %1: %2. Remove it (rm -r %1) and start "
                                      "KELDTS again as the board's user; it makes a new one.")
                           .arg(dir, why.error())};
    };
    const Descriptor dirFd(
        ::open(dirName.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat info {};
    if (dirFd.get() < 0) {
        const int cause = errno;
        if (::lstat(dirName.constData(), &info) == 0) {
            if (Result<> safe = trusted(dir, info, {::geteuid()}); !safe)
                return refuse(safe);
        }
        return Failure{QStringLiteral("Cannot open %1: %2").arg(dir, errnoText(cause))};
    }
    if (::fstat(dirFd.get(), &info) != 0)
        return Failure{QStringLiteral("Cannot look at %1: %2").arg(dir, errnoText(errno))};
    if (Result<> safe = trusted(dir, info, {::geteuid()}); !safe) {
        // The board's own user keeps it, the service say, and a sysop of its group started
        // another server here: while that one answers, this is a second start like any other.
        if (info.st_uid != board.st_uid || !trusted(dir, info, {board.st_uid}))
            return refuse(safe);
        QLocalSocket probe;
        probe.connectToServer(socketPath(board_));
        if (probe.waitForConnected(kClientDeadlineMs))
            return Claim::Taken;
        return Failure{QStringLiteral("%1 is kept by the board's owner, %2: start KELDTS as that "
                                      "user (for the service: systemctl start keldts).")
                           .arg(dir, userName(info.st_uid))};
    }

    const QString lockPath = dir + QLatin1Char('/') + QLatin1String(kLockName);
    lockFd_ = ::openat(dirFd.get(), kLockName, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (lockFd_ < 0)
        return Failure{QStringLiteral("Cannot open %1: %2").arg(lockPath, errnoText(errno))};
    if (::flock(lockFd_, LOCK_EX | LOCK_NB) != 0) {
        const int cause = errno;
        ::close(lockFd_);
        lockFd_ = -1;
        if (cause == EWOULDBLOCK)
            return Claim::Taken;
        return Failure{QStringLiteral("Cannot lock %1: %2").arg(lockPath, errnoText(cause))};
    }

    // A board its group may enter is shared through that group: the group gets the control
    // socket, never the node hosts' sockets, and others get nothing.
    bool shared = (board.st_mode & S_IXGRP) != 0;
    if (shared && info.st_gid != board.st_gid && ::fchown(dirFd.get(), uid_t(-1), board.st_gid)) {
        const QString cause = errnoText(errno);
        notes_ << QStringLiteral("The board's group cannot use keldts ctl: %1 cannot be given to "
                                 "group %2: %3")
                      .arg(dir)
                      .arg(board.st_gid)
                      .arg(cause);
        shared = false;
    }
    if (::fchmod(dirFd.get(), shared ? 0750 : 0700) != 0)
        return Failure{QStringLiteral("Cannot set the mode of %1: %2").arg(dir, errnoText(errno))};
    if (::mkdirat(dirFd.get(), kHostName, 0700) != 0 && errno != EEXIST)
        return Failure{QStringLiteral("Cannot create %1: %2")
                           .arg(nodeHostDirectory(board_), errnoText(errno))};
    if (Result<> listening = listen(shared ? board.st_gid : gid_t(-1)); !listening)
        return failureOf(listening);
    return Claim::Ours;
}

Result<> SingleInstance::listen(gid_t group) {
    const QString path = socketPath(board_);
    const QByteArray name = QFile::encodeName(path);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.constData(), size_t(name.size())); // fitsSockets() said so
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return Failure{QStringLiteral("Cannot create a socket: %1").arg(errnoText(errno))};
    const auto fail = [&](const char* what) {
        const int cause = errno;
        ::close(fd);
        return Failure{
            QStringLiteral("Cannot %1 %2: %3").arg(QLatin1String(what), path, errnoText(cause))};
    };
    // The lock is ours, so a socket file left behind by a killed server is stale.
    if (::unlink(name.constData()) != 0 && errno != ENOENT)
        return fail("remove");
    // Nobody can connect before listen(); until then the mode is whatever the umask made it.
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return fail("bind");
    if (group != gid_t(-1) && ::chown(name.constData(), uid_t(-1), group) != 0)
        return fail("give the board's group");
    if (::chmod(name.constData(), group != gid_t(-1) ? 0660 : 0600) != 0)
        return fail("set the mode of");
    if (::listen(fd, kMaxClients) != 0)
        return fail("listen on");
    struct stat bound {};
    if (::lstat(name.constData(), &bound) != 0)
        return fail("look at");
    socketDevice_ = bound.st_dev;
    socketInode_ = bound.st_ino;
    listenFd_ = fd;
    notifier_ = new QSocketNotifier(fd, QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, &SingleInstance::acceptAll);
    retry_ = new QTimer(this);
    retry_->setSingleShot(true);
    retry_->setInterval(kAcceptRetryMs);
    connect(retry_, &QTimer::timeout, notifier_, [this] { notifier_->setEnabled(true); });
    if (!placeCheck_) {
        placeCheck_ = new QTimer(this);
        connect(placeCheck_, &QTimer::timeout, this, &SingleInstance::checkPlace);
        placeCheck_->start(kPlaceCheckMs);
    }
    return {};
}

void SingleInstance::stopListening() {
    delete notifier_;
    notifier_ = nullptr;
    delete retry_;
    retry_ = nullptr;
    if (listenFd_ >= 0)
        ::close(std::exchange(listenFd_, -1));
}

bool SingleInstance::socketIsOurs() const {
    struct stat now {};
    const QByteArray name = QFile::encodeName(socketPath(board_));
    return ::lstat(name.constData(), &now) == 0 && now.st_dev == socketDevice_ &&
           now.st_ino == socketInode_;
}

void SingleInstance::checkPlace() {
    if (socketIsOurs()) {
        placeLost_ = false;
        return;
    }
    const QString path = socketPath(board_);
    // The old lock is held until a new one is: no second server may start in between.
    stopListening();
    const int oldLock = std::exchange(lockFd_, -1);
    const Result<Claim> again = acquire();
    if (again && again.value() == Claim::Ours) {
        ::close(oldLock);
        emit trouble(QStringLiteral("The control socket %1 was gone (its directory renamed or "
                                    "removed, or the socket replaced); it has been made again")
                         .arg(path));
        return;
    }
    stopListening();
    if (lockFd_ >= 0)
        ::close(lockFd_);
    lockFd_ = oldLock;
    if (std::exchange(placeLost_, true))
        return;
    emit trouble(QStringLiteral("The control socket %1 is gone and cannot be made again: %2; "
                                "keldts ctl cannot reach this server until it is restarted")
                     .arg(path, again ? QStringLiteral("another KELDTS holds the board now")
                                      : again.error()));
}

void SingleInstance::acceptAll() {
    for (;;) {
        const int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd >= 0) {
            admit(fd);
            continue;
        }
        const int cause = errno;
        if (cause == EINTR || cause == ECONNABORTED)
            continue;
        if (cause == EAGAIN || cause == EWOULDBLOCK)
            return;
        // Out of descriptors, typically (EMFILE, ENFILE): they come back as callers leave.
        notifier_->setEnabled(false);
        retry_->start();
        if (!lastTrouble_.isValid() || lastTrouble_.hasExpired(1000)) {
            lastTrouble_.start();
            emit trouble(QStringLiteral("Cannot take a keldts ctl connection (%1); trying again")
                             .arg(errnoText(cause)));
        }
        return;
    }
}

void SingleInstance::admit(int fd) {
    ucred peer{};
    socklen_t length = sizeof peer;
    const pid_t process =
        ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0 ? peer.pid : 0;
    const auto fromProcess =
        std::count_if(clients_.begin(), clients_.end(),
                      [process](const Client& c) { return c.process == process; });
    if (fromProcess >= kMaxClientsPerProcess ||
        (int(clients_.size()) >= kMaxClients && !dropLongestSilent())) {
        ::close(fd);
        return;
    }
    serve(fd, process);
}

SingleInstance::Client* SingleInstance::clientOf(const QLocalSocket* socket) {
    const auto it = std::find_if(clients_.begin(), clients_.end(),
                                 [socket](const Client& c) { return c.socket == socket; });
    return it == clients_.end() ? nullptr : &*it;
}

bool SingleInstance::dropLongestSilent() {
    const auto silent =
        std::find_if(clients_.begin(), clients_.end(), [](const Client& c) { return !c.heard; });
    if (silent == clients_.end())
        return false;
    QLocalSocket* socket = silent->socket;
    clients_.erase(silent);
    socket->abort();
    socket->deleteLater();
    return true;
}

void SingleInstance::serve(int fd, pid_t process) {
    auto* client = new QLocalSocket(this);
    if (!client->setSocketDescriptor(fd)) {
        ::close(fd);
        delete client;
        return;
    }
    clients_.push_back(Client{client, process, false});
    connect(client, &QObject::destroyed, this, [this, client] {
        std::erase_if(clients_, [client](const Client& c) { return c.socket == client; });
    });
    connect(client, &QLocalSocket::disconnected, client, &QObject::deleteLater);
    const auto drop = [client] {
        client->abort();
        client->deleteLater();
    };
    // A whole exchange gets one deadline, so a client that trickles bytes cannot stay either;
    // one that has not said its line soon is not a `ctl` at all.
    QTimer::singleShot(kClientDeadlineMs, client, drop);
    QTimer::singleShot(kFirstLineMs, client, [this, client, drop] {
        // Gone from the list already: dropped for room, and on its way out.
        if (const Client* c = clientOf(client); !c || !c->heard)
            drop();
    });
    connect(client, &QLocalSocket::readyRead, this, [this, client, drop] {
        if (!client->canReadLine()) {
            if (client->bytesAvailable() > kMaxCommandLength)
                drop();
            return;
        }
        // One command per connection: what follows the first line is not read.
        disconnect(client, &QLocalSocket::readyRead, this, nullptr);
        if (Client* c = clientOf(client))
            c->heard = true;
        const QString command = QString::fromUtf8(client->readLine(kMaxCommandLength)).trimmed();
        std::function<void()> after;
        const QString reply = handler_ ? handler_(command, after) : QStringLiteral("not ready");
        client->write((reply + QLatin1Char('\n')).toUtf8());
        client->flush();
        client->disconnectFromServer();
        if (after)
            after();
    });
}

Result<QString> SingleInstance::request(const QString& board, const QString& command,
                                        int timeoutMs) {
    if (Result<> fits = fitsSockets(board); !fits)
        return failureOf(fits);
    const QString dir = runtimeDirectory(board);
    const QString path = socketPath(board);
    const auto notRunning = [&](const QString& detail, const QString& hint = {}) {
        return Failure{QStringLiteral("KELDTS is not running on the board in %1 (%2).%3")
                           .arg(board, detail, hint)};
    };
    struct stat info {};
    const QByteArray dirName = QFile::encodeName(dir);
    if (::lstat(dirName.constData(), &info) != 0) {
        const int cause = errno;
        if (cause == ENOENT)
            return notRunning(QStringLiteral("no server has run there: no %1").arg(dir),
                              QStringLiteral(" Run keldts ctl in the board's directory, or give "
                                             "--board DIR."));
        return Failure{QStringLiteral("Cannot look at %1: %2%3")
                           .arg(dir, errnoText(cause),
                                cause == EACCES ? QStringLiteral(" (keldts ctl is for the board's "
                                                                 "owner and its group)")
                                                : QString())};
    }
    // The server may be another user's, a sysop's in the board's group talking to the service:
    // trusted is what the board's owner or this user made.
    struct stat owner {};
    const QByteArray boardName = QFile::encodeName(board);
    if (::stat(boardName.constData(), &owner) != 0)
        return Failure{QStringLiteral("Cannot look at %1: %2").arg(board, errnoText(errno))};
    if (Result<> safe = trusted(dir, info, {::geteuid(), owner.st_uid}); !safe)
        return Failure{QStringLiteral("keldts ctl will not talk to a socket in %1: %2. A KELDTS "
                                      "running there still uses it: the board's owner should stop "
                                      "that server first, then remove it (rm -r %1) and start "
                                      "KELDTS again.")
                           .arg(dir, safe.error())};

    QLocalSocket socket;
    socket.connectToServer(path);
    if (!socket.waitForConnected(timeoutMs)) {
        // Qt calls a missing socket file an invalid name; to the sysop both mean nobody is there.
        const QLocalSocket::LocalSocketError error = socket.error();
        if (error == QLocalSocket::ServerNotFoundError ||
            error == QLocalSocket::ConnectionRefusedError)
            return notRunning(QStringLiteral("no answer on %1").arg(path));
        return Failure{QStringLiteral("Cannot reach %1: %2").arg(path, socket.errorString())};
    }
    socket.write((command + QLatin1Char('\n')).toUtf8());
    if (!socket.waitForBytesWritten(timeoutMs))
        return Failure{QStringLiteral("Cannot send to %1: %2").arg(path, socket.errorString())};
    // The reply may span lines (the node list); the server hangs up behind it.
    QByteArray answer;
    while (socket.state() == QLocalSocket::ConnectedState && socket.waitForReadyRead(timeoutMs))
        answer += socket.readAll();
    answer += socket.readAll();
    if (answer.isEmpty() && socket.state() == QLocalSocket::ConnectedState)
        return Failure{QStringLiteral("KELDTS on the board in %1 did not answer within %2 s")
                           .arg(board)
                           .arg(timeoutMs / 1000)};
    if (answer.isEmpty())
        return Failure{QStringLiteral("KELDTS on the board in %1 hung up without an answer (too "
                                      "many keldts ctl connections at once?)")
                           .arg(board)};
    return QString::fromUtf8(answer).trimmed();
}
