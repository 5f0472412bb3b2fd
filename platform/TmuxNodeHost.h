#pragma once

#include "platform/NodeHost.h"
#include "platform/TmuxControl.h"
#include "platform/TmuxControlClient.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>

#include <optional>

class HandOverServer;

// Nodes as windows of one private tmux server per board.
//
// Every window is created detached; a node's Show mode therefore changes nothing at launch.
// Normal and Minimized both mean "a window the sysop can look at" and Hidden one that is simply
// never opened: all three are found by their title, because the name of a tmux window is set by
// us and stays exact whatever the program in it does to its terminal title. What the sysop sees
// is decided when a viewer attaches.
//
// After start() the host never waits for tmux. Everything goes through one control-mode client
// whose answers are taken as they arrive, so a tmux that hangs leaves callers, `ctl` and the
// console answering: questions about windows are answered from what tmux last said, kept
// current by its window notifications and by what the host itself creates and kills, with a
// full list once a minute in case a word went missing.
//
// One window always waits ahead of the next caller, its helper connected for the hand-over, so
// that a caller does not wait for tmux to make one; it takes the node's title when a caller
// takes it, and its own name is never a node's.
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
    Result<> start();
    QString tmuxSocket() const { return tmuxSocket_; }
    void setHandOverTimeout(int ms) { handOverTimeoutMs_ = ms; }
    // Whether the next caller finds a window waiting for him.
    bool spareReady() const;

    QList<Window> windows() override { return windows_.all(); }
    qint64 findWindow(const QString& title) override { return windows_.find(title); }
    bool isWindow(qint64 handle) override { return windows_.contains(handle); }
    void requestWindows() override;
    bool stalled() const override { return control_.running() && !control_.answering(); }
    void launch(const Launch& request, std::function<void(const Started&)> done) override;
    Result<QString> show(qint64 handle, Show how) override;
    Result<> sendKeys(qint64 handle, const QList<KeyStroke>& keys) override;
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
    struct Spare {
        QByteArray token;
        qint64 handle = 0; // known once new-window answered
    };
    using Reply = TmuxControlStream::Reply;

    QStringList tmuxArguments(const QStringList& command) const;
    QByteArray newWindowLine(const QString& title, const QByteArray& token) const;
    void offer(const QByteArray& token);
    void startNewWindow(const QByteArray& token, bool retried);
    void takeSpare(const QByteArray& token, qint64 handle);
    void makeSpare();
    void checkSpares();
    void settle(const QByteArray& token);
    void fail(const QByteArray& token, const QString& error);
    void killWindow(qint64 handle);
    void command(const QByteArray& line, std::function<void(const Reply&)> done = {}) {
        control_.command(line, std::move(done));
    }
    void listWindows();
    void notified(const TmuxControlStream::Notification& notification);

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
    std::optional<Spare> spare_;

    TmuxControlClient control_;
    TmuxWindows windows_;
    QElapsedTimer listed_; // since the last full list was asked for
    bool listing_ = false;
    bool listAgain_ = false;
};
