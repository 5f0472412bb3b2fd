// The server's life as the operator sees it: starts, leaving, and settings faults.

#include "KeldtsRunner.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QTcpServer>
#include <QThread>

namespace {

const QString kUnloaded = "--- KELDTS Unloaded";

// Every file and folder under `dir` with its size and modification time.
QMap<QString, QString> snapshot(const QString& dir) {
    QMap<QString, QString> entries;
    QDirIterator it(dir, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo info(it.next());
        entries[info.filePath()] =
            QStringLiteral("%1 %2").arg(info.size()).arg(info.lastModified().toMSecsSinceEpoch());
    }
    return entries;
}

using LifecycleE2e = E2eTest;

TEST_F(LifecycleE2e, SecondStartIsTurnedAwayWithoutTouchingAFile) {
    ASSERT_TRUE(sandbox.startServer());
    const QMap<QString, QString> before = snapshot(sandbox.boardDir());
    ASSERT_TRUE(before.contains(sandbox.path("KELDTS.LOG")));

    // A demo start is a start too: it must not even write its board.
    const QString otherBoard = sandbox.root() + "/other";
    for (const QStringList& args :
         {QStringList{"--headless"},
          QStringList{"demo", otherBoard, "--port", QString::number(freePort())}}) {
        const RunResult again = sandbox.run(args, sandbox.mainDir());
        EXPECT_EQ(again.exitCode, 0);
        EXPECT_TRUE(again.out.contains("already running")) << again.out.toStdString();
    }
    EXPECT_FALSE(QFileInfo::exists(otherBoard));

    EXPECT_EQ(snapshot(sandbox.boardDir()), before);
    EXPECT_TRUE(sandbox.waitForOutput("Another start of KELDTS was turned away"))
        << sandbox.serverOutput().toStdString();
    EXPECT_EQ(sandbox.ctl("status"), "online 1");
    EXPECT_EQ(sandbox.logEntries(), QStringList({kLoaded}));
}

TEST_F(LifecycleE2e, TakenPortIsReportedAndExitsByCommandOrTermSignalUnloadAndFreeTheBoard) {
    QTcpServer holder;
    ASSERT_TRUE(holder.listen(QHostAddress::Any, sandbox.port()));
    ASSERT_TRUE(sandbox.startServer());
    EXPECT_TRUE(sandbox.waitForOutput(
        "KELDTS - Error: The Telnet listen port is being used by another application.\n"))
        << sandbox.serverOutput().toStdString();
    holder.close();
    // A reload listens only while no node is in use, and the load's admission lock counts as one
    // until the lock timer's first tick a second on, which nothing outside shows: so, the clock.
    QThread::msleep(1100);
    EXPECT_EQ(sandbox.ctl("reload"), "online 1");
    EXPECT_EQ(answer(sandbox.port()), kBusyText);
    EXPECT_EQ(sandbox.ctl("exit"), "exiting");
    EXPECT_EQ(sandbox.stopServer(0), 0) << sandbox.serverOutput().toStdString();

    // The instance lock and the port are free again for the next start on the same board.
    ASSERT_TRUE(sandbox.startServer());
    EXPECT_EQ(answer(sandbox.port()), kBusyText);
    EXPECT_EQ(sandbox.stopServer(SIGTERM), 0) << sandbox.serverOutput().toStdString();

    EXPECT_FALSE(Caller().call(sandbox.port())) << "the port must be closed after the exit";
    const RunResult status = sandbox.run({"ctl", "status"});
    EXPECT_EQ(status.exitCode, 1);
    EXPECT_TRUE(status.err.contains("not running")) << status.err.toStdString();
    EXPECT_EQ(sandbox.logEntries(),
              QStringList({kLoaded, kBusy, kUnloaded, kLoaded, kBusy, kUnloaded}));
}

TEST_F(LifecycleE2e, SettingsFaultsStopTheServerWithTheirReason) {
    // Started somewhere that is not a board's main directory.
    const QString empty = sandbox.root() + "/empty";
    ASSERT_TRUE(QDir().mkpath(empty));
    const RunResult nowhere = sandbox.run({"--headless"}, empty);
    EXPECT_NE(nowhere.exitCode, 0);
    EXPECT_TRUE(nowhere.out.contains("KELDTS - Error: Cannot find SYSPATHS.CFG! Make sure KELDTS "
                                     "is in your KELD main directory.\n"))
        << nowhere.out.toStdString();
    EXPECT_TRUE(QDir(empty).isEmpty());

    // The board's paths are on drive C:, and KELDTS.INI maps another drive only.
    const QByteArray ini = sandbox.read("KELDTS.INI");
    ASSERT_NO_FATAL_FAILURE(sandbox.write("KELDTS.INI", QByteArray(ini).replace("C=", "D=")));
    const RunResult unmapped = sandbox.run({"--headless"}, sandbox.mainDir());
    EXPECT_NE(unmapped.exitCode, 0);
    EXPECT_TRUE(unmapped.out.contains("KELDTS - Error: ") && unmapped.out.contains("C:") &&
                unmapped.out.contains("KELDTS.INI"))
        << unmapped.out.toStdString();
    EXPECT_FALSE(QFileInfo::exists(sandbox.path("KELDTS.LOG")));

    // The same rules hold when a running server rereads its settings.
    ASSERT_NO_FATAL_FAILURE(sandbox.write("KELDTS.INI", ini));
    ASSERT_TRUE(sandbox.startServer());
    ASSERT_TRUE(QFile::remove(sandbox.path("SYSPATHS.CFG")));
    sandbox.ctl("reload");
    EXPECT_GT(sandbox.stopServer(0), 0) << "it has to fail by itself, not hang or crash";
    EXPECT_TRUE(sandbox.serverOutput().contains("KELDTS - Error: Cannot find SYSPATHS.CFG!"))
        << sandbox.serverOutput().toStdString();
}

} // namespace
