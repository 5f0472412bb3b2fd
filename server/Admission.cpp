#include "server/Admission.h"

#include "server/AdmissionTexts.h"
#include "server/CallerConnection.h"

#include "platform/FileAccess.h"

#include <QHostInfo>
#include <QTimer>

#include <unistd.h>

namespace {
constexpr int kNegotiationMs = 5000;
constexpr int kNegotiationPollMs = 50;
constexpr qsizetype kReadChunk = 16384;
constexpr qint64 kMaxNetOnlyBytes = 1024 * 1024;
const QByteArray kCrLf = "\r\n";

} // namespace

Admission::Admission(AdmissionContext& context, int socketFd, QObject* parent)
    : QObject(parent), context_(context), board_(context.board), logs_(context.logs),
      connection_(new CallerConnection(socketFd, this)), ip_(connection_->remoteAddress()) {}

Admission::~Admission() {
    if (hostLookupId_ >= 0)
        QHostInfo::abortHostLookup(hostLookupId_);
}

void Admission::later(void (Admission::*step)()) {
    QTimer::singleShot(0, this, [this, step] {
        if (!done_)
            (this->*step)();
    });
}

void Admission::guarded(const std::function<bool()>& step) {
    bool ok = false;
    try {
        ok = step();
    } catch (...) {
        ok = false;
    }
    if (!ok)
        invalidSession();
}

void Admission::start() {
    if (board_.platform.pressEsc) {
        later(&Admission::askForKeys);
        return;
    }
    node_ = context_.takeNode(ip_);
    later(&Admission::judge);
}

void Admission::askForKeys() {
    guarded([this] {
        if (!connection_->send(admission::pressEscPrompt()))
            return false;
        waitTimer_ = new QTimer(this);
        waitTimer_->setSingleShot(true);
        connect(waitTimer_, &QTimer::timeout, this, [this] { refuse(Refusal::NoKeyPress); });
        waitTimer_->start(context_.keyPressTimeoutMs);
        connect(connection_, &CallerConnection::readable, this, &Admission::keysArrived);
        emit awaitingKeys();
        keysArrived();
        return true;
    });
}

void Admission::keysArrived() {
    if (done_ || !waitTimer_->isActive())
        return;
    const QByteArray typed = keys_.feed(connection_->receive(kReadChunk));
    if (!typed.isEmpty())
        emit keyTyped();
    escapes_ += int(typed.count('\x1b'));
    if (!connection_->isConnected()) {
        waitTimer_->stop();
        invalidSession();
        return;
    }
    if (escapes_ < 2)
        return;
    waitTimer_->stop();
    disconnect(connection_, &CallerConnection::readable, this, &Admission::keysArrived);
    node_ = context_.takeNode(ip_);
    later(&Admission::judge);
}

void Admission::dropSilent() {
    if (done_ || !waitTimer_ || !waitTimer_->isActive())
        return;
    waitTimer_->stop();
    refuse(Refusal::NoKeyPress);
}

void Admission::judge() {
    guarded([this] {
        handle_ = QString::number(connection_->descriptor());
        if (!context_.isIpAllowed(ip_)) {
            refuse(Refusal::BlockedIp);
            return true;
        }
        if (board_.serverState == StateOffline) {
            refuse(Refusal::Offline);
            return true;
        }
        if (admission::inNetTime(board_.mainConfig.text("netlowtime"),
                                 board_.mainConfig.text("nethightime"), board_.clock.now())) {
            refuse(Refusal::NetTime);
            return true;
        }
        if (node_ <= 0) {
            refuse(node_ == kNodesPerAddressReached ? Refusal::AddressLimit : Refusal::NoNode);
            return true;
        }
        if (board_.serverConfig.i16("beeponconnect") == 1)
            context_.beep();
        logs_.writeDebugPane(paneTime() +
                             QStringLiteral(" : Node %1 Started By IP %2").arg(node_).arg(ip_));
        logs_.writeEventLog(QStringLiteral("(%1) Connection Accepted [%2]").arg(node_).arg(ip_));
        if (!connection_->send(admission::banner(QString::fromLatin1(Board::kVersion)) + kCrLf))
            return false;
        later(&Admission::greet);
        return true;
    });
}

void Admission::greet() {
    guarded([this] {
        if (board_.serverConfig.i16("resolvehostname") != 1) {
            resolved(hostName_);
            return true;
        }
        if (!connection_->send(admission::resolvingPrompt()))
            return false;
        waitTimer_ = new QTimer(this);
        waitTimer_->setSingleShot(true);
        connect(waitTimer_, &QTimer::timeout, this, [this] {
            QHostInfo::abortHostLookup(hostLookupId_);
            hostLookupId_ = -1;
            resolved(QString());
        });
        waitTimer_->start(context_.hostNameTimeoutMs);
        hostLookupId_ = QHostInfo::lookupHost(ip_, this, [this](const QHostInfo& info) {
            hostLookupId_ = -1;
            waitTimer_->stop();
            const bool found = info.error() == QHostInfo::NoError && info.hostName() != ip_;
            resolved(found ? info.hostName() : QString());
        });
        return true;
    });
}

void Admission::resolved(const QString& hostName) {
    if (done_)
        return;
    const bool looked = board_.serverConfig.i16("resolvehostname") == 1;
    guarded([this, looked, hostName] {
        if (looked) {
            hostName_ = hostName.trimmed().isEmpty() ? QStringLiteral("Unable to resolve.")
                                                     : hostName.trimmed();
            if (!connection_->send(hostName_.toLatin1() + kCrLf))
                return false;
        }
        QTimer::singleShot(0, this, [this] {
            if (done_)
                return;
            guarded([this] {
                const QString dashes(40, QLatin1Char('-'));
                const QString login = QStringLiteral("CH %1 %2 - Telnet Login IP: %3 Hostname: %4")
                                          .arg(node_)
                                          .arg(paneTime(), ip_, hostName_);
                for (const QString& line :
                     {dashes, QStringLiteral("KELDTS Telnet Connection"), login, dashes}) {
                    if (!logs_.writeBbsLog(line))
                        return false;
                }
                if (board_.serverConfig.i16("autoconfig") == 1)
                    context_.nodes.configureNodeChannel(node_);
                if (!fileaccess::writeSmall(board_.filePath("main", QStringLiteral("DOOR32.SYS")),
                                            admission::door32Sys(handle_, node_))
                         .ok())
                    return false;
                negotiate();
                return true;
            });
        });
        return true;
    });
}

void Admission::negotiate() {
    // In one piece, so that the client answers them all in one go.
    QByteArray options;
    for (const QByteArray& option : admission::telnetOptions())
        options += option;
    if (!connection_->send(options)) {
        invalidSession();
        return;
    }
    negotiationClock_.start();
    connect(connection_, &CallerConnection::readable, this, &Admission::negotiationRound);
    waitTimer_ = new QTimer(this);
    connect(waitTimer_, &QTimer::timeout, this, &Admission::negotiationRound);
    QTimer::singleShot(0, this, [this] {
        if (done_)
            return;
        waitTimer_->start(kNegotiationPollMs);
        negotiationRound();
    });
}

void Admission::negotiationRound() {
    if (done_ || !waitTimer_->isActive())
        return;
    if (board_.serverState == StateShuttingDown) {
        waitTimer_->stop();
        finish();
        return;
    }
    bool answered = false;
    if (connection_->isConnected()) {
        // Everything the client says here is thrown away; only IAC DO ECHO is looked for, also
        // across two reads.
        const QByteArray data = connection_->receive(kReadChunk);
        answered = admission::holdsDoEcho(negotiationTail_ + data);
        negotiationTail_ = (negotiationTail_ + data).right(2);
    }
    if (connection_->isConnected() && !answered && negotiationClock_.elapsed() < kNegotiationMs)
        return;
    waitTimer_->stop();
    disconnect(connection_, &CallerConnection::readable, this, &Admission::negotiationRound);
    // A caller who has hung up meanwhile must not cost a node program's start and a node.
    if (!connection_->isConnected()) {
        invalidSession();
        return;
    }
    later(&Admission::launch);
}

void Admission::launch() {
    guarded([this] {
        context_.nodes.makeNodeDirectory(node_);
        if (!context_.nodes.writeTcpipCfg(handle_, node_, ip_, hostName_))
            return false;
        // The watchdog must not judge a node that is half started.
        context_.enableWatchdog(false);
        // The caller keeps a way back to us until the node holds the socket, so that a node that
        // never starts is said to the caller instead of a silent hang-up.
        const int lent = connection_->lend();
        if (lent < 0)
            return false;
        context_.nodes.launchNode(node_, lent, handle_, [this](bool started) {
            context_.enableWatchdog(true);
            if (!started)
                return refuse(Refusal::NodeNotStarted);
            // Closed without a shutdown: that would end the node's connection too.
            ::close(connection_->release());
            finish();
        });
        return true;
    });
}

void Admission::refuse(Refusal reason) {
    if (done_)
        return;
    const QString t = paneTime();
    const QString bbsName = board_.mainConfig.text("bbsname");
    const int node = this->node();
    QString pane, event;
    QByteArray text;
    switch (reason) {
    case Refusal::BlockedIp:
        pane = t + QStringLiteral(" : Connection Refused (Blocked IP) [%1]").arg(ip_);
        event = QStringLiteral("(%1) Connection Refused (Blocked IP) [%2]").arg(node).arg(ip_);
        break;
    case Refusal::Offline:
        pane = t + QStringLiteral(" : Connection Refused (Server Offline)");
        event = QStringLiteral("(%1) Connection Refused (Server Offline) [%2]").arg(node).arg(ip_);
        text = admission::offlineText(bbsName);
        break;
    case Refusal::NetTime: {
        pane = t + QStringLiteral(" : Connection Refused (Net Time)");
        event = QStringLiteral("(%1) Connection Refused (Net Time) [%2]").arg(node).arg(ip_);
        const Result<QByteArray> netOnly = fileaccess::readSmall(
            board_.filePath("txt", QStringLiteral("NETONLY.TXT")), kMaxNetOnlyBytes);
        text =
            admission::netTimeText(bbsName, netOnly ? netOnly.value() : QByteArray(), netOnly.ok());
        break;
    }
    case Refusal::NoNode:
        pane = t + QStringLiteral(" : Connection Refused (No Available Node)");
        event =
            QStringLiteral("(%1) Connection Refused (No Available Node) [%2]").arg(node).arg(ip_);
        text = admission::allBusyText(bbsName);
        break;
    case Refusal::AddressLimit:
        pane = t + QStringLiteral(" : Connection Refused (Nodes Per Address) [%1]").arg(ip_);
        event = QStringLiteral("(0) Connection Refused (Nodes Per Address) [%1]").arg(ip_);
        text = admission::addressLimitText(bbsName);
        break;
    case Refusal::NodeNotStarted:
        pane = t + QStringLiteral(" : Connection Refused (Node Not Started) [%1]").arg(node);
        event =
            QStringLiteral("(%1) Connection Refused (Node Not Started) [%2]").arg(node).arg(ip_);
        text = admission::nodeNotStartedText(bbsName);
        break;
    case Refusal::NoKeyPress:
        pane = t + QStringLiteral(" : Connection Refused (No Key Press) [%1]").arg(ip_);
        event = QStringLiteral("(0) Connection Refused (No Key Press) [%1]").arg(ip_);
        text = admission::noKeyPressText();
        break;
    }
    logs_.writeDebugPane(pane);
    logs_.writeEventLog(event);
    if (reason == Refusal::BlockedIp) {
        finish();
        return;
    }
    if (!connection_->send(text)) {
        invalidSession();
        return;
    }
    later(&Admission::finish);
}

void Admission::invalidSession() {
    if (done_)
        return;
    logs_.writeDebugPane(
        paneTime() + QStringLiteral(" : Connection Refused (Invalid Session) [%1]").arg(node()));
    logs_.writeEventLog(
        QStringLiteral("(%1) Connection Refused (Invalid Session) [%2]").arg(node()).arg(ip_));
    finish();
}

void Admission::finish() {
    if (done_)
        return;
    done_ = true;
    if (waitTimer_)
        waitTimer_->stop();
    if (hostLookupId_ >= 0) {
        QHostInfo::abortHostLookup(hostLookupId_);
        hostLookupId_ = -1;
    }
    if (connection_->descriptor() >= 0) {
        connection_->setParent(nullptr);
        connection_->closeWhenSent();
    }
    connection_ = nullptr;
    emit finished();
}
