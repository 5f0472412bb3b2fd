#include "server/TelnetListener.h"

namespace {
// Out of descriptors, the caller waits in the backlog and the socket stays readable: a pause
// keeps the loop from spinning, and is short enough that the caller hardly notices.
constexpr int kRetryMs = 250;
} // namespace

TelnetListener::TelnetListener(QObject* parent) : QTcpServer(parent) {
    retry_.setSingleShot(true);
    retry_.setInterval(kRetryMs);
    connect(&retry_, &QTimer::timeout, this, [this] {
        // Closed (or listening anew) meanwhile: nothing is paused any more.
        if (isListening())
            resumeAccepting();
    });
    connect(this, &QTcpServer::acceptError, this, &TelnetListener::onAcceptError);
}

void TelnetListener::onAcceptError(QAbstractSocket::SocketError) {
    // QTcpServer has paused accepting before it tells us.
    retry_.start();
    if (!lastReport_.isValid() || lastReport_.hasExpired(1000)) {
        lastReport_.start();
        emit acceptFailing(errorString());
    }
}
