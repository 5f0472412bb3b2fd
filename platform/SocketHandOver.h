#pragma once

#include "platform/DescriptorPassing.h"

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

class QSocketNotifier;

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
