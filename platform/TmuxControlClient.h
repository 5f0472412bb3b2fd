#pragma once

#include "platform/TmuxControl.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QStringList>

#include <deque>
#include <functional>

class QProcess;

// One control-mode client (`tmux -C`) of a tmux server, started when the first command needs
// it and again after it went (a killed tmux server takes its clients along). Commands are
// written as they come and answered in order; nothing here waits for tmux, except the one
// call made for that, so a tmux that hangs leaves the caller free.
class TmuxControlClient : public QObject {
    Q_OBJECT
  public:
    using Reply = TmuxControlStream::Reply;

    // `arguments` are tmux's, for a client that attaches (making the session when there is
    // none); `setup` goes to every new client ahead of anything it is asked.
    TmuxControlClient(QStringList arguments, QList<QByteArray> setup, QObject* parent = nullptr);
    ~TmuxControlClient() override;

    // Gives tmux `line`; `done` gets the answer, or a failed one when the client goes first.
    void command(const QByteArray& line, std::function<void(const Reply&)> done = {});
    // Starts a client when there is none.
    void attach();
    bool running() const { return process_ != nullptr; }
    // Attached, and no answer overdue.
    bool answering() const;
    qint64 processId() const;
    // Why the last client could not attach; empty when it did.
    QByteArray attachError() const { return attachError_; }
    // Blocks up to `ms` reading tmux until `condition` holds: for a start-up, never later.
    bool waitFor(const std::function<bool()>& condition, int ms);
    // Ends the client. A tmux that answers gets `lastWords` first and a moment to act on them;
    // otherwise only the client is killed, which leaves the server and its windows as they are.
    void leave(const QByteArray& lastWords);

  signals:
    // A new client is on its way: whatever the old one was told may have changed.
    void attaching();
    void notified(const TmuxControlStream::Notification& notification);

  private:
    struct Command {
        QByteArray line;
        std::function<void(const Reply&)> done; // may be empty: nothing to do with the answer
        QElapsedTimer sent;
    };
    enum class State { None, Attaching, Attached };

    void connectProcess();
    void write(Command command);
    void output();
    void gone(QProcess* process);

    QStringList arguments_;
    QList<QByteArray> setup_;
    QProcess* process_ = nullptr;
    State state_ = State::None;
    TmuxControlStream stream_;
    QByteArray attachError_;
    std::deque<Command> queued_;  // until the client is attached
    std::deque<Command> written_; // answers due, in order
};
