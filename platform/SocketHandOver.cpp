#include "platform/SocketHandOver.h"

#include "platform/ExecSupport.h"

#include <QFile>
#include <QRandomGenerator>
#include <QSocketNotifier>
#include <QTimer>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int kAcceptRetryMs = 250;

// A token line is 32 hex digits; anything much longer is not one of ours.
constexpr qsizetype kMaxLine = 512;

QString errnoText(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

void closeQuietly(int fd) {
    if (fd >= 0)
        ::close(fd); // never retried on EINTR: on Linux the descriptor is gone either way
}

} // namespace

QByteArray newHandOverToken() {
    quint32 words[4];
    QRandomGenerator::system()->fillRange(words);
    return QByteArray(reinterpret_cast<const char*>(words), sizeof words).toHex();
}

struct HandOverServer::Connection {
    int fd = -1;
    QSocketNotifier* notifier = nullptr;
    QByteArray buffer;
    QByteArray token;   // set once the descriptor went out
    QByteArray awaited; // an expected token, while its offer has not come
    qint64 pid = 0;
};

HandOverServer::HandOverServer(QObject* parent) : QObject(parent) {}

HandOverServer::~HandOverServer() {
    for (const Offer& offer : std::as_const(offers_))
        closeQuietly(offer.fd);
    for (const auto& connection : std::as_const(connections_))
        closeQuietly(connection->fd);
    closeQuietly(listenFd_);
    if (listenFd_ >= 0)
        QFile::remove(path_);
}

Result<> HandOverServer::listen(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (static_cast<size_t>(name.size()) >= sizeof address.sun_path)
        return Failure{QStringLiteral("Socket path too long: %1").arg(path)};
    std::memcpy(address.sun_path, name.constData(), static_cast<size_t>(name.size()));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return Failure{QStringLiteral("Cannot create a socket: %1").arg(errnoText(errno))};
    ::unlink(name.constData());
    // The umask around bind() keeps the socket private from the first instant.
    const mode_t oldMask = ::umask(0077);
    const int bound = ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    const int bindError = errno;
    ::umask(oldMask);
    if (bound != 0 || ::listen(fd, 16) != 0) {
        const QString why = QStringLiteral("Cannot listen on %1: %2")
                                .arg(path, errnoText(bound != 0 ? bindError : errno));
        closeQuietly(fd);
        return Failure{why};
    }
    listenFd_ = fd;
    path_ = path;
    notifier_ = new QSocketNotifier(fd, QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, &HandOverServer::acceptAll);
    return {};
}

void HandOverServer::offer(const QByteArray& token, int fd, const handover::Orders& orders,
                           Finished finished) {
    handover::setCloseOnExec(fd, true);
    offers_.insert(token, Offer{fd, handover::encodeOrders(orders), std::move(finished), nullptr});
    expected_.remove(token);
    if (!waiting_.contains(token))
        return;
    // On the event loop, as every outcome of an offer is told.
    QTimer::singleShot(0, this, [this, token] {
        Connection* connection = waiting_.take(token);
        if (!connection)
            return;
        connection->awaited.clear();
        if (offers_.contains(token))
            handOver(connection, token);
        else
            drop(connection);
    });
}

void HandOverServer::cancel(const QByteArray& token) {
    expected_.remove(token);
    if (Connection* waiting = waiting_.value(token))
        drop(waiting);
    auto it = offers_.find(token);
    if (it == offers_.end())
        return;
    closeQuietly(it->fd);
    Connection* connection = it->connection;
    offers_.erase(it);
    if (connection)
        drop(connection);
}

void HandOverServer::acceptAll() {
    for (;;) {
        const int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0) {
            if (errno == EINTR || errno == ECONNABORTED)
                continue;
            // Out of descriptors the waiting node stays in the backlog and the socket stays
            // readable: a pause keeps the loop from spinning until descriptors are free again.
            if (errno != EAGAIN && errno != EWOULDBLOCK) {
                notifier_->setEnabled(false);
                QTimer::singleShot(kAcceptRetryMs, notifier_,
                                   [notifier = notifier_] { notifier->setEnabled(true); });
            }
            return;
        }
        auto connection = std::make_shared<Connection>();
        connection->fd = fd;
        connection->pid = handover::peerPid(fd);
        connection->notifier = new QSocketNotifier(fd, QSocketNotifier::Read, this);
        Connection* raw = connection.get();
        connect(connection->notifier, &QSocketNotifier::activated, this,
                [this, raw] { readFrom(raw); });
        connections_.insert(raw, connection);
    }
}

void HandOverServer::readFrom(Connection* connection) {
    char chunk[256];
    bool closed = false;
    for (;;) {
        const ssize_t got = ::read(connection->fd, chunk, sizeof chunk);
        if (got > 0) {
            connection->buffer.append(chunk, got);
            if (connection->buffer.size() > kMaxLine)
                break;
            continue;
        }
        if (got < 0 && errno == EINTR)
            continue;
        closed = got == 0 || errno != EAGAIN;
        break;
    }

    if (!connection->awaited.isEmpty()) {
        // Waiting for its offer the helper has nothing to say; it goes when it closes.
        if (closed || connection->buffer.size() > kMaxLine)
            drop(connection);
        return;
    }
    if (connection->token.isEmpty()) {
        const qsizetype end = connection->buffer.indexOf('\n');
        if (end < 0) {
            if (closed || connection->buffer.size() > kMaxLine)
                drop(connection);
            return;
        }
        const QByteArray token = connection->buffer.left(end).trimmed();
        connection->buffer.remove(0, end + 1);
        auto it = offers_.find(token);
        if (it == offers_.end() && expected_.contains(token) && !waiting_.contains(token)) {
            connection->awaited = token;
            waiting_.insert(token, connection);
            if (closed)
                drop(connection);
            return;
        }
        if (token.isEmpty() || it == offers_.end() || it->connection) {
            drop(connection); // unknown or already claimed: the helper gives up on EOF
            return;
        }
        if (!handOver(connection, token))
            return;
    }

    // After the hand-over the helper writes only when its exec failed; the exec itself closes
    // the connection (it is close-on-exec), which is how success shows.
    if (!closed && connection->buffer.size() <= kMaxLine)
        return;
    const QByteArray token = connection->token;
    const qint64 pid = connection->pid;
    QString error = QString::fromUtf8(connection->buffer.trimmed());
    drop(connection);
    finish(token, error.isEmpty() ? pid : 0, error);
}

bool HandOverServer::handOver(Connection* connection, const QByteArray& token) {
    auto it = offers_.find(token);
    if (!handover::sendDescriptor(connection->fd, it->fd) ||
        !execsupport::sendAll(connection->fd, it->orders)) {
        const QString why = QStringLiteral("Cannot hand the socket over: %1").arg(errnoText(errno));
        drop(connection);
        finish(token, 0, why);
        return false;
    }
    // The node holds the caller now; our copy would only delay the caller's EOF.
    closeQuietly(it->fd);
    it->fd = -1;
    it->connection = connection;
    connection->token = token;
    return true;
}

void HandOverServer::drop(Connection* connection) {
    auto it = connections_.find(connection);
    if (it == connections_.end())
        return;
    const std::shared_ptr<Connection> owned = it.value();
    connections_.erase(it);
    owned->notifier->setEnabled(false);
    owned->notifier->deleteLater();
    closeQuietly(owned->fd);
    if (!owned->awaited.isEmpty())
        waiting_.remove(owned->awaited);
    if (!owned->token.isEmpty()) {
        auto offer = offers_.find(owned->token);
        if (offer != offers_.end() && offer->connection == connection)
            offer->connection = nullptr;
    }
}

void HandOverServer::finish(const QByteArray& token, qint64 pid, const QString& error) {
    auto it = offers_.find(token);
    if (it == offers_.end())
        return;
    Finished finished = std::move(it->finished);
    closeQuietly(it->fd);
    offers_.erase(it);
    if (finished)
        finished(pid, error);
}
