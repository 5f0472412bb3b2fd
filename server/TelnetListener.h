#pragma once

#include <QElapsedTimer>
#include <QTcpServer>
#include <QTimer>

// The listening socket. Callers come out as raw descriptors, before Qt reads a byte, so that
// what a caller types ahead reaches the node.
//
// QTcpServer stops accepting for good after a failed accept (no descriptors left, a caller gone
// before it was taken); this one takes up again by itself after a short pause.
class TelnetListener : public QTcpServer {
    Q_OBJECT
  public:
    explicit TelnetListener(QObject* parent = nullptr);

  signals:
    void connectionRequest(int socketFd);
    // Callers cannot be taken right now; said at most once a second while it lasts.
    void acceptFailing(const QString& reason);

  protected:
    void incomingConnection(qintptr socketFd) override { emit connectionRequest(int(socketFd)); }

  private:
    void onAcceptError(QAbstractSocket::SocketError error);

    QTimer retry_;
    QElapsedTimer lastReport_;
};
