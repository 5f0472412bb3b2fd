#pragma once

#include "console/BoardLogs.h"
#include "data/Board.h"
#include "server/NodeServices.h"
#include "server/TelnetInput.h"

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
    // The lowest free node for a caller from `ip`, kept for this admission until it ends; 0 when
    // none is free, kNodesPerAddressReached when the address holds as many nodes as it may.
    std::function<int(const QString& ip)> takeNode;
    std::function<void(bool)> enableWatchdog;
    int hostNameTimeoutMs = 10000;
    int keyPressTimeoutMs = 30000;
};

inline constexpr int kNodesPerAddressReached = -1;

// One caller's way from the accepted socket to a refusal or a launched node. Each place where
// the board lets other events in is a return to the event loop; nothing here blocks it.
class Admission : public QObject {
    Q_OBJECT
  public:
    Admission(AdmissionContext& context, int socketFd, QObject* parent = nullptr);
    ~Admission() override;

    void start();
    // The node this admission holds (0 for none), to be let go of once it has finished.
    int node() const { return node_ > 0 ? node_ : 0; }
    // Lets a caller go who was asked for keys and has typed nothing, as its place is wanted.
    void dropSilent();

  signals:
    void finished();
    // The caller has been asked for keys; keyTyped() once he types, telnet commands aside.
    void awaitingKeys();
    void keyTyped();

  private:
    enum class Refusal {
        BlockedIp,
        Offline,
        NetTime,
        NoNode,
        AddressLimit,
        NoKeyPress,
        NodeNotStarted
    };

    // Where KELDTS.INI asks for it, a caller presses Esc twice before a node is even chosen,
    // which keeps port scanners and silent bots from holding nodes.
    void askForKeys();
    void keysArrived();
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
    int node_ = 0;
    int escapes_ = 0;
    TelnetInput keys_;
    QString handle_;
    QString ip_;
    QString hostName_ = QStringLiteral("Unknown");
    bool done_ = false;
    int hostLookupId_ = -1;
    QTimer* waitTimer_ = nullptr;
    QElapsedTimer negotiationClock_;
    QByteArray negotiationTail_;
};
