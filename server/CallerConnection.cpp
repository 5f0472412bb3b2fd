#include "server/CallerConnection.h"

#include <QHostAddress>
#include <QSocketNotifier>
#include <QTimer>

#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
// Output queued beyond this means a caller who does not read: treated as gone.
constexpr qsizetype kMaxPending = 4 * 1024 * 1024;
constexpr int kCloseGraceMs = 10000;
} // namespace

CallerConnection::CallerConnection(int fd, QObject* parent) : QObject(parent), fd_(fd) {
    const int flags = ::fcntl(fd_, F_GETFL);
    if (flags >= 0)
        ::fcntl(fd_, F_SETFL, flags | O_NONBLOCK);
    ::fcntl(fd_, F_SETFD, FD_CLOEXEC);
    // A caller reads and types key by key: the node's next bytes must not wait for the ACK of
    // the banner and options. Not every socket is TCP (tests use socket pairs); those refuse
    // the option and lose nothing by it.
    const int on = 1;
    ::setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    // A caller whose line died without a word would hold a node until the node program's own
    // time-out; keepalive probes find such a line within a few minutes, and the node inherits
    // them with the socket.
    const int idleSeconds = 60, intervalSeconds = 10, probes = 6;
    ::setsockopt(fd_, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    ::setsockopt(fd_, IPPROTO_TCP, TCP_KEEPIDLE, &idleSeconds, sizeof idleSeconds);
    ::setsockopt(fd_, IPPROTO_TCP, TCP_KEEPINTVL, &intervalSeconds, sizeof intervalSeconds);
    ::setsockopt(fd_, IPPROTO_TCP, TCP_KEEPCNT, &probes, sizeof probes);
    readNotifier_ = new QSocketNotifier(fd_, QSocketNotifier::Read, this);
    readNotifier_->setEnabled(false);
    connect(readNotifier_, &QSocketNotifier::activated, this, &CallerConnection::readable);
}

CallerConnection::~CallerConnection() {
    closeNow();
}

QString CallerConnection::remoteAddress() const {
    return peerAddress(fd_);
}

QString CallerConnection::peerAddress(int fd) {
    sockaddr_storage storage{};
    socklen_t length = sizeof storage;
    if (::getpeername(fd, reinterpret_cast<sockaddr*>(&storage), &length) != 0)
        return {};
    QHostAddress address(reinterpret_cast<const sockaddr*>(&storage));
    bool isV4 = false;
    const quint32 v4 = address.toIPv4Address(&isV4);
    return isV4 ? QHostAddress(v4).toString() : address.toString();
}

bool CallerConnection::isConnected() {
    if (fd_ < 0 || peerGone_)
        return false;
    char probe;
    const ssize_t n = ::recv(fd_, &probe, 1, MSG_PEEK | MSG_DONTWAIT);
    if (n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR))
        peerGone_ = true;
    return !peerGone_;
}

bool CallerConnection::send(const QByteArray& bytes) {
    if (!isConnected())
        return false;
    pending_ += bytes;
    if (pending_.size() > kMaxPending)
        return false;
    flush();
    return !peerGone_;
}

void CallerConnection::flush() {
    while (!pending_.isEmpty() && fd_ >= 0) {
        const ssize_t n = ::send(fd_, pending_.constData(), static_cast<size_t>(pending_.size()),
                                 MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            pending_.remove(0, n);
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            break;
        peerGone_ = true;
        pending_.clear();
    }
    const bool waiting = !pending_.isEmpty() && fd_ >= 0;
    if (waiting && !writeNotifier_) {
        writeNotifier_ = new QSocketNotifier(fd_, QSocketNotifier::Write, this);
        connect(writeNotifier_, &QSocketNotifier::activated, this, &CallerConnection::flush);
    }
    if (writeNotifier_)
        writeNotifier_->setEnabled(waiting);
}

QByteArray CallerConnection::receive(qsizetype limit) {
    QByteArray data(limit, Qt::Uninitialized);
    const ssize_t n =
        fd_ < 0 ? 0 : ::recv(fd_, data.data(), static_cast<size_t>(limit), MSG_DONTWAIT);
    if (n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR))
        peerGone_ = true;
    data.resize(n > 0 ? n : 0);
    readNotifier_->setEnabled(!peerGone_);
    return data;
}

int CallerConnection::lend() {
    if (readNotifier_)
        readNotifier_->setEnabled(false);
    return fd_ < 0 ? -1 : ::fcntl(fd_, F_DUPFD_CLOEXEC, 0);
}

int CallerConnection::release() {
    delete readNotifier_;
    readNotifier_ = nullptr;
    delete writeNotifier_;
    writeNotifier_ = nullptr;
    const int fd = fd_;
    fd_ = -1;
    return fd;
}

void CallerConnection::closeWhenSent() {
    if (readNotifier_)
        readNotifier_->setEnabled(false);
    if (pending_.isEmpty() || peerGone_) {
        closeNow();
        deleteLater();
        return;
    }
    connect(writeNotifier_, &QSocketNotifier::activated, this, [this] {
        if (pending_.isEmpty() || peerGone_) {
            closeNow();
            deleteLater();
        }
    });
    QTimer::singleShot(kCloseGraceMs, this, [this] {
        closeNow();
        deleteLater();
    });
}

void CallerConnection::closeNow() {
    if (fd_ < 0)
        return;
    // Read away what the caller sent, so that the close ends the stream with a FIN that lets
    // the last words arrive, not a reset that throws them away.
    char sink[4096];
    for (int i = 0; i < 64 && ::recv(fd_, sink, sizeof sink, MSG_DONTWAIT) > 0; ++i) {
    }
    ::shutdown(fd_, SHUT_WR);
    delete readNotifier_;
    readNotifier_ = nullptr;
    delete writeNotifier_;
    writeNotifier_ = nullptr;
    ::close(fd_);
    fd_ = -1;
}
