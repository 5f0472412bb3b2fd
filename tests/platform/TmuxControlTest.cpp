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

// A sysop's viewer session comes and goes, a window is renamed, a node ends and another window
// appears: the list stays what tmux would list, and only a window never seen is asked about.
TEST(TmuxWindowsTest, NotificationsKeepTheListAndOnlyANewWindowIsDescribed) {
    TmuxWindows windows;
    EXPECT_FALSE(windows.known());
    windows.replace(TmuxWindows::parse({"@0 19104 placeholder", "@1 19107 Node[1] - KELDTS",
                                        "@2 19110 spare", "no window", "@x 1 bad id", "@3 7"}));
    ASSERT_TRUE(windows.known());
    using Kind = TmuxWindows::Follow::Kind;
    const auto follow = [&](const QByteArray& line) {
        TmuxControlStream stream;
        const QList<TmuxControlStream::Event> events = stream.feed(line + '\n');
        const auto* notification =
            events.isEmpty() ? nullptr
                             : std::get_if<TmuxControlStream::Notification>(&events.first());
        return notification ? windows.take(*notification) : TmuxWindows::Follow{};
    };
    EXPECT_EQ(follow("%sessions-changed").kind, Kind::Nothing);
    EXPECT_EQ(follow("%window-add @1").kind, Kind::Nothing);   // the viewer's session links it
    EXPECT_EQ(follow("%window-close @1").kind, Kind::Nothing); // and lets it go: still ours
    EXPECT_EQ(follow("%window-renamed @2 Node[2] - KELDTS").kind, Kind::Nothing);
    EXPECT_EQ(follow("%unlinked-window-close @1").kind, Kind::Nothing); // node 1 ended
    EXPECT_EQ(follow("%unlinked-window-close @9").kind, Kind::Nothing); // not ours
    const TmuxWindows::Follow added = follow("%window-add @4");
    EXPECT_EQ(added.kind, Kind::Describe);
    EXPECT_EQ(added.handle, 4);
    EXPECT_EQ(follow("%session-changed $1 OTHER").kind, Kind::ListAll);

    QStringList seen;
    for (const NodeHost::Window& w : windows.all())
        seen << QStringLiteral("@%1 %2 %3").arg(w.handle).arg(w.pid).arg(w.title);
    // @0, the first window of a new server, is the placeholder: no handle a node could have.
    EXPECT_EQ(seen, QStringList({"@2 19110 Node[2] - KELDTS"}));
    EXPECT_EQ(windows.find("Node[2] - KELDTS"), 2);
    EXPECT_FALSE(windows.contains(1));
}

} // namespace
