// Callers against the real server, on a board without a telnet channel: always busy.

#include "KeldtsRunner.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QThread>
#include <QTime>

#include <random>

namespace {

const QString kOffline = "(0) Connection Refused (Server Offline) [127.0.0.1]";
const QString kNetTime = "(0) Connection Refused (Net Time) [127.0.0.1]";
const QString kResumed = "Server has Resumed Normal Operation [1]";

class AdmissionE2e : public E2eTest {
  protected:
    // Pane lines go to standard output as "hh:nn:ss : text".
    int paneLines(const QString& text) const {
        const QRegularExpression line(
            "(^|\\n)\\d\\d:\\d\\d:\\d\\d : " + QRegularExpression::escape(text) + "\\n");
        return int(QString::fromUtf8(sandbox.serverOutput()).count(line));
    }
};

TEST_F(AdmissionE2e, IpFilterSeesIpv4CallersAsDottedAndNativeIpv6AsText) {
    // Every IPv4 address blocked: an IPv6 caller is judged by its own list, and comes in.
    sandbox.write("KELDTSIP.DAT", "*.*.*.*        ");
    ASSERT_TRUE(sandbox.startServer());
    EXPECT_EQ(answer(sandbox.port(), "::1"), kBusyText) << "no IPv6 loopback here?";
    // The listener takes IPv4 on the same socket, as a mapped address shown in dotted form.
    // Calls inside the admission lock's second leave no trace, so call until one is judged.
    const QString blocked = "(0) Connection Refused (Blocked IP) [127.0.0.1]";
    EXPECT_TRUE(waitUntil(
        [&] {
            return closedWithoutAWord(sandbox.port()) && sandbox.logEntries().contains(blocked);
        },
        5000));
    EXPECT_EQ(sandbox.logEntries(),
              QStringList({kLoaded, "(0) Connection Refused (No Available Node) [::1]", blocked}));
}

TEST_F(AdmissionE2e, OfflineComesBeforeNetTimeAndNetOnlyTextIsSentAsItStands) {
    const QTime now = QTime::currentTime();
    // The window must lie inside today and must not start at 00:00, which switches it off.
    if (now < QTime(0, 2) || now > QTime(23, 56))
        GTEST_SKIP() << "too close to midnight for a net time window around now";
    const QByteArray netOnly = sandbox.read("TEXT/NETONLY.TXT");
    const QByteArray maintenance = refusalText("The BBS is currently down for maintenance.");
    const QByteArray traffic = refusalText("The BBS is currently down for network traffic.");

    ASSERT_TRUE(sandbox.startServer());
    EXPECT_EQ(sandbox.ctl("offline"), "offline 2");
    EXPECT_EQ(answer(sandbox.port()), maintenance);

    // A net time window taken in by a reload while offline: the offline answer still wins.
    const QString window = now.addSecs(-60).toString("HH:mm") + now.addSecs(180).toString("HH:mm");
    ASSERT_NO_FATAL_FAILURE(sandbox.write("MAIN.CFG", window.toLatin1(), 212));
    EXPECT_EQ(sandbox.ctl("reload"), "offline 2");
    EXPECT_EQ(answer(sandbox.port()), maintenance);

    EXPECT_EQ(sandbox.ctl("start"), "online 1");
    EXPECT_EQ(answer(sandbox.port()), netOnly + "\r\n");

    // Board file names are case-blind, and the file goes out byte for byte, CP437 and all.
    ASSERT_TRUE(QFile::remove(sandbox.path("TEXT/NETONLY.TXT")));
    const QByteArray own = "\xc9\xcd\xbb Mail run \xb0\xb1\xb2\r\nback soon\r\n";
    ASSERT_NO_FATAL_FAILURE(sandbox.write("TEXT/netonly.txt", own));
    EXPECT_EQ(answer(sandbox.port()), own + "\r\n");

    // Only blanks make it empty; line ends are a text of their own and go out as they are.
    ASSERT_NO_FATAL_FAILURE(sandbox.write("TEXT/netonly.txt", " \t\r\n  \r\n"));
    EXPECT_EQ(answer(sandbox.port()), " \t\r\n  \r\n\r\n");
    ASSERT_NO_FATAL_FAILURE(sandbox.write("TEXT/netonly.txt", "     "));
    EXPECT_EQ(answer(sandbox.port()), traffic);
    ASSERT_TRUE(QFile::remove(sandbox.path("TEXT/netonly.txt")));
    EXPECT_EQ(answer(sandbox.port()), traffic);

    EXPECT_EQ(sandbox.logEntries(),
              QStringList({kLoaded, "Server is now in Offline Mode [2]", kOffline, kOffline,
                           kResumed, kNetTime, kNetTime, kNetTime, kNetTime, kNetTime}));
    EXPECT_EQ(paneLines("Connection Refused (Server Offline)"), 2);
    EXPECT_EQ(paneLines("Connection Refused (Net Time)"), 5);
}

TEST_F(AdmissionE2e, BusyBoardAnswersOneCallerASecondAndAStoppedOneNoneWithALineASecond) {
    ASSERT_TRUE(sandbox.startServer());
    EXPECT_EQ(answer(sandbox.port()), kBusyText);
    // Right behind the first from the same address, inside the same second: dropped without a
    // word, and counted.
    EXPECT_TRUE(closedWithoutAWord(sandbox.port()));
    EXPECT_EQ(answer(sandbox.port()), kBusyText);

    EXPECT_EQ(sandbox.ctl("stop"), "stopped 0");
    // Keep calling until well past the second in which the lock could still explain silence.
    const QDeadlineTimer until(1600);
    for (int calls = 0; !until.hasExpired() || calls < 3; ++calls) {
        ASSERT_TRUE(closedWithoutAWord(sandbox.port())) << "the listener stays open";
        QThread::msleep(100); // the point is that nothing happens for a while
    }

    EXPECT_EQ(sandbox.ctl("start"), "online 1");
    EXPECT_EQ(answer(sandbox.port()), kBusyText);
    EXPECT_EQ(sandbox.logEntries(),
              QStringList({kLoaded, kBusy, kBusy, "Server has Stopped Accepting Connections [0]",
                           kResumed, kBusy}));
    EXPECT_EQ(paneLines("Connection Refused (No Available Node)"), 3);
    EXPECT_EQ(paneLines("Server has Stopped Accepting Connections"), 1);
    // The silent ones are in the log as counts, no more than one line a second.
    const QStringList drops = sandbox.logEntries(true).filter(kDropped);
    EXPECT_FALSE(drops.filter("address called within the second").isEmpty())
        << drops.join('\n').toStdString();
    EXPECT_FALSE(drops.filter("server stopped").isEmpty());
}

// Files and sockets: the tmux client's pipes may come up late on a loaded machine.
int openDescriptors(qint64 pid) {
    int open = 0;
    const QDir fds(QStringLiteral("/proc/%1/fd").arg(pid));
    for (const QString& fd :
         fds.entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System)) {
        const QString target = QFile::symLinkTarget(fds.filePath(fd));
        open += !target.contains("pipe:") && !target.contains("pidfd");
    }
    return open;
}

// Random bytes, telnet commands and all, until the server hangs up or `budget` bytes went out.
qsizetype flood(quint16 port, qsizetype budget, std::mt19937& random) {
    Caller caller;
    QByteArray chunk(64 * 1024, Qt::Uninitialized);
    qsizetype sent = 0;
    for (bool up = caller.call(port); up && sent < budget; sent += up ? chunk.size() : 0) {
        chunk.truncate(std::min(chunk.size(), budget - sent));
        for (char& c : chunk)
            c = static_cast<char>(random() & 0xff);
        for (up = caller.send(chunk); up && caller.bytesToWrite() > 0;)
            up = caller.waitForBytesWritten(10000);
    }
    return sent;
}

TEST_F(AdmissionE2e, TenMegabytesOfGarbageLeaveTheServerAnsweringWithNoLeakedDescriptor) {
    ASSERT_TRUE(sandbox.startServer());
    EXPECT_EQ(answer(sandbox.port()), kBusyText);
    const int descriptors = openDescriptors(sandbox.server.processId());
    ASSERT_GT(descriptors, 0);

    // The server hangs up on every call, so the load takes many; one must pass the lock.
    std::mt19937 random(20240524);
    constexpr qsizetype kTotal = 10 * 1024 * 1024;
    qsizetype sent = 0;
    const auto refusals = [&] { return sandbox.read("KELDTS.LOG").count("(No Available"); };
    const QDeadlineTimer until(30000);
    while ((sent < kTotal || refusals() < 2) && !until.hasExpired())
        sent += flood(sandbox.port(), std::max<qsizetype>(kTotal - sent, 64 * 1024), random);
    EXPECT_GE(sent, kTotal);

    EXPECT_EQ(sandbox.ctl("status"), "online 1");
    EXPECT_EQ(answer(sandbox.port()), kBusyText);
    // Refused callers may take a moment to be closed; none may stay open.
    EXPECT_TRUE(waitUntil(
        [&] { return openDescriptors(sandbox.server.processId()) <= descriptors; }, 15000));

    // Whatever was refused was refused for the one reason there is; nothing else got logged.
    QStringList entries = sandbox.logEntries();
    EXPECT_GE(entries.removeAll(kBusy), 3);
    EXPECT_EQ(entries, QStringList({kLoaded}));
}

} // namespace
