#include "server/Server.h"
#include "server/AdmissionTexts.h"
#include "server/CommandLine.h"
#include "server/LegacyFiles.h"
#include "server/RunState.h"
#include "support/TestBoard.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <set>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

void PrintTo(const QString& text, std::ostream* os) {
    *os << '"' << text.toStdString() << '"';
}

namespace {

class FakeFace final : public ConsoleFace {
  public:
    ScreenGeometry geometry() const override { return {{1024, 768}, {680, 400}}; }
    QPoint position() const override { return {}; }
    void place(const WindowPlacement&) override {}
    void setMinimized(bool m) override { minimized = m; }
    void applyRunState(const RunStateView&) override {}
    void trayAdd(const QString&, int) override {}
    void trayModify(const QString&, int) override {}
    void trayRemove() override {}
    void setBanner(const QString&) override {}
    void showForm() override {}
    void bringToFront() override {}
    void hideForm() override {}
    void beep() override { ++beeps; }
    bool minimized = false;
    int beeps = 0;
};

// A node table that hands out `freeNode` and notes what is done to it, in order.
class FakeNodes final : public NodeServices {
  public:
    int findFreeNode() override { return freeNode; }
    bool isNodeInUse(int node) override {
        return node == 0 ? !running.empty() : running.count(node) > 0;
    }
    void refreshNodeList() override {}
    void watchNodes() override {}
    void deleteAllNodeFiles() override { calls << QStringLiteral("delete all"); }
    void deleteNodeFiles(int node) override { calls << QStringLiteral("delete %1").arg(node); }
    void resetNodeRecord(int node) override { calls << QStringLiteral("reset %1").arg(node); }
    qint64 nodeProcessId(int node) override { return 1000 + node; }
    bool killProcessTree(qint64 pid) override {
        const int node = int(pid - 1000);
        return !unkillable.count(node) && running.erase(node) > 0;
    }
    void configureNodeChannel(int node) override { calls << QStringLiteral("config %1").arg(node); }
    void makeNodeDirectory(int node) override { calls << QStringLiteral("mkdir %1").arg(node); }
    bool writeTcpipCfg(const QString& handle, int node, const QString& ip,
                       const QString& host) override {
        calls << QStringLiteral("tcpip %1 %2 %3 %4").arg(handle).arg(node).arg(ip, host);
        return true;
    }
    void launchNode(int node, int fd, const QString&, std::function<void()> done) override {
        calls << QStringLiteral("launch %1").arg(node);
        launchedFd = fd;
        ::close(fd);
        done();
    }
    QStringList nodeRows() override { return {}; }

    int freeNode = 1;
    std::set<int> running, unkillable;
    QStringList calls;
    int launchedFd = -1;
};

// Runs the event loop until `done` holds or the time is up.
template <typename F> bool spinUntil(F done, int timeoutMs = 10000) {
    const QDeadlineTimer deadline(timeoutMs);
    while (!done()) {
        if (deadline.hasExpired())
            return false;
        QEventLoop loop;
        QTimer::singleShot(5, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

// A telnet caller on a plain socket, read without blocking between rounds of the event loop.
class Caller {
  public:
    explicit Caller(quint16 port) : fd_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_port = htons(port);
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::connect(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
        ::fcntl(fd_, F_SETFL, O_NONBLOCK);
    }
    ~Caller() { hangUp(); }
    void hangUp() {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }
    // Takes in what has arrived; true once the server has closed the line.
    bool poll() {
        char buffer[4096];
        ssize_t n;
        while ((n = ::recv(fd_, buffer, sizeof buffer, 0)) > 0)
            received.append(buffer, n);
        if (n == 0 || (errno != EAGAIN && errno != EWOULDBLOCK))
            closed = true;
        return closed;
    }
    qint64 send(const QByteArray& bytes) {
        return ::send(fd_, bytes.constData(), size_t(bytes.size()), MSG_NOSIGNAL);
    }

    QByteArray received;
    bool closed = false;

  private:
    int fd_;
};

const QByteArray
    kOptions("\xff\xfd\x03\xff\xfb\x03\xff\xfe\x01\xff\xfb\x01\xff\xfc\x22\xff\xfc\x24", 18);
const QByteArray kDoEcho("\xff\xfd\x01", 3);

class ServerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(server.load(QString(), t.mainDir()));
        ASSERT_NE(server.listeningPort(), 0);
        QObject::connect(&server, &Server::exitRequested, [this](int) { ++exits; });
        // The lock that loading sets is freed by the first tick; no need to wait a second.
        t.board->pendingNode = 0;
        nodes.calls.clear();
    }
    QString lastLogLine() const {
        return QString::fromLatin1(t.read(QStringLiteral("KELDTS.LOG")).trimmed())
            .section(QStringLiteral("\r\n"), -1)
            .mid(25);
    }
    bool launched() const { return nodes.calls.contains(QStringLiteral("launch 1")); }

    TestBoard t{0};
    FakeNodes nodes;
    FakeFace face;
    Server server{*t.board, t.logs, t.pane, nodes, face};
    int exits = 0;
};

TEST_F(ServerTest, AnAdmittedCallerIsGreetedLoggedAndHandedToTheNode) {
    EXPECT_EQ(lastLogLine(), QStringLiteral("--- KELDTS v2.6.060524 Loaded"));
    t.board->serverConfig.setI16("beeponconnect", 1);
    Caller caller(server.listeningPort());
    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(spinUntil([&] { return caller.poll() || caller.received.endsWith(kOptions); }));
    caller.send(kDoEcho);
    ASSERT_TRUE(spinUntil([&] { return caller.poll(); }));
    // The answer to the options ends the wait; a silent caller waits five seconds.
    EXPECT_LT(clock.elapsed(), 4000);

    const QByteArray head = "\x1b[2J\x1b[1;1H\x1b[0;1m\xC4\xC4\x1b[0m\xC4\xC4\x1b[1;30m\xC4"
                            "\x1b[36mKELDTS \x1b[0;36mv2.6.060524";
    const QByteArray tail = "\x1b[0m\r\n" + kOptions;
    const QByteArray& got = caller.received;
    ASSERT_TRUE(got.startsWith(head)) << got.toHex().toStdString();
    ASSERT_TRUE(got.endsWith(tail)) << got.toHex().toStdString();
    const QByteArray notice = got.mid(head.size(), got.size() - head.size() - tail.size());
    for (char c : notice)
        EXPECT_TRUE(c >= ' ' && c < 127) << notice.toStdString();

    const QString handle = QString::number(nodes.launchedFd);
    EXPECT_EQ(nodes.calls, QStringList({QStringLiteral("config 1"), QStringLiteral("mkdir 1"),
                                        QStringLiteral("tcpip %1 1 127.0.0.1 Unknown").arg(handle),
                                        QStringLiteral("launch 1")}));
    EXPECT_EQ(t.read(QStringLiteral("DOOR32.SYS")),
              "2\r\n" + handle.toLatin1() +
                  "\r\n115200\r\nKELDTS\r\n1\r\nBBS User\r\nBBS User\r\n1\r\n1\r\n1\r\n");
    const QByteArray dashes(40, '-');
    EXPECT_EQ(t.read(QStringLiteral("DATA/BBS.LOG")),
              dashes +
                  "\r\nKELDTS Telnet Connection\r\n"
                  "CH 1 12:00:00 - Telnet Login IP: 127.0.0.1 Hostname: Unknown\r\n" +
                  dashes + "\r\n");
    EXPECT_EQ(t.pane.lines(),
              QStringList({QStringLiteral("12:00:00 : Node 1 Started By IP 127.0.0.1")}));
    EXPECT_EQ(lastLogLine(), QStringLiteral("(1) Connection Accepted [127.0.0.1]"));
    EXPECT_EQ(face.beeps, 1);
    // The lock holds until the next tick of its timer, which runs again.
    EXPECT_EQ(t.board->pendingNode, 1);
    EXPECT_TRUE(server.timerActive(1));
}

TEST_F(ServerTest, ACallerWhoFloodsTheNegotiationIsWaitedForFiveSecondsOnly) {
    t.board->serverConfig.setI16("autoconfig", 0);
    Caller caller(server.listeningPort());
    ASSERT_TRUE(spinUntil([&] { return caller.poll() || caller.received.endsWith(kOptions); }));
    QElapsedTimer clock;
    clock.start();
    // Telnet commands that never say DO ECHO, and noise, as fast as the line takes them.
    QByteArray noise;
    for (int i = 0; i < 2048; ++i)
        noise += QByteArray("\xff\xff\xfd\xfb\x00\xff\xfd\x03garbage\xff\xfd", 15);
    qint64 flooded = 0;
    // Meanwhile a second caller is turned away without a word, being inside the same second.
    Caller second(server.listeningPort());
    ASSERT_TRUE(spinUntil([&] {
        const qint64 n = caller.send(noise);
        flooded += n > 0 ? n : 0;
        second.poll();
        return caller.poll();
    }));
    EXPECT_GE(clock.elapsed(), 4900);
    EXPECT_LT(clock.elapsed(), 8000);
    EXPECT_GT(flooded, 1 << 20);
    EXPECT_TRUE(launched());
    EXPECT_FALSE(nodes.calls.contains(QStringLiteral("config 1")));
    EXPECT_TRUE(second.closed);
    EXPECT_TRUE(second.received.isEmpty());
    EXPECT_EQ(t.pane.lines().size(), 1);
}

TEST_F(ServerTest, HostNameIsLookedUpWhenAsked) {
    t.board->serverConfig.setI16("resolvehostname", 1);
    Caller caller(server.listeningPort());
    ASSERT_TRUE(spinUntil([&] { return caller.poll() || caller.received.endsWith(kOptions); }));
    caller.send(kDoEcho);
    ASSERT_TRUE(spinUntil([&] { return caller.poll(); }));
    const QByteArray prompt = "\x1b[1;30mResolving Hostname... \x1b[0m";
    const qsizetype at = caller.received.indexOf(prompt);
    ASSERT_GT(at, 0);
    const qsizetype end = caller.received.indexOf("\r\n", at);
    const QByteArray host = caller.received.mid(at + prompt.size(), end - at - prompt.size());
    EXPECT_FALSE(host.isEmpty());
    EXPECT_TRUE(t.read(QStringLiteral("DATA/BBS.LOG")).contains(" Hostname: " + host + "\r\n"));
    EXPECT_TRUE(nodes.calls.contains(
        QStringLiteral("tcpip %1 1 127.0.0.1 %2").arg(nodes.launchedFd).arg(QLatin1String(host))));
}

TEST_F(ServerTest, RefusedCallersHearWhyInTheOrderOfTheChecks) {
    const QByteArray reached = "You have reached KELD Demo Board.\r\n";
    struct Case {
        const char* name;
        std::function<void()> arrange;
        QByteArray heard;
        QString pane, log;
    };
    const std::vector<Case> cases = {
        {"offline before busy",
         [&] {
             nodes.freeNode = 0;
             server.serverOffline();
         },
         reached + "The BBS is currently down for maintenance. Please try again later.\r\n",
         "12:00:00 : Connection Refused (Server Offline)",
         "(0) Connection Refused (Server Offline) [127.0.0.1]"},
        {"net time",
         [&] {
             nodes.freeNode = 1;
             server.serverStart();
             t.board->mainConfig.setStr("netlowtime", "11:00");
             t.board->mainConfig.setStr("nethightime", "12:01");
         },
         t.read(QStringLiteral("TEXT/NETONLY.TXT")) + "\r\n",
         "12:00:00 : Connection Refused (Net Time)",
         "(1) Connection Refused (Net Time) [127.0.0.1]"},
        {"net time, blank NETONLY.TXT",
         [&] { t.write(QStringLiteral("TEXT/NETONLY.TXT"), " \r\n\t "); },
         reached + "The BBS is currently down for network traffic. Please try again later.\r\n",
         "12:00:00 : Connection Refused (Net Time)",
         "(1) Connection Refused (Net Time) [127.0.0.1]"},
        {"busy; a period across midnight is never in force",
         [&] {
             nodes.freeNode = 0;
             t.board->mainConfig.setStr("netlowtime", "06:00");
             t.board->mainConfig.setStr("nethightime", "00:00");
         },
         reached + "All nodes are currently busy. Please try again later.\r\n",
         "12:00:00 : Connection Refused (No Available Node)",
         "(0) Connection Refused (No Available Node) [127.0.0.1]"},
        {"blocked before offline",
         [&] {
             nodes.freeNode = 1;
             server.serverOffline();
             server.setIpFilter([](const QString& ip) { return ip != "127.0.0.1"; });
         },
         {},
         "12:00:00 : Connection Refused (Blocked IP) [127.0.0.1]",
         "(1) Connection Refused (Blocked IP) [127.0.0.1]"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        c.arrange();
        t.board->pendingNode = 0;
        Caller caller(server.listeningPort());
        ASSERT_TRUE(spinUntil([&] { return caller.poll(); }));
        EXPECT_EQ(caller.received, c.heard);
        EXPECT_EQ(t.pane.lines().last(), c.pane);
        EXPECT_EQ(lastLogLine(), c.log);
    }
    EXPECT_TRUE(nodes.calls.isEmpty());

    // A stopped server takes no notice at all.
    server.serverStop();
    const QStringList pane = t.pane.lines();
    const QByteArray log = t.read(QStringLiteral("KELDTS.LOG"));
    t.board->pendingNode = 0;
    Caller caller(server.listeningPort());
    ASSERT_TRUE(spinUntil([&] { return caller.poll(); }));
    EXPECT_TRUE(caller.received.isEmpty());
    EXPECT_EQ(t.pane.lines(), pane);
    EXPECT_EQ(t.read(QStringLiteral("KELDTS.LOG")), log);
}

TEST_F(ServerTest, ACallerWhoHangsUpAtOnceIsAnInvalidSession) {
    Caller caller(server.listeningPort());
    caller.hangUp();
    ASSERT_TRUE(spinUntil([&] { return !t.pane.lines().isEmpty() && server.timerActive(1); }));
    // The caller was let in before the banner found the line dead.
    EXPECT_EQ(t.pane.lines(),
              QStringList({QStringLiteral("12:00:00 : Node 1 Started By IP 127.0.0.1"),
                           QStringLiteral("12:00:00 : Connection Refused (Invalid Session) [1]")}));
    EXPECT_EQ(lastLogLine(),
              QStringLiteral("(1) Connection Refused (Invalid Session) [127.0.0.1]"));
    EXPECT_FALSE(launched());
}

TEST_F(ServerTest, ClosingWithNodesInUseTakesAYes) {
    nodes.running = {1, 3};
    EXPECT_FALSE(server.queryUnload(Server::CloseReason::ExitCommand, t.dialogs));
    ASSERT_EQ(t.dialogs.shown.size(), 1u);
    EXPECT_EQ(t.dialogs.shown[0].title, QStringLiteral("KELDTS Shutdown"));
    EXPECT_EQ(
        t.dialogs.shown[0].text,
        QStringLiteral("KELDTS detects there are BBS nodes in use!\r\nDo you want to proceed?"));
    EXPECT_EQ(t.dialogs.shown[0].icon, MessageIcon::Question);
    EXPECT_FALSE(t.dialogs.shown[0].defaultYes);
    EXPECT_EQ(t.board->serverState, StateOnline);
    EXPECT_TRUE(server.timerActive(2));
    EXPECT_EQ(exits, 0);

    t.write(QStringLiteral("KTSN1.BAT"), "@ECHO OFF\r\n");
    t.dialogs.answers = {true, false};
    EXPECT_TRUE(server.queryUnload(Server::CloseReason::ExitCommand, t.dialogs));
    ASSERT_EQ(t.dialogs.shown.size(), 3u);
    EXPECT_EQ(t.dialogs.shown[2].text,
              QStringLiteral("Do you wish to force all nodes to close before exiting?"));
    EXPECT_FALSE(t.dialogs.shown[2].defaultYes);
    // The nodes run on without a server; only their state files go.
    EXPECT_EQ(nodes.running, (std::set<int>{1, 3}));
    EXPECT_TRUE(QFile::exists(t.file(QStringLiteral("KTSN1.BAT"))));
    EXPECT_EQ(nodes.calls, QStringList({QStringLiteral("delete all")}));
    EXPECT_EQ(t.board->serverState, StateShuttingDown);
    EXPECT_FALSE(server.timerActive(1) || server.timerActive(2) || server.timerActive(3) ||
                 server.timerActive(4));
    EXPECT_EQ(lastLogLine(), QStringLiteral("--- KELDTS Unloaded"));
    EXPECT_EQ(exits, 1);
}

TEST_F(ServerTest, ForcingNodesDownKillsWhatCanBeKilled) {
    nodes.running = {1, 2, 3};
    nodes.unkillable = {2};
    for (const char* bat : {"KTSN1.BAT", "KTSN2.BAT", "KTSN3.BAT"})
        t.write(QLatin1String(bat), "@ECHO OFF\r\n");
    t.dialogs.answers = {true, true};
    EXPECT_TRUE(server.queryUnload(Server::CloseReason::ExitCommand, t.dialogs));
    EXPECT_EQ(nodes.running, std::set<int>{2});
    EXPECT_EQ(nodes.calls,
              QStringList({"reset 1", "delete 1", "reset 3", "delete 3", "delete all"}));
    EXPECT_FALSE(QFile::exists(t.file(QStringLiteral("KTSN1.BAT"))));
    EXPECT_TRUE(QFile::exists(t.file(QStringLiteral("KTSN2.BAT"))));
    EXPECT_FALSE(QFile::exists(t.file(QStringLiteral("KTSN3.BAT"))));
    EXPECT_EQ(exits, 1);
}

TEST(NetTime, OnlyAPeriodWithinOneDayIsInForceFromItsFirstSecond) {
    const auto at = [](int h, int m, int s) {
        return QDateTime(QDate(2026, 3, 14), QTime(h, m, s));
    };
    const QString low = QStringLiteral("10:00"), high = QStringLiteral("12:30");
    EXPECT_FALSE(admission::inNetTime(low, high, at(9, 59, 59)));
    EXPECT_TRUE(admission::inNetTime(low, high, at(10, 0, 0)));
    EXPECT_TRUE(admission::inNetTime(QStringLiteral(" 10:00 "), high, at(12, 29, 59)));
    EXPECT_FALSE(admission::inNetTime(low, high, at(12, 30, 0)));
    for (const QTime time : {QTime(23, 0), QTime(0, 0), QTime(3, 0), QTime(5, 59, 59)})
        EXPECT_FALSE(admission::inNetTime(QStringLiteral("22:00"), QStringLiteral("06:00"),
                                          QDateTime(QDate(2026, 3, 14), time)));
    EXPECT_FALSE(
        admission::inNetTime(QStringLiteral("00:00"), QStringLiteral("23:59"), at(3, 0, 0)));
    EXPECT_FALSE(
        admission::inNetTime(QStringLiteral("01:00"), QStringLiteral("00:00"), at(3, 0, 0)));
}

TEST(CommandLine, SwitchesAreFoundWhateverTheirCase) {
    EXPECT_EQ(getCommandSwitch(QStringLiteral("/RESETWINDOW"), QStringLiteral("/RESETWINDOW")),
              QStringLiteral("1"));
    EXPECT_EQ(
        getCommandSwitch(QStringLiteral("  -x  /resetwindow=x "), QStringLiteral("/resetwindow")),
        QStringLiteral("X"));
    EXPECT_EQ(
        getCommandSwitch(QStringLiteral("/OTHER=1 /ResetWindow="), QStringLiteral("/RESETWINDOW")),
        QStringLiteral("1"));
    for (const char* line : {"", "/RESET", "/RESETWINDOWS", "RESETWINDOW", "/OTHER=/RESETWINDOW"})
        EXPECT_EQ(getCommandSwitch(QLatin1String(line), QStringLiteral("/RESETWINDOW")), QString())
            << line;
}

TEST(LegacyFiles, OnlyTheOldReleasesFilesGoAndOnlyBesideTheBoardProgram) {
    QTemporaryDir dir;
    const auto write = [&](const char* name, const QByteArray& bytes) {
        QFile f(dir.filePath(QLatin1String(name)));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(bytes);
    };
    const auto exists = [&](const char* name) {
        return QFile::exists(dir.filePath(QLatin1String(name)));
    };
    const char* doomed[] = {"KTSUP.CFG", "KELDTS.DOC", "MSCOMCTL.OCX", "MSFLXGRD.OCX",
                            "MSWINSCK.OCX"};
    for (const char* name : doomed)
        write(name, "x");
    write("KELDTS.CFG", "  C:\\KELD\r\n23\r\n");
    write("RUNTHIS.BAT", " rem ------------------------------------ \r\nKELDTS\r\n");
    removeLegacyFiles(dir.path());
    EXPECT_TRUE(exists("KTSUP.CFG") && exists("KELDTS.CFG") && exists("RUNTHIS.BAT"));

    write("KELD.EXE", "MZ");
    removeLegacyFiles(dir.path());
    for (const char* name : doomed)
        EXPECT_FALSE(exists(name)) << name;
    EXPECT_FALSE(exists("KELDTS.CFG"));
    EXPECT_FALSE(exists("RUNTHIS.BAT"));

    // Today's binary settings and someone's own batch stay.
    write("KELDTS.CFG", QByteArray("\x01\x00\x17\x00", 4) + QByteArray(144, '\0'));
    write("RUNTHIS.BAT", "rem my own batch\r\n");
    removeLegacyFiles(dir.path());
    EXPECT_TRUE(exists("KELDTS.CFG") && exists("RUNTHIS.BAT") && exists("KELD.EXE"));
}

} // namespace
