// The server's life as the operator sees it: one server per board, its control socket, leaving,
// and settings faults.

#include "KeldtsRunner.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <QMap>
#include <QStorageInfo>
#include <QTcpServer>
#include <QThread>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <vector>

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const QString kUnloaded = "--- KELDTS Unloaded";
const QByteArray kDoEcho("\xff\xfd\x01", 3);
const QByteArray
    kOptions("\xff\xfd\x03\xff\xfb\x03\xff\xfe\x01\xff\xfb\x01\xff\xfc\x22\xff\xfc\x24", 18);

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

TEST_F(LifecycleE2e, SecondStartOnTheBoardFromAnySessionIsTurnedAwayWithoutTouchingAFile) {
    ASSERT_NO_FATAL_FAILURE(sandbox.write("MAIN.CFG", QByteArray("\x04\x00", 2), 210)); // 4 nodes
    // A demo start that got past the lock would write this again.
    ASSERT_TRUE(QFile::remove(sandbox.path("TEXT/NETONLY.TXT")));
    ASSERT_TRUE(sandbox.startServer());
    Caller caller;
    ASSERT_TRUE(caller.dial(sandbox.port()) && caller.waitFor(kOptions) && caller.send(kDoEcho) &&
                caller.waitFor("What is your name? ") && caller.send("Stayer\r\n") &&
                caller.waitFor("[G]oodbye: "))
        << caller.seen.toStdString();
    const QMap<QString, QString> before = snapshot(sandbox.boardDir());
    ASSERT_TRUE(before.contains(sandbox.path("KELDTS.LOG")));

    // Another login session (a desktop beside a service) has a runtime directory of its own.
    QProcessEnvironment otherSession;
    otherSession.insert("XDG_RUNTIME_DIR", sandbox.root());
    for (const QStringList& args :
         {QStringList{"--headless", "/resetwindow=1", "/RESETWINDOW"},
          QStringList{"demo", sandbox.boardDir(), "--port", QString::number(freePort())}}) {
        const RunResult again = sandbox.run(args, sandbox.mainDir(), otherSession);
        EXPECT_EQ(again.exitCode, 0);
        EXPECT_TRUE(again.out.contains("already running")) << again.out.toStdString();
    }

    EXPECT_EQ(snapshot(sandbox.boardDir()), before);
    caller.seen.clear();
    ASSERT_TRUE(caller.send("W"));
    EXPECT_TRUE(caller.waitFor("Node 1: Stayer - Main Menu\r\n")) << caller.seen.toStdString();
    EXPECT_TRUE(sandbox.waitForOutput("Another start of KELDTS was turned away"))
        << sandbox.serverOutput().toStdString();
}

// Processes that connect to the control socket, say nothing and connect again when dropped,
// until the guard ends them.
class SilentControlClients {
  public:
    SilentControlClients(const QString& socket, int count) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const QByteArray name = QFile::encodeName(socket);
        std::memcpy(address.sun_path, name.constData(), size_t(name.size()));
        for (int i = 0; i < count; ++i) {
            const pid_t pid = ::fork();
            if (pid == 0)
                holdOn(address);
            children_.push_back(pid);
        }
    }
    ~SilentControlClients() {
        for (const pid_t pid : children_) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
        }
    }

  private:
    [[noreturn]] static void holdOn(const sockaddr_un& address) {
        for (;;) {
            const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
            if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
                char byte;
                (void)::read(fd, &byte, 1); // returns when the server drops us
            } else {
                ::usleep(1000);
            }
            ::close(fd);
        }
    }
    std::vector<pid_t> children_;
};

TEST_F(LifecycleE2e, ControlSocketOutlastsSilentClientsAMovedDirectoryAndNoDescriptors) {
    ASSERT_TRUE(sandbox.startServer());
    const QString control = sandbox.runtimeDir() + "/KELDTS.sock";
    // One program's silent clients: four are served, the rest closed at once, and the four are
    // closed when their first line is overdue.
    std::array<QLocalSocket, 6> silent;
    for (QLocalSocket& client : silent) {
        client.connectToServer(control);
        ASSERT_TRUE(client.waitForConnected(5000));
    }
    const auto closed = [&] {
        return std::count_if(silent.begin(), silent.end(), [](QLocalSocket& client) {
            return client.state() == QLocalSocket::UnconnectedState ||
                   client.waitForDisconnected(1);
        });
    };
    EXPECT_TRUE(waitUntil([&] { return closed() == 2; }, 2000));
    EXPECT_EQ(sandbox.ctl("status"), "online 1");
    EXPECT_TRUE(waitUntil([&] { return closed() == 6; }, 3000));

    // Twenty programs doing the same, each back as soon as it is dropped, keep no ctl out.
    {
        SilentControlClients hogs(control, 20);
        QThread::msleep(300);
        int answered = 0;
        for (int i = 0; i < 10; ++i)
            answered += sandbox.ctl("status") == "online 1";
        EXPECT_EQ(answered, 10);
    }

    // UBSan checks a vtable by writing it to a pipe: with no descriptor left, every check fails.
#ifndef __SANITIZE_ADDRESS__
    // Every new descriptor fails while the limit sits at the lowest free number.
    const pid_t pid = pid_t(sandbox.server.processId());
    rlimit usual{};
    ASSERT_EQ(::prlimit(pid, RLIMIT_NOFILE, nullptr, &usual), 0);
    rlimit exhausted = usual;
    exhausted.rlim_cur = 0;
    while (QFileInfo::exists(QString("/proc/%1/fd/%2").arg(pid).arg(exhausted.rlim_cur)))
        ++exhausted.rlim_cur;
    ASSERT_EQ(::prlimit(pid, RLIMIT_NOFILE, &exhausted, nullptr), 0);
    Caller caller;
    ASSERT_TRUE(caller.call(sandbox.port()));
    QLocalSocket waiting;
    waiting.connectToServer(control);
    ASSERT_TRUE(waiting.waitForConnected(5000));
    EXPECT_TRUE(sandbox.waitForOutput("Cannot take a keldts ctl connection ("))
        << sandbox.serverOutput().toStdString();

    // Descriptors to spare again: both listeners take up their callers by themselves.
    ASSERT_EQ(::prlimit(pid, RLIMIT_NOFILE, &usual, nullptr), 0);
    ASSERT_TRUE(waiting.write("status\n") == 7 && waiting.waitForBytesWritten(5000));
    waiting.waitForDisconnected(5000); // answered, then let go
    EXPECT_EQ(waiting.readAll(), "online 1\n");
    // Taken at last: answered, or closed unheard when it came within an admission lock's second.
    EXPECT_TRUE(caller.waitFor(kBusyText) || (caller.closed && caller.seen.isEmpty()))
        << caller.seen.toStdString();
    EXPECT_EQ(answer(sandbox.port()), kBusyText);
#endif

    // The runtime directory moved away under the server: the socket is made again where ctl
    // looks, and said so.
    const QString moved = sandbox.root() + "/moved-runtime";
    ASSERT_TRUE(QDir().rename(sandbox.runtimeDir(), moved));
    EXPECT_TRUE(sandbox.waitForOutput("was gone (its directory renamed or removed, or the socket "
                                      "replaced); it has been made again",
                                      10000))
        << sandbox.serverOutput().toStdString();
    EXPECT_EQ(sandbox.ctl("status"), "online 1");
}

TEST_F(LifecycleE2e, TakenPortEndsAHeadlessStartAReloadMovesTheListenerAndExitsFreeTheBoard) {
    // With nobody at a screen, a server that takes no caller must not pass for a healthy one.
    QTcpServer holder;
    ASSERT_TRUE(holder.listen(QHostAddress::Any, sandbox.port()));
    const RunResult taken = sandbox.run({"--headless"}, sandbox.mainDir());
    EXPECT_EQ(taken.exitCode, 1);
    const QByteArray busyPort = "The Telnet listen port is being used by another application.";
    EXPECT_TRUE(
        taken.out.contains("KELDTS - Error: " + busyPort + "\n") &&
        taken.err.contains(
            QString("KELDTS cannot take callers on Telnet port %1: ").arg(sandbox.port()).toUtf8() +
            busyPort))
        << taken.out.toStdString() << taken.err.toStdString();
    holder.close();

    // A short KELDTS.CFG (an older version's) is completed with defaults, and said so: its port
    // could have been one of them.
    ASSERT_NO_FATAL_FAILURE(sandbox.write("KELDTS.CFG", sandbox.read("KELDTS.CFG").left(146)));
    ASSERT_TRUE(sandbox.startServer());
    const QString completed = QString("%1 was completed with default settings; callers are taken "
                                      "on Telnet port %2.")
                                  .arg(sandbox.path("KELDTS.CFG"))
                                  .arg(sandbox.port());
    EXPECT_TRUE(sandbox.waitForOutput(completed.toUtf8())) << sandbox.serverOutput().toStdString();

    // KELDTS.INI read again by a reload moves the listener, and back; the status says while it
    // listens nowhere. A reload listens only while no node is in use, and the load's admission
    // lock counts as one until the lock timer's first tick a second on: so, the clock.
    QThread::msleep(1100);
    const QByteArray ini = sandbox.read("KELDTS.INI");
    ASSERT_NO_FATAL_FAILURE(
        sandbox.write("KELDTS.INI", QByteArray(ini).replace("listen=\n", "listen=192.0.2.1\n")));
    EXPECT_EQ(sandbox.ctl("reload"), QString("online 1\nnot listening: Cannot listen on 192.0.2.1 "
                                             "port %1: The address is not available")
                                         .arg(sandbox.port()));
    EXPECT_FALSE(Caller().call(sandbox.port()));
    ASSERT_NO_FATAL_FAILURE(sandbox.write("KELDTS.INI", ini));
    EXPECT_EQ(sandbox.ctl("reload"), "online 1");
    EXPECT_EQ(answer(sandbox.port()), kBusyText);
    EXPECT_EQ(sandbox.ctl("exit"), "exiting");
    EXPECT_EQ(sandbox.stopServer(0), 0) << sandbox.serverOutput().toStdString();

    // The instance lock and the port are free again for the next start on the same board.
    ASSERT_TRUE(sandbox.startServer());
    EXPECT_EQ(answer(sandbox.port()), kBusyText);
    EXPECT_EQ(sandbox.stopServer(SIGTERM), 0) << sandbox.serverOutput().toStdString();

    EXPECT_FALSE(Caller().call(sandbox.port())) << "the port must be closed after the exit";
    // Away from the board, ctl says which board it looked at.
    const RunResult status = sandbox.run({"ctl", "status"});
    EXPECT_EQ(status.exitCode, 1);
    EXPECT_TRUE(status.err.contains("not running on the board in " + sandbox.root().toUtf8()))
        << status.err.toStdString();
    EXPECT_EQ(sandbox.logEntries(), QStringList({kLoaded, kUnloaded, completed, kLoaded, kBusy,
                                                 kUnloaded, kLoaded, kBusy, kUnloaded}))
        << sandbox.logEntries().join('\n').toStdString();

    // A runtime directory others could tamper with is refused by the server and by ctl.
    const QString runtime = sandbox.runtimeDir();
    const QByteArray name = QFile::encodeName(runtime);
    const std::pair<QByteArray, std::function<int()>> faults[] = {
        {"belongs to nobody (uid 65534)", [&] { return ::chown(name, 65534, 65534); }},
        {"is open to its group (mode 0770)", [&] { return ::chmod(name, 0770); }},
        {"is open to other users (mode 0701)", [&] { return ::chmod(name, 0701); }},
    };
    for (const auto& [why, make] : faults) {
        ASSERT_EQ(::chown(name, ::geteuid(), ::getegid()) | ::chmod(name, 0700) | make(), 0);
        const RunResult start = sandbox.run({"--headless"}, sandbox.mainDir());
        EXPECT_EQ(start.exitCode, 1);
        EXPECT_TRUE(start.err.contains(runtime.toUtf8() + " " + why) &&
                    start.err.contains("rm -r " + name))
            << start.err.toStdString();
        const RunResult ctl = sandbox.run({"ctl", "--board", sandbox.mainDir(), "status"});
        EXPECT_EQ(ctl.exitCode, 1);
        EXPECT_TRUE(
            ctl.err.contains("will not talk to a socket in " + name + ": " + name + " " + why))
            << ctl.err.toStdString();
    }
    EXPECT_FALSE(QFileInfo::exists(sandbox.runtimeDir() + "/KELDTS.sock"));
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
    const RunResult misspelt = sandbox.run({"strat"}, empty);
    EXPECT_TRUE(misspelt.exitCode == 2 && misspelt.err.startsWith("usage: keldts"));
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

    // Any fatal fault (their texts are the settings' unit tests' business) stops a running server
    // that rereads its settings just the same.
    ASSERT_NO_FATAL_FAILURE(sandbox.write("KELDTS.INI", ini));
    ASSERT_TRUE(sandbox.startServer());
    ASSERT_TRUE(QFile::remove(sandbox.path("SYSPATHS.CFG")));
    sandbox.ctl("reload");
    EXPECT_GT(sandbox.stopServer(0), 0) << "it has to fail by itself, not hang or crash";
    EXPECT_TRUE(sandbox.serverOutput().contains("KELDTS - Error: Cannot find SYSPATHS.CFG!"))
        << sandbox.serverOutput().toStdString();
}

// A headless server shows its panel through ctl: the figures the nodes keep, the drives with
// their free space and the alerts, read again when the sysop reloads. A FIFO where the panel
// and the watchdog read a file would hang whoever opens it: it is named and passed over.
TEST_F(LifecycleE2e, StatusAsJsonTellsWhatThePanelShows) {
    ASSERT_NO_FATAL_FAILURE(sandbox.write("MAIN.CFG", QByteArray("\4\0", 2), 210)); // 4 nodes
    const auto makeFifo = [&](const char* name) {
        ASSERT_EQ(::mkfifo(QFile::encodeName(sandbox.path(name)).constData(), 0600), 0) << name;
    };
    ASSERT_NO_FATAL_FAILURE(makeFifo("DB/EMAIL.DAT")); // read at the start
    ASSERT_TRUE(sandbox.startServer());
    ASSERT_NO_FATAL_FAILURE(makeFifo("TEMP/KELDTS.2")); // read by the watchdog's next round
    for (const char* name : {"DB/EMAIL.DAT", "TEMP/KELDTS.2"})
        EXPECT_TRUE(sandbox.waitForOutput(sandbox.path(name).toUtf8() + ": it is a FIFO"))
            << name << sandbox.serverOutput().toStdString();
    QByteArray statistics(88, '\0');
    statistics[0] = 42;
    ASSERT_NO_FATAL_FAILURE(sandbox.write("DATA/STATKBBS.DAT", statistics));
    ASSERT_NO_FATAL_FAILURE(sandbox.write("DATA/VALIDATE.0", "1"));
    EXPECT_EQ(sandbox.ctl("reload"), "online 1");
    const QJsonObject status =
        QJsonDocument::fromJson(sandbox.ctl("status --json").toUtf8()).object();
    EXPECT_EQ(status["runState"].toString(), "online");
    EXPECT_EQ(status["statistics"]["calls"]["total"].toInt(), 42);
    EXPECT_EQ(status["alerts"]["validate"].toBool(), true);
    EXPECT_EQ(status["alerts"]["feedback"].toBool(), false);
    EXPECT_EQ(status["nodes"][3].toString(), "Node 4 - Waiting...");
    EXPECT_EQ(status["caption"].toString(), "KELDTS - KELD Demo Board (4 Nodes)");
    const QJsonObject drive = status["drives"][0].toObject();
    EXPECT_EQ(drive["letter"].toString(), "C");
    EXPECT_EQ(drive["totalBytes"].toInteger(), QStorageInfo(sandbox.mainDir()).bytesTotal());
    EXPECT_GT(drive["freeBytes"].toInteger(), 0);
    EXPECT_EQ(sandbox.ctl("status"), "online 1");
}

} // namespace
