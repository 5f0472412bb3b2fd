#pragma once

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

class QSocketNotifier;

// Passing an open descriptor from the server to a node program that some other process (tmux)
// started: the node connects to a private unix socket, names its launch by a token line, and
// receives the caller's socket with SCM_RIGHTS. Every descriptor made here is close-on-exec.
namespace handover {

// Sends `fd` over the unix socket `channel` with a one-byte payload. False with errno set.
bool sendDescriptor(int channel, int fd);
// Receives one descriptor from `channel`, close-on-exec; -1 with errno set (0 when the peer
// closed without sending one).
int receiveDescriptor(int channel);
// The process id at the other end of a connected unix socket, 0 if unknown.
qint64 peerPid(int channel);
// Sets or clears FD_CLOEXEC; false with errno set.
bool setCloseOnExec(int fd, bool on);

} // namespace handover

// The server end: listens on a unix socket and gives each offered descriptor to the one
// connection that presents its token. After the hand-over the connection stays open until the
// node program's exec closes it (success) or the helper reports why the exec failed.
class HandOverServer : public QObject {
    Q_OBJECT
  public:
    // `error` is empty when the node program is running as `pid`.
    using Finished = std::function<void(qint64 pid, const QString& error)>;

    explicit HandOverServer(QObject* parent = nullptr);
    ~HandOverServer() override;

    // Creates the socket at `path` (a stale file there is replaced), readable by this user only.
    bool listen(const QString& path, QString* error);
    QString path() const { return path_; }

    // Takes ownership of `fd`: it is closed once sent, or by cancel(). `finished` runs at most
    // once, on the event loop.
    void offer(const QByteArray& token, int fd, Finished finished);
    // Withdraws an offer that has not finished; its descriptor and connection are closed.
    void cancel(const QByteArray& token);
    int pendingOffers() const { return static_cast<int>(offers_.size()); }

  private:
    struct Connection;
    struct Offer {
        int fd = -1;
        Finished finished;
        Connection* connection = nullptr;
    };

    void acceptAll();
    void readFrom(Connection* connection);
    void drop(Connection* connection);
    void finish(const QByteArray& token, qint64 pid, const QString& error);

    int listenFd_ = -1;
    QString path_;
    QSocketNotifier* notifier_ = nullptr;
    QHash<QByteArray, Offer> offers_;
    QHash<Connection*, std::shared_ptr<Connection>> connections_;
};

// A token no other launch will present.
QByteArray newHandOverToken();
