#pragma once

#include "platform/DescriptorPassing.h"
#include "platform/Result.h"

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>

#include <functional>
#include <memory>
#include <string>

class QSocketNotifier;

// The server end: listens on a unix socket and gives each offered descriptor, with its orders,
// to the one connection that presents its token. A connection may come first, for a token that
// is expected: it then waits for the offer. After the hand-over the connection stays open until
// the node program's exec closes it (success) or the helper reports why it failed.
class HandOverServer : public QObject {
    Q_OBJECT
  public:
    // `error` is empty when the node program is running as `pid`.
    using Finished = std::function<void(qint64 pid, const QString& error)>;

    explicit HandOverServer(QObject* parent = nullptr);
    ~HandOverServer() override;

    // Creates the socket at `path` (a stale file there is replaced), readable by this user only.
    Result<> listen(const QString& path);
    QString path() const { return path_; }

    // Takes ownership of `fd`: it is closed once sent, or by cancel(). `finished` runs at most
    // once, on the event loop.
    void offer(const QByteArray& token, int fd, const handover::Orders& orders, Finished finished);
    // Lets a connection that presents `token` before its offer wait for it.
    void expect(const QByteArray& token) { expected_.insert(token); }
    // Whether a connection waits for the offer of `token`.
    bool waiting(const QByteArray& token) const { return waiting_.contains(token); }
    // Withdraws an offer or expectation that has not finished; its descriptor and connection
    // are closed.
    void cancel(const QByteArray& token);
    int pendingOffers() const { return static_cast<int>(offers_.size()); }

  private:
    struct Connection;
    struct Offer {
        int fd = -1;
        std::string orders;
        Finished finished;
        Connection* connection = nullptr;
    };

    void acceptAll();
    void readFrom(Connection* connection);
    // Gives the offer of `token` to `connection`; false when the connection was dropped.
    bool handOver(Connection* connection, const QByteArray& token);
    void drop(Connection* connection);
    void finish(const QByteArray& token, qint64 pid, const QString& error);

    int listenFd_ = -1;
    QString path_;
    QSocketNotifier* notifier_ = nullptr;
    QHash<QByteArray, Offer> offers_;
    QSet<QByteArray> expected_;
    QHash<QByteArray, Connection*> waiting_; // connections of expected tokens, not yet offered
    QHash<Connection*, std::shared_ptr<Connection>> connections_;
};

// A token no other launch will present.
QByteArray newHandOverToken();
