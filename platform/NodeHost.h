#pragma once

#include "platform/Result.h"
#include "platform/SendKeys.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

// Where node programs run and how the server tells that one lives: a named console window per
// node. On Linux that is a tmux window (the default) or, where tmux is missing, a bare process
// whose "window" is its process id and a title file.
class NodeHost {
  public:
    struct Window {
        qint64 handle = 0; // the window's number; 0 is never a window
        QString title;
        qint64 pid = 0; // the process the window runs
    };

    // How a node's console is shown when the sysop looks: normal, minimised, hidden.
    enum class Show { Normal, Minimized, Hidden };

    struct Launch {
        QString title;       // "Node[n] - KELDTS"
        QStringList command; // program and arguments
        QString workingDirectory;
        int socketFd = -1; // the caller's socket; the host takes it over
        int targetFd = -1; // the descriptor number the node finds it at
        Show show = Show::Minimized;
    };

    struct Started {
        qint64 handle = 0; // 0 when the start failed
        qint64 pid = 0;
        QString error; // why, when it failed
    };

    virtual ~NodeHost() = default;

    // Every live window, as the host last saw them. These questions never wait: a host that
    // has to ask another process answers from its last look and what it did since.
    virtual QList<Window> windows() = 0;
    // The window titled exactly `title`, 0 if none.
    virtual qint64 findWindow(const QString& title) = 0;
    virtual bool isWindow(qint64 handle) = 0;
    // Asks for a fresh look without waiting for it; the answers above catch up when it comes.
    // A host that looks afresh at every question, or is told of every change, has little or
    // nothing to do here.
    virtual void requestWindows() {}
    // Whether the host is overdue with an answer it was asked for: nodes cannot start then.
    virtual bool stalled() const { return false; }
    // Starts a node. `done` is called on the event loop once the node holds the socket or the
    // start has failed; the host closes its copy of the socket by then.
    virtual void launch(const Launch& request, std::function<void(const Started&)> done) = 0;
    // Brings the window's console before the sysop (Normal), leaves it where a look finds it
    // (Minimized) or takes it from view (Hidden). The note says what came of it, how to look at
    // the node when nothing could be opened say, and may be empty. Like sendKeys it does not
    // wait for the window to have done it.
    virtual Result<QString> show(qint64 handle, Show how) = 0;
    // Types `keys` into the window's console; fails when it cannot take keys.
    virtual Result<> sendKeys(qint64 handle, const QList<KeyStroke>& keys) = 0;
    // Runs `program` in a window of its own titled `title`, which the sysop can look at as at a
    // node's; no caller goes with it. False when this host has no such windows: nothing has been
    // started then. What goes wrong afterwards goes to `failed`.
    virtual bool openWindow(const QString& /*title*/, const QStringList& /*program*/,
                            const QString& /*workingDirectory*/,
                            std::function<void(const QString& why)> /*failed*/) {
        return false;
    }
};
