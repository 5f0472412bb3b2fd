#include "platform/TmuxControl.h"

#include <gtest/gtest.h>

namespace {

// What tmux 3.3a wrote to `tmux -C new-session -A ...` given list-windows, new-window, a
// display-message whose output looks like an end line, an unknown command and kill-server.
const QByteArray kRecorded = "%begin 1795482678 260 0\n"
                             "%end 1795482678 260 0\n"
                             "%window-add @0\n"
                             "%sessions-changed\n"
                             "%session-changed $0 KELDTS\n"
                             "%begin 1795482678 266 1\n"
                             "@0 19104 placeholder\n"
                             "%end 1795482678 266 1\n"
                             "%begin 1795482678 267 1\n"
                             "@1 19107\n"
                             "%end 1795482678 267 1\n"
                             "%begin 1795482678 268 1\n"
                             "%end 1 2 1\n"
                             "%end 1795482678 268 1\n"
                             "%begin 1795482678 269 1\n"
                             "parse error: unknown command: bogus\n"
                             "%error 1795482678 269 1\n"
                             "%window-add @1\n"
                             "%unlinked-window-close @1\n"
                             "%begin 1795482679 274 1\n"
                             "%end 1795482679 274 1\n"
                             "%sessions-changed\n"
                             "%exit\n";

QStringList described(const QList<TmuxControlStream::Event>& events) {
    QStringList out;
    for (const TmuxControlStream::Event& event : events) {
        if (const auto* reply = std::get_if<TmuxControlStream::Reply>(&event)) {
            out << QStringLiteral("%1 %2 %3: %4")
                       .arg(reply->number)
                       .arg(reply->fromClient ? "client" : "attach", reply->ok ? "ok" : "error",
                            QString::fromUtf8(reply->lines.join('|')));
        } else {
            const auto& notification = std::get<TmuxControlStream::Notification>(event);
            out << QString::fromUtf8(notification.name + '(' + notification.arguments + ')');
        }
    }
    return out;
}

TEST(TmuxControlStreamTest, RecordedOutputGivesTheSameAnswersAndNotificationsHoweverItIsRead) {
    const QStringList expected{"260 attach ok: ",
                               "window-add(@0)",
                               "sessions-changed()",
                               "session-changed($0 KELDTS)",
                               "266 client ok: @0 19104 placeholder",
                               "267 client ok: @1 19107",
                               "268 client ok: %end 1 2 1",
                               "269 client error: parse error: unknown command: bogus",
                               "window-add(@1)",
                               "unlinked-window-close(@1)",
                               "274 client ok: ",
                               "sessions-changed()",
                               "exit()"};
    TmuxControlStream whole;
    EXPECT_EQ(described(whole.feed(kRecorded)), expected);

    // A byte at a time, as a busy pipe may hand it over: lines and answers wait for their ends.
    TmuxControlStream trickle;
    QList<TmuxControlStream::Event> events;
    for (const char c : kRecorded)
        events += trickle.feed(QByteArray(1, c));
    EXPECT_EQ(described(events), expected);
}

} // namespace
