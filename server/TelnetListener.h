#pragma once

#include <QTcpServer>

// The listening socket. Callers come out as raw descriptors, before Qt reads a byte, so that
// what a caller types ahead reaches the node.
class TelnetListener : public QTcpServer {
    Q_OBJECT
  public:
    using QTcpServer::QTcpServer;

  signals:
    void connectionRequest(int socketFd);

  protected:
    void incomingConnection(qintptr socketFd) override { emit connectionRequest(int(socketFd)); }
};
