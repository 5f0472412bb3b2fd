#include "server/Server.h"

#include "console/ConsoleViews.h"

#include "data/DosReach.h"
#include "data/SystemConfig.h"
#include "platform/AllOrNone.h"
#include "server/AddressNetwork.h"
#include "server/Admission.h"
#include "server/AdmissionTexts.h"
#include "server/CallerConnection.h"
#include "server/CommandLine.h"
#include "server/IpFilter.h"
#include "server/LegacyFiles.h"
#include "server/NodeCommands.h"
#include "server/NodeFiles.h"
#include "server/ProjectLinks.h"
#include "server/TelnetListener.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

#include <unistd.h>

namespace {
const QString kErrorTitle = QStringLiteral("KELDTS - Error");
}

Server::Server(Board& board, BoardLogs& logs, DebugPane& pane, NodeServices& nodes,
               ConsoleFace& face, QObject* parent)
    : QObject(parent), board_(board), logs_(logs), pane_(pane), nodes_(nodes), face_(face),
      listener_(new TelnetListener(this)),
      ipFilter_([this](const QString& ip) { return isIpAllowed(board_, ip); }),
      showText_([this](const QString& title, const QString& text) {
          logs_.writeDebugPane(logs_.paneTime() + QStringLiteral(" : ") + title);
          for (const QString& line : text.split(QStringLiteral("\r\n")))
              logs_.writeDebugPane(line);
      }),
      batchRunner_(board, logs),
      work_(board, logs, batchRunner_, [this] { return nodes_.isNodeInUse(0); }),
      panel_(board, logs, face, [this] { return nodes_.isNodeInUse(0); }),
      jobs_(board, logs, batchRunner_), triggers_(board, logs, nodes, batchRunner_),
      bbsFinder_(board, face), updates_(board, logs, batchRunner_) {
    // The timers keep the names they have always had, Timer1 to Timer5, and can be found by them.
    int number = 0;
    for (QTimer* timer : {&timer1_, &timer2_, &timer3_, &timer4_, &timer5_}) {
        timer->setParent(this);
        timer->setObjectName(QStringLiteral("Timer%1").arg(++number));
    }
    timer1_.setInterval(1000);
    timer2_.setInterval(500);
    timer3_.setInterval(60000);
    timer4_.setInterval(1000);
    timer5_.setInterval(60000);
    connect(&timer1_, &QTimer::timeout, this, &Server::lockTick);
    connect(&timer2_, &QTimer::timeout, this, &Server::watchdogTick);
    connect(&timer3_, &QTimer::timeout, this, &Server::minuteTick);
    connect(&timer4_, &QTimer::timeout, this, &Server::secondTick);
    connect(&timer5_, &QTimer::timeout, this, &Server::updateTick);
    connect(listener_, &TelnetListener::connectionRequest, this, &Server::onConnectionRequest);
    connect(listener_, &TelnetListener::acceptFailing, this, [this](const QString& reason) {
        logs_.reportError(QStringLiteral("Callers cannot be taken: %1").arg(reason));
    });
    context_ = std::make_unique<AdmissionContext>(AdmissionContext{
        board_, logs_, nodes_, [this](const QString& ip) { return ipFilter_(ip); },
        [this] { face_.beep(); }, [this](const QString& ip) { return takeNode(ip); },
        [this](bool on) { on ? timer2_.start() : timer2_.stop(); }});
}

Server::~Server() = default;

quint16 Server::listeningPort() const {
    return listener_->isListening() ? listener_->serverPort() : 0;
}

bool Server::load(const QString& commandLine, const QString& startDirectory) {
    board_.serverState = StateStarting;
    board_.startTime = board_.clock.now();
    board_.displayDate = board_.startTime.date();
    logs_.attach(&board_);
    iniPath_ = QDir(startDirectory).filePath(QStringLiteral("KELDTS.INI"));
    removeLegacyFiles(startDirectory);
    if (!loadSettings())
        return false;
    // A change to several board files that a crash or a kill cut short is finished or undone
    // before anything reads them.
    if (Result<> recovered = allornone::recover(board_.journalPath()); !recovered)
        logs_.reportError(recovered.error());
    const ScreenGeometry geometry = face_.geometry();
    WindowPlacement placement = loadWindowState(board_, geometry);
    writeServerVersion(board_);
    work_.removeLeftoverBatches();
    if (board_.serverConfig.i16("mintotray") == 1)
        face_.trayAdd(QStringLiteral("KELDTS - Online"), 101);
    if (getCommandSwitch(commandLine, QStringLiteral("/RESETWINDOW")).isEmpty()) {
        face_.place(placement);
        if (board_.windowState.i16("windowminimized") == 1)
            face_.setMinimized(true);
    } else if (board_.serverConfig.i16("savewindowpos") == 1) {
        board_.serverConfig.setI16("savewindowpos", 0);
        saveServerConfig(board_);
        placement = loadWindowState(board_, geometry);
        face_.place(placement);
    }
    recordedPosition_ = face_.position();
    board_.serverState = StateOnline;
    face_.applyRunState(runStateView(StateOnline));
    panel_.updateOptionalMenus();
    panel_.guardStatistics();
    nodes_.refreshNodeList();
    panel_.setMainCaption();
    nodes_.deleteAllNodeFiles();
    timer1_.start();
    timer2_.start();
    timer3_.start();
    timer4_.start();
    startListening();
    face_.setBanner(QStringLiteral("KELDTS [%1] executed @ %2 %3\r\n%4")
                        .arg(QString::fromLatin1(Board::kVersion),
                             board_.startTime.toString(QStringLiteral("HH:mm:ss")),
                             board_.startTime.toString(QStringLiteral("MM/dd/yyyy")),
                             QLatin1String(links::kHomePage)));
    pane_.clear();
    logs_.writeEventLog(
        QStringLiteral("--- KELDTS v%1 Loaded").arg(QString::fromLatin1(Board::kVersion)));
    panel_.refresh();
    face_.showForm();
    bbsFinder_.update();
    work_.startUp();
    if (board_.serverConfig.i16("monitortimezone") == 1)
        panel_.updateTimeZone();
    if (board_.serverConfig.i16("updatetype") > 0)
        timer5_.start();
    if (board_.serverConfig.i16("pathwarned") == 0)
        showPathWarning(board_, showText_);
    emit runStateChanged(board_.serverState);
    return true;
}

bool Server::loadSettings() {
    const ConfigLoad loaded = loadSystemConfig(board_);
    if (loaded.fatal) {
        onFatal(loaded.text);
        return false;
    }
    if (!loaded.completed.isEmpty()) {
        const QString text =
            QStringLiteral("%1 was completed with default settings; callers are taken on Telnet "
                           "port %2.")
                .arg(loaded.completed)
                .arg(configuredPort());
        logs_.writeDebugPane(logs_.paneTime() + QStringLiteral(" : ") + text);
        logs_.writeEventLog(text);
        emit announced(text);
    }
    return true;
}

void Server::reloadPlatformSettings() {
    PlatformSettings fresh = readPlatformSettings(iniPath_);
    if (!fresh.unreadable.isEmpty()) {
        logs_.reportError(fresh.unreadable);
        return;
    }
    // The node host was chosen when the program started and stays for its run.
    fresh.nodeHost = board_.platform.nodeHost;
    board_.platform = std::move(fresh);
    reportPlatformProblems();
}

void Server::reportPlatformProblems() {
    for (const QString& problem : std::as_const(board_.platform.problems))
        logs_.writeDebugPane(logs_.paneTime() + QStringLiteral(" : Not understood: ") + problem);
}

QHostAddress Server::listenAddress() const {
    const QString& wanted = board_.platform.listenAddress;
    return wanted.isEmpty() ? QHostAddress(QHostAddress::Any) : QHostAddress(wanted);
}

void Server::followListenSettings() {
    if (nodes_.isNodeInUse(0))
        return;
    const bool moved = listener_->serverPort() != configuredPort() ||
                       listener_->serverAddress() != listenAddress();
    if (moved || !listener_->isListening())
        startListening();
}

void Server::startListening() {
    listener_->close();
    const quint16 port = configuredPort();
    const QHostAddress address = listenAddress();
    if (address.isNull()) {
        notListening_ = QStringLiteral("listen=%1 in the [Server] section of KELDTS.INI is no "
                                       "address to listen on.")
                            .arg(board_.platform.listenAddress);
        board_.dialogs.message(kErrorTitle, notListening_, MessageIcon::Exclamation);
        return;
    }
    if (listener_->listen(address, port)) {
        notListening_.clear();
        return;
    }
    const bool privileged = port < 1024 && ::geteuid() != 0 &&
                            listener_->serverError() == QAbstractSocket::SocketAccessError;
    const QString text =
        privileged ? QStringLiteral("The Telnet listen port %1 is a privileged port (below 1024) "
                                    "that this user may not open. Run KELDTS with the "
                                    "CAP_NET_BIND_SERVICE capability or choose a Telnet Port "
                                    "of 1024 or above.")
                         .arg(port)
        : listener_->serverError() == QAbstractSocket::AddressInUseError
            ? QStringLiteral("The Telnet listen port is being used by another application.")
            : QStringLiteral("Cannot listen on %1 port %2: %3")
                  .arg(address.toString())
                  .arg(port)
                  .arg(listener_->errorString());
    notListening_ = text;
    board_.dialogs.message(kErrorTitle, text, MessageIcon::Exclamation);
}

void Server::setRunState(int state, const QString& paneText, const QString& logText) {
    const RunStateView view = runStateView(state);
    face_.applyRunState(view);
    face_.trayModify(QString(), view.trayIcon);
    board_.serverState = static_cast<qint16>(state);
    logs_.writeDebugPane(logs_.paneTime() + QStringLiteral(" : ") + paneText);
    logs_.writeEventLog(logText);
    emit runStateChanged(state);
}

void Server::serverStart() {
    setRunState(StateOnline, QStringLiteral("Server has Resumed Normal Operation"),
                QStringLiteral("Server has Resumed Normal Operation [1]"));
}

void Server::serverStop() {
    setRunState(StateStopped, QStringLiteral("Server has Stopped Accepting Connections"),
                QStringLiteral("Server has Stopped Accepting Connections [0]"));
}

void Server::serverOffline() {
    setRunState(StateOffline, QStringLiteral("Server is now in Offline Mode"),
                QStringLiteral("Server is now in Offline Mode [2]"));
}

void Server::reloadConfig() {
    reloadPlatformSettings();
    if (!loadSettings())
        return;
    loadWindowState(board_, face_.geometry());
    panel_.updateOptionalMenus();
    followListenSettings();
    nodes_.refreshNodeList();
    panel_.refresh();
    panel_.setMainCaption();
}

void Server::serverConfigChanged() {
    if (!loadSettings())
        return;
    followListenSettings();
    if (board_.serverConfig.i16("updatetype") >= 1)
        timer5_.start();
    else
        timer5_.stop();
}

void Server::settingsFormClosed() {
    nodes_.refreshNodeList();
    panel_.setMainCaption();
    if (board_.serverConfig.i16("mintotray") == 1) {
        const int state = std::clamp<int>(board_.serverState, StateStopped, StateOffline);
        face_.trayAdd(QStringLiteral("KELDTS - ") + modeWord(state), runStateView(state).trayIcon);
    } else {
        face_.trayRemove();
    }
}

void Server::onFatal(const QString& text) {
    if (board_.serverState == StateShuttingDown)
        return;
    board_.serverState = StateShuttingDown;
    for (QTimer* timer : {&timer1_, &timer2_, &timer3_, &timer4_, &timer5_})
        timer->stop();
    board_.dialogs.message(kErrorTitle, text, MessageIcon::Stop, [this] { emit exitRequested(1); });
}

void Server::queryUnload(CloseReason reason, Dialogs& answers) {
    if (board_.serverState == StateShuttingDown)
        return;
    if (reason == CloseReason::CloseButton && board_.serverConfig.i16("closetotaskbar") == 1) {
        face_.setMinimized(true);
        return;
    }
    if (!nodes_.isNodeInUse(0)) {
        unload();
        return;
    }
    const QString title = QStringLiteral("KELDTS Shutdown");
    answers.ask(
        title,
        QStringLiteral("KELDTS detects there are BBS nodes in use!\r\nDo you want to proceed?"),
        false, [this, &answers, title](bool proceed) {
            if (!proceed || board_.serverState == StateShuttingDown)
                return;
            answers.ask(title,
                        QStringLiteral("Do you wish to force all nodes to close before exiting?"),
                        false, [this](bool force) {
                            if (force && board_.serverState != StateShuttingDown)
                                forceNodesDown();
                            unload();
                        });
        });
}

void Server::forceNodesDown() {
    const int last = board_.mainConfig.i16("maxchannelno");
    for (int node = 1; node <= last && nodes_.isNodeInUse(0); ++node) {
        if (!nodes_.isNodeInUse(node) || !nodes_.killProcessTree(nodes_.nodeProcessId(node)))
            continue;
        nodes_.resetNodeRecord(node);
        nodes_.deleteNodeFiles(node);
        QFile::remove(board_.filePath("main", QStringLiteral("KTSN%1.BAT").arg(node)));
    }
}

void Server::unload() {
    if (board_.serverState == StateShuttingDown)
        return;
    board_.serverState = StateShuttingDown;
    for (QTimer* timer : {&timer1_, &timer2_, &timer3_, &timer4_, &timer5_})
        timer->stop();
    saveWindowState(board_, recordedPosition_, face_.geometry());
    nodes_.deleteAllNodeFiles();
    logs_.writeEventLog(QStringLiteral("--- KELDTS Unloaded"));
    listener_->close();
    face_.trayRemove();
    emit exitRequested(0);
}

void Server::leaveUnattended() {
    // Nobody is there to answer: go down, and leave running nodes to their callers.
    QueuedAnswers answers(board_.dialogs, {true, false});
    queryUnload(CloseReason::Signal, answers);
}

void Server::formResized(bool minimized) {
    if (board_.serverState < 0)
        return;
    if (minimized && board_.serverConfig.i16("mintotray") == 1)
        face_.hideForm();
    board_.windowState.setI16("windowminimized", minimized ? 1 : 0);
}

void Server::foldStatistics(bool shrunk) {
    board_.windowState.setI16("panelshrunk", shrunk ? 1 : 0);
    saveWindowState(board_, recordedPosition_, face_.geometry());
}

void Server::onConnectionRequest(int socketFd) {
    const QString address = CallerConnection::peerAddress(socketFd);
    if (const auto dropped = gate_.enter(address, board_.serverState >= StateOnline)) {
        if (*dropped != AdmissionGate::Drop::TooMany) {
            ::close(socketFd);
            return;
        }
        // A caller who finds every place taken is told so rather than hung up on.
        auto* busy = new CallerConnection(socketFd);
        busy->send(admission::allBusyText(board_.mainConfig.text("bbsname")));
        busy->closeWhenSent();
        return;
    }
    auto* admission = new Admission(*context_, socketFd, this);
    connect(admission, &Admission::finished, this, [this, admission, address] {
        board_.admitting.remove(admission->node());
        gate_.leave(address);
        admission->deleteLater();
    });
    connect(admission, &Admission::awaitingKeys, this, [this, admission, address] {
        gate_.awaitKey(address, [admission] { admission->dropSilent(); });
    });
    connect(admission, &Admission::keyTyped, this, [this, address] { gate_.keyHeard(address); });
    admission->start();
}

int Server::takeNode(const QString& address) {
    const int most = board_.platform.nodesPerAddress;
    if (most > 0) {
        // The addresses of one network count together, or a caller with a block of them
        // could take every node.
        const QString network = callerNetwork(address);
        const auto inNetwork = [&](const QString& other) {
            return callerNetwork(other) == network;
        };
        const auto [first, last] = nodes_.telnetNodes();
        int held =
            int(std::count_if(board_.admitting.cbegin(), board_.admitting.cend(), inNetwork));
        for (int node = first; node <= last && held < most; ++node) {
            if (!board_.admitting.contains(node) && nodes_.isNodeStarted(node) &&
                inNetwork(nodefiles::callerAddress(board_, node)))
                ++held;
        }
        if (held >= most)
            return kNodesPerAddressReached;
    }
    const int node = nodes_.findFreeNode();
    if (node > 0)
        board_.admitting.insert(node, address);
    return node;
}

void Server::lockTick() {
    gate_.open();
    const QString dropped = gate_.tick();
    if (!dropped.isEmpty()) {
        logs_.writeDebugPane(logs_.paneTime() + QStringLiteral(" : ") + dropped);
        logs_.writeEventLog(QStringLiteral("(*) ") + dropped);
    }
    const QPoint now = face_.position();
    if (now != recordedPosition_)
        recordedPosition_ = now;
}

void Server::watchdogTick() {
    if (board_.serverState == StateShuttingDown) {
        timer2_.stop();
        return;
    }
    nodes_.watchNodes();
}

void Server::minuteTick() {
    if (!loadSettings())
        return;
    panel_.guardStatistics();
    if (board_.serverConfig.i16("dailymaint") == 1)
        panel_.countIdleMinute();
    work_.minuteTick();
    bbsFinder_.minuteTick();
    panel_.countRefreshMinute();
    triggers_.poll();
}

void Server::secondTick() {
    const QDateTime now = board_.clock.now();
    if (now.date() != board_.displayDate) {
        board_.displayDate = now.date();
        pane_.clear();
        logs_.writeDebugPane(dailyPaneLine(now, QStringLiteral("Daily Display Reset.")));
    }
    panel_.countMaintenanceSecond();
    if (work_.secondTick())
        panel_.maintenanceStarted();
    panel_.watchTimeZone();
    // There is no pointer over the tray icon to wait for here: the tip is kept current instead,
    // once a second as it could be rebuilt at most.
    if (board_.serverConfig.i16("mintotray") == 1)
        face_.trayModify(panel_.trayTip(), -1);
}

void Server::updateTick() {
    updates_.checkTick();
}

QString Server::control(const QString& command, std::function<void()>& after) {
    const QString word = command.trimmed().toLower();
    if (word == QLatin1String("status"))
        return statusLines();
    if (word == QLatin1String("status --json"))
        return statusJson();
    if (word == QLatin1String("nodes"))
        return nodes_.nodeRows().join(QLatin1Char('\n'));
    if (word.startsWith(QLatin1String("view "))) {
        const QString text = views::viewText(board_, word.mid(5).trimmed());
        return text.isEmpty() ? QStringLiteral("unknown command: ") + command.trimmed() : text;
    }
    if (word == QLatin1String("activate")) {
        logs_.writeDebugPane(
            logs_.paneTime() +
            QStringLiteral(" : Another start of KELDTS was turned away; this one keeps running."));
        face_.bringToFront();
        return QStringLiteral("activated");
    }
    if (board_.serverState < StateStopped)
        return QStringLiteral("busy: ") + runStateName(board_.serverState);
    if (word == QLatin1String("start"))
        serverStart();
    else if (word == QLatin1String("stop"))
        serverStop();
    else if (word == QLatin1String("offline"))
        serverOffline();
    else if (word == QLatin1String("reload"))
        reloadConfig();
    else if (word == QLatin1String("toss") || word == QLatin1String("event-batch")) {
        const Result<> ran =
            word == QLatin1String("toss") ? work_.runTossBatch() : work_.runEventBatch();
        if (!ran) {
            logs_.reportError(ran.error());
            return QStringLiteral("failed: ") + ran.error();
        }
        return QStringLiteral("done");
    } else if (word == QLatin1String("ksweep") || word == QLatin1String("ksweep --yes")) {
        QueuedAnswers answers(board_.dialogs, {word.endsWith(QLatin1String("--yes"))});
        QString outcome;
        work_.sweep(answers, [&outcome](const QString& said) { outcome = said; });
        return outcome;
    } else if (word == QLatin1String("login") ||
               word.startsWith(QLatin1String("auto-node-setup"))) {
        QueuedAnswers answers(board_.dialogs, {word.endsWith(QLatin1String(" --yes"))});
        QString outcome;
        const auto said = [&outcome](const QString& text) { outcome = text; };
        if (word == QLatin1String("login"))
            jobs_.localLogin(answers, said);
        else
            jobs_.autoNodeSetup(answers, said);
        return outcome;
    } else if (word == QLatin1String("exit")) {
        after = [this] { leaveUnattended(); };
        return QStringLiteral("exiting");
    } else if (const auto reply =
                   nodeCommands_
                       ? nodeCommands_->control(word.split(QLatin1Char(' '), Qt::SkipEmptyParts))
                       : std::nullopt)
        return *reply;
    else
        return QStringLiteral("unknown command: ") + command.trimmed();
    return statusLines();
}

QString Server::statusLines() const {
    const QString state = runStateName(board_.serverState);
    return notListening_.isEmpty() ? state
                                   : state + QStringLiteral("\nnot listening: ") + notListening_;
}

QString Server::statusJson() {
    QJsonObject status = panel_.toJson();
    const QString name = runStateName(board_.serverState);
    status.insert(QStringLiteral("runState"), name.section(QLatin1Char(' '), 0, 0));
    status.insert(QStringLiteral("runStateNumber"), int(board_.serverState));
    status.insert(QStringLiteral("nodes"), QJsonArray::fromStringList(nodes_.nodeRows()));
    status.insert(QStringLiteral("bbsFinder"), bbsFinder_.caption());
    status.insert(QStringLiteral("listening"), notListening_.isEmpty());
    if (!notListening_.isEmpty())
        status.insert(QStringLiteral("notListening"), notListening_);
    status.insert(QStringLiteral("nodeHost"),
                  nodes_.hostStalled() ? QStringLiteral("stalled") : QStringLiteral("answering"));
    return QString::fromUtf8(QJsonDocument(status).toJson(QJsonDocument::Compact));
}
