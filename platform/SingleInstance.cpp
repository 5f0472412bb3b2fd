#include "platform/SingleInstance.h"

#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
constexpr qint64 kMaxCommandLength = 1024;
}

SingleInstance::SingleInstance(QObject* parent) : QObject(parent) {}

SingleInstance::~SingleInstance() {
    if (lockFd_ >= 0)
        ::close(lockFd_);
}

QString SingleInstance::runtimeDirectory() {
    const QByteArray xdg = qgetenv("XDG_RUNTIME_DIR");
    if (!xdg.isEmpty())
        return QFile::decodeName(xdg) + QStringLiteral("/keldts");
    return QStringLiteral("/tmp/keldts-%1").arg(::getuid());
}

QString SingleInstance::socketPath() {
    return runtimeDirectory() + QStringLiteral("/KELDTS.sock");
}

bool SingleInstance::acquire(QString* error) {
    const QString dir = runtimeDirectory();
    const QByteArray dirName = QFile::encodeName(dir);
    if (::mkdir(dirName.constData(), 0700) != 0 && errno != EEXIST) {
        *error = QStringLiteral("Cannot create %1: %2")
                     .arg(dir, QString::fromLocal8Bit(strerror(errno)));
        return false;
    }
    const QByteArray lockName = QFile::encodeName(dir + QStringLiteral("/KELDTS.lock"));
    lockFd_ = ::open(lockName.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (lockFd_ < 0) {
        *error = QStringLiteral("Cannot open %1: %2")
                     .arg(QFile::decodeName(lockName), QString::fromLocal8Bit(strerror(errno)));
        return false;
    }
    if (::flock(lockFd_, LOCK_EX | LOCK_NB) != 0) {
        const int cause = errno;
        ::close(lockFd_);
        lockFd_ = -1;
        if (cause != EWOULDBLOCK)
            *error = QStringLiteral("Cannot lock %1: %2")
                         .arg(QFile::decodeName(lockName), QString::fromLocal8Bit(strerror(cause)));
        return false;
    }
    // The lock is ours, so a socket file left behind by a killed instance is stale.
    QLocalServer::removeServer(socketPath());
    server_ = new QLocalServer(this);
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server_->listen(socketPath())) {
        *error =
            QStringLiteral("Cannot listen on %1: %2").arg(socketPath(), server_->errorString());
        return false;
    }
    connect(server_, &QLocalServer::newConnection, this, &SingleInstance::serve);
    return true;
}

void SingleInstance::serve() {
    while (QLocalSocket* client = server_->nextPendingConnection()) {
        connect(client, &QLocalSocket::disconnected, client, &QObject::deleteLater);
        connect(client, &QLocalSocket::readyRead, client, [this, client] {
            if (!client->canReadLine()) {
                if (client->bytesAvailable() > kMaxCommandLength)
                    client->abort();
                return;
            }
            const QString command =
                QString::fromUtf8(client->readLine(kMaxCommandLength)).trimmed();
            std::function<void()> after;
            const QString reply = handler_ ? handler_(command, after) : QStringLiteral("not ready");
            client->write((reply + QLatin1Char('\n')).toUtf8());
            client->flush();
            client->disconnectFromServer();
            if (after)
                after();
        });
    }
}

bool SingleInstance::request(const QString& command, QString* reply, int timeoutMs) {
    QLocalSocket socket;
    socket.connectToServer(socketPath());
    if (!socket.waitForConnected(timeoutMs))
        return false;
    socket.write((command + QLatin1Char('\n')).toUtf8());
    if (!socket.waitForBytesWritten(timeoutMs))
        return false;
    // The reply may span lines (the node list); the server hangs up behind it.
    QByteArray answer;
    while (socket.state() == QLocalSocket::ConnectedState && socket.waitForReadyRead(timeoutMs))
        answer += socket.readAll();
    answer += socket.readAll();
    *reply = QString::fromUtf8(answer).trimmed();
    return !answer.isEmpty();
}
