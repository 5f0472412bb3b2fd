#include "server/Server.h"
#include "server/AdmissionTexts.h"
#include "server/CommandLine.h"
#include "server/LegacyFiles.h"
#include "support/FakeFace.h"
#include "support/FakeNodes.h"
#include "support/ServerTimers.h"
#include "support/TestBoard.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTcpSocket>
#include <QTest>

#include <algorithm>
#include <memory>
#include <set>
#include <vector>

#include <gtest/gtest.h>

namespace {

// Runs the event loop until `done` holds or ten seconds are up.
const auto spinUntil = [](auto done) { return QTest::qWaitFor(done, 10000); };

const QByteArray
    kOptions("\xff\xfd\x03\xff\xfb\x03\xff\xfe\x01\xff\xfb\x01\xff\xfc\x22\xff\xfc\x24", 18);

// A telnet caller whose line is read between rounds of the event loop.
class Caller : public QTcpSocket {
  public:
    // Calls from 127.0.0.1, or from another loopback address to stand for another caller.
    explicit Caller(quint16 port, const char* from = "127.0.0.1") {
        bind(QHostAddress(QLatin1String(from)));
        connectToHost(QHostAddress::LocalHost, port);
        EXPECT_TRUE(waitForConnected(5000));
    }
    // Takes in what has arrived; true once the server has closed the line.
    bool poll() {
        received += readAll();
        return state() == UnconnectedState;
    }
    bool awaitOptions() {
        return spinUntil([&] { return poll() || received.endsWith(kOptions); });
    }
    // Answers the options with DO ECHO and waits for the server to let go of the line.
    bool answerOptions() {
        return awaitOptions() && write(QByteArray("\xff\xfd\x01", 3)) == 3 &&
               spinUntil([&] { return poll(); });
    }

    QByteArray received;
};

class ServerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(server.load(QString(), t.mainDir()));
        ASSERT_NE(server.listeningPort(), 0);
        QObject::connect(&server, &Server::exitRequested, [this](int) { ++exits; });
        passFirstSecond(server);
        nodes.calls.clear();
    }
    bool launched() const { return nodes.calls.contains(QStringLiteral("launch 1")); }

    TestBoard t{0};
    FakeNodes nodes;
    FakeFace face;
    Server server{*t.board, t.logs, t.pane, nodes, face};
    int exits = 0;
};

TEST_F(ServerTest, AnAdmittedCallerIsGreetedLoggedAndHandedToTheNode) {
    t.board->serverConfig.setI16("beeponconnect", 1);
    const QString outside = t.plantLink("DOOR32.SYS");
    Caller caller(server.listeningPort());
    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(caller.answerOptions());
    // The answer to the options ends the wait; a silent caller waits five seconds.
    EXPECT_LT(clock.elapsed(), 4000);

    const QByteArray head = "\x1b[2J\x1b[1;1H\x1b[0;1m\xC4\xC4\x1b[0m\xC4\xC4\x1b[1;30m\xC4"
                            "\x1b[36mKELDTS \x1b[0;36mv2.6.060524";
    const QByteArray tail = "\x1b[0m\r\n" + kOptions;
    const QByteArray& got = caller.received;
    ASSERT_TRUE(got.startsWith(head) && got.endsWith(tail)) << got.toHex().toStdString();

    const QString& handle = nodes.launchedHandle;
    EXPECT_EQ(nodes.calls, QStringList({"config 1", "mkdir 1",
                                        QStringLiteral("tcpip %1 1 127.0.0.1 Unknown").arg(handle),
                                        "launch 1"}));
    EXPECT_EQ(t.read("DOOR32.SYS"),
              "2\r\n" + handle.toLatin1() +
                  "\r\n115200\r\nKELDTS\r\n1\r\nBBS User\r\nBBS User\r\n1\r\n1\r\n1\r\n");
    EXPECT_TRUE(t.linkReplaced("DOOR32.SYS", outside));
    const QByteArray dashes(40, '-');
    EXPECT_EQ(t.read("DATA/BBS.LOG"),
              dashes +
                  "\r\nKELDTS Telnet Connection\r\n"
                  "CH 1 12:00:00 - Telnet Login IP: 127.0.0.1 Hostname: Unknown\r\n" +
                  dashes + "\r\n");
    EXPECT_EQ(face.beeps, 1);
    // A line that dies without a word is found by the node's socket itself.
    EXPECT_EQ(nodes.keepAlive, 1);
}

TEST_F(ServerTest, ACallerWhoFloodsTheNegotiationIsWaitedForFiveSecondsOnly) {
    t.board->serverConfig.setI16("autoconfig", 0);
    Caller caller(server.listeningPort());
    ASSERT_TRUE(caller.awaitOptions());
    QElapsedTimer clock;
    clock.start();
    // Telnet commands that never say DO ECHO, and noise, as fast as the line takes them.
    const QByteArray noise =
        QByteArray("\xff\xff\xfd\xfb\x00\xff\xfd\x03garbage\xff\xfd", 15).repeated(2048);
    qint64 flooded = 0;
    ASSERT_TRUE(spinUntil([&] {
        if (caller.bytesToWrite() < noise.size())
            flooded += caller.write(noise);
        return caller.poll();
    }));
    EXPECT_GE(clock.elapsed(), 4900);
    EXPECT_LT(clock.elapsed(), 8000);
    EXPECT_GT(flooded, 1 << 20);
    EXPECT_TRUE(launched());
    EXPECT_FALSE(nodes.calls.contains(QStringLiteral("config 1")));
    EXPECT_EQ(t.pane.lines().size(), 1);
}

TEST_F(ServerTest, HostNameIsLookedUpWhenAsked) {
    t.board->serverConfig.setI16("resolvehostname", 1);
    Caller caller(server.listeningPort());
    ASSERT_TRUE(caller.answerOptions());
    const QString prompt = "\x1b[1;30mResolving Hostname... \x1b[0m";
    const QString host =
        QString::fromLatin1(caller.received).section(prompt, 1).section('\r', 0, 0);
    ASSERT_FALSE(host.isEmpty()) << caller.received.toStdString();
    EXPECT_TRUE(t.read("DATA/BBS.LOG").contains(" Hostname: " + host.toLatin1() + "\r\n"));
    EXPECT_TRUE(nodes.calls.contains(
        QStringLiteral("tcpip %1 1 127.0.0.1 %2").arg(nodes.launchedHandle, host)));
}

TEST_F(ServerTest, AnAtOnceHangUpIsAnInvalidSessionAndABlockedCallerIsJudgedBeforeTheRunState) {
    { Caller caller(server.listeningPort()); }
    ASSERT_TRUE(spinUntil([&] { return !t.pane.lines().isEmpty() && timerRuns(server, 1); }));
    // The caller was let in before the banner found the line dead.
    EXPECT_EQ(t.pane.lines(), QStringList({"12:00:00 : Node 1 Started By IP 127.0.0.1",
                                           "12:00:00 : Connection Refused (Invalid Session) [1]"}));
    EXPECT_EQ(t.lastLogEntry(), "(1) Connection Refused (Invalid Session) [127.0.0.1]");
    EXPECT_FALSE(launched());

    // The other refusals, and a stopped server's silence, are seen end to end; this one needs a
    // free node to show that the address is judged first. The caller hears nothing.
    server.serverOffline();
    server.setIpFilter([](const QString& ip) { return ip != "127.0.0.2"; });
    Caller blocked(server.listeningPort(), "127.0.0.2");
    ASSERT_TRUE(spinUntil([&] { return blocked.poll(); }));
    EXPECT_EQ(blocked.received, QByteArray());
    EXPECT_EQ(t.pane.lines().last(), "12:00:00 : Connection Refused (Blocked IP) [127.0.0.2]");
    EXPECT_EQ(t.lastLogEntry(), "(1) Connection Refused (Blocked IP) [127.0.0.2]");
    EXPECT_TRUE(nodes.calls.isEmpty());
}

TEST_F(ServerTest, TheIniDefencesAskForEscapeTwiceAndLimitNodesPerAddress) {
    t.board->platform.pressEsc = true;
    const auto prompted = [](Caller& caller) {
        return spinUntil([&] {
            return caller.poll() || caller.received.contains("Press ESC twice to enter the BBS.");
        });
    };
    {
        Caller once(server.listeningPort());
        ASSERT_TRUE(prompted(once));
        once.write("x\x1b");
        ASSERT_TRUE(once.waitForBytesWritten(1000));
    }
    ASSERT_TRUE(spinUntil([&] { return !t.pane.lines().isEmpty(); }));
    EXPECT_EQ(t.pane.lines().last(), "12:00:00 : Connection Refused (Invalid Session) [0]");
    Caller twice(server.listeningPort(), "127.0.0.2");
    ASSERT_TRUE(prompted(twice));
    // Telnet commands between the keys are no keys.
    twice.write(QByteArray("\xff\xfb\x01\x1b\xff\xfd\x03\x1b", 8));
    ASSERT_TRUE(twice.answerOptions());
    EXPECT_TRUE(launched());

    t.board->platform.nodesPerAddress = 1;
    nodes.running = {2};
    ASSERT_TRUE(QDir().mkpath(t.file("TEMP/N2")));
    // Another address of the caller's /24 holds it.
    t.write("TEMP/N2/TCPIP.CFG", "7\r\n127.0.0.7\r\n");
    Caller third(server.listeningPort(), "127.0.0.3");
    ASSERT_TRUE(prompted(third));
    third.write("\x1b\x1b");
    ASSERT_TRUE(spinUntil([&] { return third.poll(); }));
    EXPECT_TRUE(third.received.endsWith("Your address already holds as many nodes as it may. "
                                        "Please try again later.\r\n"));
    EXPECT_EQ(t.lastLogEntry(), "(0) Connection Refused (Nodes Per Address) [127.0.0.3]");
}

// Silent callers cannot fill the door for good. While they are within their grace, a caller
// who finds every place taken hears that all are busy; after it, the longest silent one makes
// room for the next caller. Telnet commands are no keys; one who typed keeps his place.
TEST_F(ServerTest, AFullDoorSaysSoAndThenGivesTheLongestSilentPlaceAway) {
    t.board->platform.pressEsc = true;
    const quint16 port = server.listeningPort();
    std::vector<std::unique_ptr<Caller>> crowd;
    for (int i = 1; i <= 32; ++i)
        crowd.push_back(std::make_unique<Caller>(port, qPrintable(QString("127.0.1.%1").arg(i))));
    ASSERT_TRUE(spinUntil([&] {
        return std::all_of(crowd.begin(), crowd.end(), [](const auto& caller) {
            return !caller->poll() && caller->received == admission::pressEscPrompt();
        });
    }));
    crowd[0]->write("x");
    crowd[1]->write(QByteArray("\xff\xf1", 2));
    Caller turnedAway(port, "127.0.2.1");
    ASSERT_TRUE(spinUntil([&] { return turnedAway.poll(); }));
    EXPECT_EQ(turnedAway.received, admission::allBusyText(t.board->mainConfig.text("bbsname")));

    QTest::qWait(2000);
    Caller next(port, "127.0.2.2");
    ASSERT_TRUE(spinUntil([&] { return crowd[1]->poll(); }));
    EXPECT_EQ(crowd[1]->received, admission::pressEscPrompt() + admission::noKeyPressText());
    EXPECT_EQ(t.lastLogEntry(), "(0) Connection Refused (No Key Press) [127.0.1.2]");
    ASSERT_TRUE(spinUntil([&] { return next.poll() || next.received.contains("Press ESC"); }));
    EXPECT_EQ(next.received, admission::pressEscPrompt());
    EXPECT_FALSE(crowd[0]->poll());
}

// Leaving the nodes running on a Yes and a No is seen end to end (a signal answers so).
TEST_F(ServerTest, ClosingWithNodesInUseTakesAYesAndForcingKillsWhatCanBeKilled) {
    nodes.running = {1, 2, 3};
    nodes.unkillable = {2};
    for (const char* bat : {"KTSN1.BAT", "KTSN2.BAT", "KTSN3.BAT"})
        t.write(QLatin1String(bat), "@ECHO OFF\r\n");
    server.queryUnload(Server::CloseReason::ExitCommand, t.dialogs);
    ASSERT_EQ(t.dialogs.shown.size(), 1u);
    const ScriptedDialogs::Shown& asked = t.dialogs.shown[0];
    EXPECT_EQ(asked.text, "KELDTS detects there are BBS nodes in use!\r\nDo you want to proceed?");
    EXPECT_TRUE(asked.icon == MessageIcon::Question && !asked.defaultYes);
    EXPECT_EQ(t.board->serverState, StateOnline);
    EXPECT_EQ(exits, 0);

    t.dialogs.answers = {true, true};
    server.queryUnload(Server::CloseReason::ExitCommand, t.dialogs);
    ASSERT_EQ(t.dialogs.shown.size(), 3u);
    EXPECT_EQ(t.dialogs.shown[2].text, "Do you wish to force all nodes to close before exiting?");
    EXPECT_FALSE(t.dialogs.shown[2].defaultYes);
    EXPECT_EQ(nodes.running, std::set<int>{2});
    EXPECT_EQ(nodes.calls,
              QStringList({"reset 1", "delete 1", "reset 3", "delete 3", "delete all"}));
    for (const char* bat : {"KTSN1.BAT", "KTSN2.BAT", "KTSN3.BAT"})
        EXPECT_EQ(QFile::exists(t.file(QLatin1String(bat))), bat[4] == '2') << bat;
    EXPECT_EQ(t.board->serverState, StateShuttingDown);
    EXPECT_EQ(exits, 1);
}

TEST(PathWarning, TheFirstStartOfABoardOutOfReachWarnsInThePaneAndTheNextDoesNot) {
    TestBoard t{0};
    t.setServerFlag("pathwarned", 0);
    const auto start = [&t] {
        FakeNodes nodes;
        FakeFace face;
        Server server{*t.board, t.logs, t.pane, nodes, face};
        EXPECT_TRUE(server.load(QString(), t.mainDir()));
        return t.pane.lines().filter(QStringLiteral("KELD - Path Information")).size();
    };
    EXPECT_EQ(start(), 1);
    EXPECT_EQ(start(), 0);
}

TEST(NetTime, OnlyAPeriodWithinOneDayIsInForceFromItsFirstSecond) {
    const auto in = [](const char* low, const char* high, QTime time) {
        return admission::inNetTime(QLatin1String(low), QLatin1String(high),
                                    QDateTime(QDate(2026, 3, 14), time));
    };
    EXPECT_FALSE(in("10:00", "12:30", QTime(9, 59, 59)));
    EXPECT_TRUE(in("10:00", "12:30", QTime(10, 0)));
    EXPECT_TRUE(in(" 10:00 ", "12:30", QTime(12, 29, 59)));
    EXPECT_FALSE(in("10:00", "12:30", QTime(12, 30)));
    for (const QTime time : {QTime(23, 0), QTime(0, 0), QTime(3, 0), QTime(5, 59, 59)})
        EXPECT_FALSE(in("22:00", "06:00", time));
    EXPECT_FALSE(in("00:00", "23:59", QTime(3, 0)));
    EXPECT_FALSE(in("01:00", "00:00", QTime(3, 0)));
}

TEST(CommandLine, SwitchesAreFoundWhateverTheirCase) {
    const auto get = [](const char* line, const char* name = "/RESETWINDOW") {
        return getCommandSwitch(QLatin1String(line), QLatin1String(name));
    };
    EXPECT_EQ(get("/RESETWINDOW"), "1");
    EXPECT_EQ(get("  -x  /resetwindow=x ", "/resetwindow"), "X");
    EXPECT_EQ(get("/OTHER=1 /ResetWindow="), "1");
    for (const char* line : {"", "/RESET", "/RESETWINDOWS", "RESETWINDOW", "/OTHER=/RESETWINDOW"})
        EXPECT_EQ(get(line), QString()) << line;
}

TEST(LegacyFiles, OnlyTheOldReleasesFilesGoAndOnlyBesideTheBoardProgram) {
    QTemporaryDir dir;
    const auto write = [&](const char* name, const QByteArray& bytes) {
        QFile f(dir.filePath(QLatin1String(name)));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size());
    };
    const auto files = [&] { return QDir(dir.path()).entryList(QDir::Files, QDir::Name); };
    for (const char* name :
         {"KTSUP.CFG", "KELDTS.DOC", "MSCOMCTL.OCX", "MSFLXGRD.OCX", "MSWINSCK.OCX"})
        write(name, "x");
    write("KELDTS.CFG", "  C:\\KELD\r\n23\r\n");
    write("RUNTHIS.BAT", " rem ------------------------------------ \r\nKELDTS\r\n");
    const QStringList all = files();
    removeLegacyFiles(dir.path());
    EXPECT_EQ(files(), all) << "no board program beside them";

    // DOS names are found whatever their case.
    write("keld.exe", "MZ");
    removeLegacyFiles(dir.path());
    EXPECT_EQ(files(), QStringList{"keld.exe"});

    // Today's binary settings and someone's own batch stay.
    write("KELDTS.CFG", QByteArray("\x01\x00\x17\x00", 4) + QByteArray(144, '\0'));
    write("RUNTHIS.BAT", "rem my own batch\r\n");
    removeLegacyFiles(dir.path());
    EXPECT_EQ(files(), QStringList({"KELDTS.CFG", "RUNTHIS.BAT", "keld.exe"}));
}

} // namespace
