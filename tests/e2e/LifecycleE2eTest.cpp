// The server's life as the operator sees it: start, a second start, leaving, and the settings
// faults that keep it from starting at all.

#include "KeldtsRunner.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMap>

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

const QString kLoaded = QStringLiteral("--- KELDTS v2.6.060524 Loaded");
const QString kUnloaded = QStringLiteral("--- KELDTS Unloaded");
const QString kBusy = QStringLiteral("(0) Connection Refused (No Available Node) [127.0.0.1]");

// Every file and folder under `dir` with its size and modification time.
QMap<QString, QString> snapshot(const QString& dir) {
    QMap<QString, QString> entries;
    QDirIterator it(dir, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo info(it.next());
        entries.insert(
            info.filePath(),
            QStringLiteral("%1 %2").arg(info.size()).arg(info.lastModified().toMSecsSinceEpoch()));
    }
    return entries;
}

class LifecycleE2e : public ::testing::Test {
  protected:
    void TearDown() override {
        if (sandbox.serverRunning()) {
            EXPECT_EQ(sandbox.stopServer(SIGTERM), 0) << sandbox.serverOutput().toStdString();
        }
    }

    void start() {
        QString why;
        ASSERT_TRUE(sandbox.startServer(&why)) << why.toStdString();
    }

    KeldtsSandbox sandbox;
};

TEST_F(LifecycleE2e, SecondStartIsTurnedAwayWithoutTouchingAFile) {
    ASSERT_NO_FATAL_FAILURE(sandbox.writeBoard());
    ASSERT_NO_FATAL_FAILURE(start());
    const QMap<QString, QString> before = snapshot(sandbox.boardDir());
    ASSERT_TRUE(before.contains(sandbox.path(QStringLiteral("KELDTS.LOG"))));

    const RunResult again = sandbox.run({QStringLiteral("--headless")}, sandbox.mainDir());
    EXPECT_EQ(again.exitCode, 0);
    EXPECT_TRUE(again.out.contains("already running")) << again.out.toStdString();

    // A demo start is a start too: it must not even write its board.
    const QString otherBoard = sandbox.root() + QStringLiteral("/other");
    const RunResult demo = sandbox.run({QStringLiteral("demo"), otherBoard,
                                        QStringLiteral("--port"), QString::number(freePort())});
    EXPECT_EQ(demo.exitCode, 0);
    EXPECT_TRUE(demo.out.contains("already running")) << demo.out.toStdString();
    EXPECT_FALSE(QFileInfo::exists(otherBoard));

    EXPECT_EQ(snapshot(sandbox.boardDir()), before);
    EXPECT_TRUE(sandbox.waitForOutput("Another start of KELDTS was turned away"))
        << sandbox.serverOutput().toStdString();
    EXPECT_EQ(sandbox.ctl(QStringLiteral("status")), "online 1");
    EXPECT_EQ(sandbox.logEntries(), QStringList({kLoaded}));
}

TEST_F(LifecycleE2e, ExitByCommandAndByTermSignalUnloadAndFreeTheBoard) {
    ASSERT_NO_FATAL_FAILURE(sandbox.writeBoard());
    ASSERT_NO_FATAL_FAILURE(start());
    EXPECT_EQ(callUntilAnswered(sandbox.port()).bytes, busyText());
    EXPECT_EQ(sandbox.ctl(QStringLiteral("exit")), "exiting");
    EXPECT_EQ(sandbox.waitServerExit(), 0) << sandbox.serverOutput().toStdString();

    // The instance lock and the port are free again for the next start on the same board.
    ASSERT_NO_FATAL_FAILURE(start());
    EXPECT_EQ(callUntilAnswered(sandbox.port()).bytes, busyText());
    EXPECT_EQ(sandbox.stopServer(SIGTERM), 0) << sandbox.serverOutput().toStdString();

    EXPECT_FALSE(call(sandbox.port()).connected) << "the port must be closed after the exit";
    const RunResult status = sandbox.run({QStringLiteral("ctl"), QStringLiteral("status")});
    EXPECT_EQ(status.exitCode, 1);
    EXPECT_TRUE(status.err.contains("not running")) << status.err.toStdString();
    EXPECT_EQ(sandbox.logEntries(),
              QStringList({kLoaded, kBusy, kUnloaded, kLoaded, kBusy, kUnloaded}));
}

TEST_F(LifecycleE2e, SettingsFaultsStopTheServerWithTheirReason) {
    // Started somewhere that is not a board's main directory.
    const QString empty = sandbox.root() + QStringLiteral("/empty");
    ASSERT_TRUE(QDir().mkpath(empty));
    const RunResult nowhere = sandbox.run({QStringLiteral("--headless")}, empty);
    EXPECT_NE(nowhere.exitCode, 0);
    EXPECT_TRUE(nowhere.out.contains("KELDTS - Error: Cannot find SYSPATHS.CFG! Make sure KELDTS "
                                     "is in your KELD main directory.\n"))
        << nowhere.out.toStdString();
    EXPECT_TRUE(QDir(empty).isEmpty());

    // The board's paths are on drive C:, and KELDTS.INI maps another drive only.
    ASSERT_NO_FATAL_FAILURE(sandbox.writeBoard());
    const QByteArray ini = sandbox.read(QStringLiteral("KELDTS.INI"));
    ASSERT_TRUE(ini.contains("C="));
    QByteArray otherDrive = ini;
    otherDrive.replace("C=", "D=");
    ASSERT_NO_FATAL_FAILURE(sandbox.write(QStringLiteral("KELDTS.INI"), otherDrive));
    const RunResult unmapped = sandbox.run({QStringLiteral("--headless")}, sandbox.mainDir());
    EXPECT_NE(unmapped.exitCode, 0);
    EXPECT_TRUE(unmapped.out.contains("KELDTS - Error: ")) << unmapped.out.toStdString();
    EXPECT_TRUE(unmapped.out.contains("C:")) << unmapped.out.toStdString();
    EXPECT_TRUE(unmapped.out.contains("KELDTS.INI")) << unmapped.out.toStdString();
    EXPECT_FALSE(QFileInfo::exists(sandbox.path(QStringLiteral("KELDTS.LOG"))));

    // The same rules hold when a running server rereads its settings.
    ASSERT_NO_FATAL_FAILURE(sandbox.write(QStringLiteral("KELDTS.INI"), ini));
    ASSERT_NO_FATAL_FAILURE(start());
    ASSERT_TRUE(QFile::remove(sandbox.path(QStringLiteral("SYSPATHS.CFG"))));
    sandbox.ctl(QStringLiteral("reload"));
    const int code = sandbox.waitServerExit();
    EXPECT_NE(code, 0);
    EXPECT_NE(code, -1) << "the server has to leave by itself, not hang or crash";
    EXPECT_TRUE(sandbox.serverOutput().contains("KELDTS - Error: Cannot find SYSPATHS.CFG!"))
        << sandbox.serverOutput().toStdString();
}

TEST_F(LifecycleE2e, TakenPortIsReportedAndAReloadListensOnceItIsFree) {
    ASSERT_NO_FATAL_FAILURE(sandbox.writeBoard());
    const int holder = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(sandbox.port());
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    ASSERT_EQ(::bind(holder, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(holder, 4), 0);

    ASSERT_NO_FATAL_FAILURE(start());
    EXPECT_TRUE(sandbox.waitForOutput(
        "KELDTS - Error: The Telnet listen port is being used by another application.\n"))
        << sandbox.serverOutput().toStdString();
    EXPECT_EQ(sandbox.ctl(QStringLiteral("status")), "online 1");

    ::close(holder);
    // A reload listens again only while no node is in use, and the admission lock that the
    // load takes counts as a node in use until the lock timer's first tick, a second later.
    // Nothing outside the server shows that tick, so this one wait is by the clock.
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    EXPECT_EQ(sandbox.ctl(QStringLiteral("reload")), "online 1");
    EXPECT_EQ(callUntilAnswered(sandbox.port()).bytes, busyText());
    EXPECT_EQ(sandbox.logEntries(), QStringList({kLoaded, kBusy}));
}

} // namespace
