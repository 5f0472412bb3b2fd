#pragma once

#include "platform/NodeHost.h"

#include <QByteArray>
#include <QList>

#include <variant>

// What a tmux control-mode client (`tmux -C`) writes on its standard output, cut into whole
// pieces as the bytes come in, whatever way the reads split them.
//
// tmux answers every command with its output between "%begin TIME NUMBER FLAGS" and a matching
// "%end ..." or "%error ..." line, in the order the commands were given; between answers it
// writes one-line notifications that start with '%' ("%window-add @3", "%exit").
class TmuxControlStream {
  public:
    struct Reply {
        qint64 number = 0;       // tmux's own count of the command
        bool fromClient = false; // flag 1: a command written to this client; 0: its attach
        bool ok = false;         // %end rather than %error
        QList<QByteArray> lines;
    };
    struct Notification {
        QByteArray name;      // "window-add", without the '%'
        QByteArray arguments; // the rest of the line, "@3"
    };
    using Event = std::variant<Reply, Notification>;

    // The answers and notifications that `bytes` complete, in order.
    QList<Event> feed(const QByteArray& bytes);

  private:
    void takeLine(const QByteArray& line, QList<Event>* events);

    QByteArray partial_;   // the start of a line whose end has not come yet
    QByteArray blockTail_; // "TIME NUMBER FLAGS" of the answer being read; empty between them
    Reply block_;
};

// The windows of the control client's session, as tmux's answers and notifications tell them:
// a full list now and then, and between lists the notifications, which name a window by its
// id and, for a new one, give nothing more.
class TmuxWindows {
  public:
    using Window = NodeHost::Window;
    // What list-windows and display-message are asked for: "@ID PANE_PID NAME".
    static const QByteArray kFormat;
    static QList<Window> parse(const QList<QByteArray>& lines);

    // What the host has to ask tmux after a notification.
    struct Follow {
        enum class Kind { Nothing, Describe, ListAll };
        Kind kind = Kind::Nothing;
        qint64 handle = 0; // the window to describe
    };
    Follow take(const TmuxControlStream::Notification& notification);

    bool known() const { return known_; }
    const QList<Window>& all() const { return windows_; }
    void replace(QList<Window> windows);
    void put(const Window& window);
    void remove(qint64 handle);
    void rename(qint64 handle, const QString& title);
    bool contains(qint64 handle) const;
    qint64 find(const QString& title) const;

  private:
    QList<Window> windows_;
    bool known_ = false;
};
