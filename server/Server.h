#pragma once

#include "console/BoardLogs.h"
#include "data/Board.h"
#include "server/AdmissionGate.h"
#include "server/BbsFinder.h"
#include "server/ConsoleFace.h"
#include "server/ConsoleJobs.h"
#include "server/FileTriggers.h"
#include "server/NodeServices.h"
#include "server/ScheduledWork.h"
#include "server/StatusPanel.h"
#include "server/UpdateLauncher.h"

#include <QHostAddress>
#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>

class Admission;
class NodeCommands;
class TelnetListener;

// The life of the one server process: loading, the run states, the timers, the listening
// socket, admissions, and closing. The desktop form and the headless runner both drive it.
class Server : public QObject {
    Q_OBJECT
  public:
    enum class CloseReason { CloseButton, ExitCommand, Signal };

    Server(Board& board, BoardLogs& logs, DebugPane& pane, NodeServices& nodes, ConsoleFace& face,
           QObject* parent = nullptr);
    ~Server() override;

    // Brings the server up in the board's order of loading. False when a fatal settings error
    // has been shown and the process must end.
    bool load(const QString& commandLine, const QString& startDirectory);

    void serverStart();
    void serverStop();
    void serverOffline();
    void reloadConfig();
    // After the server configuration form saved: the settings are loaded again, and a new port
    // and the update check follow them.
    void serverConfigChanged();
    // After any settings form has closed: the node list and the tray show what the settings
    // now say.
    void settingsFormClosed();

    // Decides whether the server may go down, asking `answers` about running nodes; when it
    // may, it saves, cleans up and emits exitRequested. The answers may come later, so
    // `answers` must outlive the questions.
    void queryUnload(CloseReason reason, Dialogs& answers);
    void formResized(bool minimized);
    // The statistics folded away (`shrunk`) or shown again; the choice is kept in KELDTS.DAT.
    void foldStatistics(bool shrunk);
    // Exit as the File menu would, saying Yes to leaving and No to forcing nodes down.
    void leaveUnattended();

    // One `keldts ctl` command; returns the reply line.
    QString control(const QString& command, std::function<void()>& after);

    // Where the batches that are shown get their windows; without it they all run hidden.
    void setNodeHost(NodeHost* host) { batchRunner_.setHost(host); }
    // Where `keldts ctl node …` goes; without it those commands are unknown.
    void setNodeCommands(NodeCommands* commands) { nodeCommands_ = commands; }
    NodeCommands* nodeCommands() const { return nodeCommands_; }
    // Who decides whether a caller's address may come in: KELDTSIP.DAT unless a test says.
    void setIpFilter(std::function<bool(const QString&)> filter) { ipFilter_ = std::move(filter); }
    // Where a text for the sysop to read is shown (title, text); without it the text goes to the
    // debug pane, as a server without a window shows everything.
    void setTextDisplay(std::function<void(const QString&, const QString&)> show) {
        showText_ = std::move(show);
    }
    quint16 listeningPort() const;
    // Says each line of KELDTS.INI that could not be understood.
    void reportPlatformProblems();
    // The Telnet port the settings name, which KELDTS.CFG holds as a signed number.
    quint16 configuredPort() const {
        return static_cast<quint16>(board_.serverConfig.i16("telnetport"));
    }
    // Why no caller can come in: the listening socket could not be opened. Empty while it is.
    const QString& notListening() const { return notListening_; }
    // The unattended duties, which the Tools menu also starts by hand.
    ScheduledWork& scheduledWork() { return work_; }
    StatusPanel& statusPanel() { return panel_; }
    // The menus' small jobs: local login, automatic node setup.
    ConsoleJobs& consoleJobs() { return jobs_; }
    BbsFinder& bbsFinder() { return bbsFinder_; }
    UpdateLauncher& updates() { return updates_; }
    Board& board() { return board_; }

  signals:
    void exitRequested(int exitCode);
    // A note about the start that a sysop reading the program's output must see too.
    void announced(const QString& text);
    void runStateChanged(int state);

  private:
    // Loads the settings again, says when KELDTS.CFG had to be completed; false after a fatal
    // fault, which ends the program.
    bool loadSettings();
    // KELDTS.INI read again; what only a start can change stays as it was.
    void reloadPlatformSettings();
    // Opens the listening socket on the settings' port and address; says why not when it cannot.
    void startListening();
    // Reopens the listening socket when the settings moved it or it is not open, while no node
    // is in use.
    void followListenSettings();
    // Where the settings say to listen: listen= of KELDTS.INI, or every address.
    QHostAddress listenAddress() const;
    void setRunState(int state, const QString& paneText, const QString& logText);
    void onConnectionRequest(int socketFd);
    void onFatal(const QString& text);
    // Ends every node still running, as the sysop asked at exit.
    void forceNodesDown();
    void unload();
    // The lowest free node for a caller from `address`, kept for its admission.
    int takeNode(const QString& address);
    void lockTick();
    void watchdogTick();
    void minuteTick();
    void secondTick();
    void updateTick();
    // The run state, and on a second line why no caller can come in while that is so.
    QString statusLines() const;
    // Everything the status panel shows, and the run state and the nodes, as one JSON object.
    QString statusJson();

    Board& board_;
    BoardLogs& logs_;
    DebugPane& pane_;
    NodeServices& nodes_;
    ConsoleFace& face_;
    TelnetListener* listener_;
    QString notListening_;
    QString iniPath_;
    QTimer timer1_, timer2_, timer3_, timer4_, timer5_;
    QPoint recordedPosition_;
    std::function<bool(const QString&)> ipFilter_;
    std::function<void(const QString&, const QString&)> showText_;
    AdmissionGate gate_;
    std::unique_ptr<struct AdmissionContext> context_;
    NodeCommands* nodeCommands_ = nullptr;
    BoardBatchRunner batchRunner_;
    ScheduledWork work_;
    StatusPanel panel_;
    ConsoleJobs jobs_;
    FileTriggers triggers_;
    BbsFinder bbsFinder_;
    UpdateLauncher updates_;
};
