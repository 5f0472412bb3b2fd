#pragma once

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
