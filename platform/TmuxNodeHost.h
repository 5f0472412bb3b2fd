#pragma once

#include "platform/NodeHost.h"
#include "platform/TmuxControl.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>

#include <deque>

class HandOverServer;
class QProcess;

// Nodes as windows of one private tmux server per board.
//
// Every window is created detached; a node's Show mode therefore changes nothing at launch.
// Normal and Minimized both mean "a window the sysop can look at" and Hidden one that is simply
// never opened: all three are found by their title, because the name of a tmux window is set by
// us and stays exact whatever the program in it does to its terminal title. What the sysop sees
// is decided when a viewer attaches.
//
// After start() the host never waits for tmux. Everything goes through one control-mode client
// (`tmux -C`) whose answers are taken as they arrive, so a tmux that hangs leaves callers,
// `ctl` and the console answering: questions about windows are answered from the last list tmux
// sent, kept current by its window notifications and by what the host itself creates and kills.
class TmuxNodeHost : public QObject, public NodeHost {
    Q_OBJECT
  public:
    // `runtimeDirectory` holds the tmux socket and the hand-over socket; `mainDirectory`
    // names the board (one tmux server per board). `nodeExec` is the program that hands
    // the caller to the node; keldts-node-exec beside this program when empty.
    TmuxNodeHost(const QString& runtimeDirectory, const QString& mainDirectory,
                 const QString& nodeExec = QString(), QObject* parent = nullptr);
    ~TmuxNodeHost() override;

    // Starts (or finds) the tmux server, the hand-over socket and the control client, and takes
    // tmux's first list of windows. Runs before the first caller is accepted, so that the tmux
    // server inherits nothing of ours; it may block briefly.
    bool start(QString* error);
    QString tmuxSocket() const { return tmuxSocket_; }
    void setHandOverTimeout(int ms) { handOverTimeoutMs_ = ms; }

    QList<Window> windows() override { return windows_; }
    qint64 findWindow(const QString& title) override;
    bool isWindow(qint64 handle) override;
    void requestWindows() override;
    bool stalled() const override { return control_ && !answering(); }
    void launch(const Launch& request, std::function<void(const Started&)> done) override;
    bool show(qint64 handle, Show how, QString* note) override;
    bool sendKeys(qint64 handle, const QList<KeyStroke>& keys, QString* why) override;
    bool openWindow(const QString& title, const QStringList& program,
                    const QString& workingDirectory,
                    std::function<void(const QString& why)> failed) override;

    // The terminal command "Show" runs, with {attach} standing for the command that attaches
    // to the node's window; empty, Show only says how to attach.
    void setViewer(const QString& viewer) { viewer_ = viewer; }
    // A command that opens a view of window `handle` in a terminal of its own, without moving
    // any other view: a session grouped with the board's, gone when its viewer leaves.
    QString attachCommand(qint64 handle) const;

  private:
    struct Pending;
    using Reply = TmuxControlStream::Reply;
    struct Command {
        QByteArray line;
        std::function<void(const Reply&)> done; // may be empty: nothing to do with the answer
        QElapsedTimer sent;
    };
    enum class Control { None, Attaching, Attached };

    QStringList tmuxArguments(const QStringList& command) const;
    void startNewWindow(const QByteArray& token, bool retried);
    void settle(const QByteArray& token);
    void fail(const QByteArray& token, const QString& error);
    void killWindow(qint64 handle);

    // Gives tmux `line`; `done` gets the answer, or a failed one when the client goes first.
    void command(const QByteArray& line, std::function<void(const Reply&)> done = {});
    void write(Command command);
    void connectControl();
    void controlOutput();
    void controlGone(QProcess* control);
    bool answering() const;
    static QList<Window> parseWindows(const QList<QByteArray>& lines);

    QString runtimeDirectory_;
    QString tmuxSocket_;
    QString handOverSocket_;
    QString nodeExec_;
    QString viewer_;
    // The titles of the batch windows this run opened: they hold no caller to adopt.
    QSet<QString> batchTitles_;
    int handOverTimeoutMs_ = 10000;
    HandOverServer* handOver_ = nullptr;
    QHash<QByteArray, Pending*> pending_;

    QProcess* control_ = nullptr;
    Control state_ = Control::None;
    TmuxControlStream stream_;
    QByteArray attachError_;
    std::deque<Command> queued_;  // until the client is attached
    std::deque<Command> written_; // answers due, in order
    QList<Window> windows_;
    bool windowsKnown_ = false;
    bool listing_ = false;
    bool listAgain_ = false;
};
