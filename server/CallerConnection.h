#pragma once

#include <QByteArray>
#include <QObject>

class QSocketNotifier;

// A caller's socket during admission, on the raw descriptor so that nothing the caller typed
// ahead is read away before the node gets the socket. Sends never block the event loop: what
// the kernel does not take at once waits here, within a bound.
class CallerConnection : public QObject {
    Q_OBJECT
  public:
    explicit CallerConnection(int fd, QObject* parent = nullptr);
    ~CallerConnection() override;

    int descriptor() const { return fd_; }
    // The peer's address as the board writes it: IPv4 (also when mapped into IPv6) dotted.
    QString remoteAddress() const;
    static QString peerAddress(int fd);

    // False when the caller is gone or the data cannot be sent: the admission's error case.
    bool send(const QByteArray& bytes);
    // The connection still stands: no end of stream or error seen, none waiting.
    bool isConnected();
    // Reads and returns what has arrived, at most `limit` bytes; notes the end of the stream.
    QByteArray receive(qsizetype limit);
    // Hands the descriptor over to its next owner; this object then no longer closes it.
    int release();
    // A second descriptor of the socket for a next owner that may yet give up, with this one
    // reading nothing meanwhile (what the caller types goes to the node); -1 when none is left.
    int lend();
    // Closes once the queued output has gone out, or after a bound; deletes itself then.
    void closeWhenSent();

  signals:
    void readable();

  private:
    void flush();
    void closeNow();

    int fd_;
    bool peerGone_ = false;
    QByteArray pending_;
    QSocketNotifier* readNotifier_ = nullptr;
    QSocketNotifier* writeNotifier_ = nullptr;
};
