#pragma once

#include "console/BoardLogs.h"
#include "data/Board.h"
#include "server/NodeServices.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>

#include <functional>

class CallerConnection;
class QTimer;

// What one admission needs from the server around it.
struct AdmissionContext {
    Board& board;
    BoardLogs& logs;
    NodeServices& nodes;
    std::function<bool(const QString& ip)> isIpAllowed;
    std::function<void()> beep;
    // Turns the admission lock's one-second release timer back on.
    std::function<void()> enableLockTimer;
    std::function<void(bool)> enableWatchdog;
    int hostNameTimeoutMs = 10000;
};

// One caller's way from the accepted socket to a refusal or a launched node. Each place where
// the board lets other events in is a return to the event loop; nothing here blocks it.
class Admission : public QObject {
    Q_OBJECT
  public:
    Admission(AdmissionContext& context, int socketFd, int node, QObject* parent = nullptr);
    ~Admission() override;

    void start();

  signals:
    void finished();

  private:
    enum class Refusal { BlockedIp, Offline, NetTime, NoNode };

    void judge();
    void greet();
    void resolved(const QString& hostName);
    void negotiate();
    void negotiationRound();
    void launch();
    void refuse(Refusal reason);
    void invalidSession();
    void finish();
    // Runs one step under the admission's trap: any failure turns the caller away.
    void guarded(const std::function<bool()>& step);
    void later(void (Admission::*step)());
    QString paneTime() const { return logs_.paneTime(); }

    AdmissionContext& context_;
    Board& board_;
    BoardLogs& logs_;
    CallerConnection* connection_;
    int node_;
    QString handle_;
    QString ip_;
    QString hostName_ = QStringLiteral("Unknown");
    bool done_ = false;
    int hostLookupId_ = -1;
    QTimer* waitTimer_ = nullptr;
    QElapsedTimer negotiationClock_;
    QByteArray negotiationTail_;
};
