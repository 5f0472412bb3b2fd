// Callers on a board with its four telnet nodes: the demo node runs in a real tmux window (or
// as a plain process), the server hands it the caller and frees the node when the caller leaves.

#include "KeldtsRunner.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

const QString kLoaded = QStringLiteral("--- KELDTS v2.6.060524 Loaded");
const QString kAccepted = QStringLiteral("(1) Connection Accepted [127.0.0.1]");
const QString kClosed = QStringLiteral("(1) Connection Closed");
const QByteArray kDoEcho("\xff\xfd\x01", 3);
const QByteArray
    kOptions("\xff\xfd\x03\xff\xfb\x03\xff\xfe\x01\xff\xfb\x01\xff\xfc\x22\xff\xfc\x24", 18);
// A node that the server has let go of comes back to idle within two watchdog rounds; the
// rest is slack for a loaded machine.
constexpr int kFreedWithinMs = 3000;

QByteArray greeting(int node) {
    return "\r\nWelcome to KELD Demo Board, node " + QByteArray::number(node) +
           ".\r\nWhat is your name? ";
}

// One caller's end of a connection that stays up for as long as the test wants.
class Caller {
  public:
    Caller() = default;
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;
    ~Caller() { hangUp(); }

    // Calls until the server speaks: inside the admission lock's second a call is closed
    // without a word, and is simply made again.
    bool dial(quint16 port, int timeoutMs = 15000) {
        return waitUntil(
            [&] {
                hangUp();
                seen.clear();
                fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
                sockaddr_in address{};
                address.sin_family = AF_INET;
                address.sin_port = htons(port);
                address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
                if (fd_ < 0 ||
                    ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
                    return false;
                return waitFor("\x1b", 5000);
            },
            timeoutMs);
    }

    // Reads until `text` has arrived; false when the server closed or the deadline passed.
    bool waitFor(const QByteArray& text, int timeoutMs = 10000) {
        const auto deadline =
            std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        while (!seen.contains(text)) {
            if (fd_ < 0 || std::chrono::steady_clock::now() >= deadline)
                return false;
            pollfd p{fd_, POLLIN, 0};
            if (::poll(&p, 1, 20) <= 0)
                continue;
            char buffer[4096];
            const ssize_t n = ::recv(fd_, buffer, sizeof buffer, 0);
            if (n > 0)
                seen.append(buffer, n);
            else if (n == 0 || errno != EINTR)
                hangUp();
        }
        return true;
    }

    // Banner, then the options, answered at once so that the node is started without waiting
    // out the negotiation, then the node's own first words.
    bool reachNode(quint16 port, int node) {
        return dial(port) && waitFor(kOptions) && send(kDoEcho) && waitFor(greeting(node));
    }

    bool send(const QByteArray& bytes) {
        return fd_ >= 0 &&
               ::send(fd_, bytes.constData(), size_t(bytes.size()), MSG_NOSIGNAL) == bytes.size();
    }

    bool logIn(const QByteArray& name) {
        return send(name + "\r\n") && waitFor("Hello, " + name + "!") && waitFor("[G]oodbye: ");
    }

    void hangUp() {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }

    QByteArray seen;

  private:
    int fd_ = -1;
};

QStringList lines(const QByteArray& text) {
    return QString::fromLatin1(text).split(QStringLiteral("\r\n"));
}

class NodesE2e : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(sandbox.writeBoard(true));
        startedAt = QDateTime::currentDateTime();
    }

    void TearDown() override {
        if (sandbox.serverRunning()) {
            EXPECT_EQ(sandbox.stopServer(SIGTERM), 0) << sandbox.serverOutput().toStdString();
        }
        if (!tmuxSocket().isEmpty())
            tmux({QStringLiteral("kill-server")});
        // Process-host nodes live in sessions of their own; only ours, by their command line.
        QStringList pids;
        for (const QString& title : runtimeFiles(QStringLiteral("nodes-*/node-*.title")))
            pids << title.section(QLatin1Char('-'), -1).section(QLatin1Char('.'), 0, 0);
        for (int node = 1; node <= 4; ++node)
            pids << lines(sandbox.read(stateFile(node))).value(0);
        for (const QString& pid : pids) {
            QFile cmdline(QStringLiteral("/proc/%1/cmdline").arg(pid));
            if (pid.toInt() > 1 && cmdline.open(QIODevice::ReadOnly) &&
                cmdline.readAll().contains("demo-node"))
                ::kill(pid.toInt(), SIGKILL);
        }
    }

    void start() {
        QString why;
        ASSERT_TRUE(sandbox.startServer(&why)) << why.toStdString();
    }

    QStringList runtimeFiles(const QString& pattern) const {
        const QString base = sandbox.root() + QStringLiteral("/xdg/keldts/");
        QStringList found;
        for (const QString& dir : QDir(base).entryList({pattern.section(QLatin1Char('/'), 0, -2)},
                                                       QDir::Dirs | QDir::NoDotAndDotDot))
            for (const QString& file :
                 QDir(base + dir).entryList({pattern.section(QLatin1Char('/'), -1)}, QDir::Files))
                found << base + dir + QLatin1Char('/') + file;
        if (!pattern.contains(QLatin1Char('/')))
            for (const QString& file : QDir(base).entryList({pattern}, QDir::System))
                found << base + file;
        return found;
    }
    QString tmuxSocket() const { return runtimeFiles(QStringLiteral("tmux-*")).value(0); }

    QString tmux(const QStringList& command) const {
        QProcess process;
        process.start(QStringLiteral("tmux"),
                      QStringList{QStringLiteral("-S"), tmuxSocket()} + command);
        process.waitForFinished(5000);
        return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
    }
    // "@id pid name" of every window on the board's tmux server.
    QStringList windows() const {
        return tmux({QStringLiteral("list-windows"), QStringLiteral("-a"), QStringLiteral("-F"),
                     QStringLiteral("#{window_id} #{pane_pid} #{window_name}")})
            .split(QLatin1Char('\n'));
    }
    QString window(int node) const {
        const QString name = QStringLiteral(" Node[%1] - KELDTS").arg(node);
        for (const QString& w : windows())
            if (w.endsWith(name))
                return w.chopped(name.size());
        return {};
    }

    QString row(int node) const {
        return sandbox.ctl(QStringLiteral("nodes")).split(QLatin1Char('\n')).value(node - 1);
    }
    bool rowBecomes(int node, const QString& pattern, int timeoutMs = 5000) const {
        const QRegularExpression re(QLatin1Char('^') + pattern + QLatin1Char('$'));
        return waitUntil([&] { return re.match(row(node)).hasMatch(); }, timeoutMs);
    }
    static QString online(int node, const QString& name) {
        return QStringLiteral("Node %1 - 1 - %2 - Main Menu - \\d\\d:\\d\\d").arg(node).arg(name);
    }
    static QString waiting(int node) {
        return QStringLiteral("Node %1 - Waiting\\.\\.\\.").arg(node);
    }

    QString stateFile(int node) const { return QStringLiteral("TEMP/KELDTS.%1").arg(node); }
    QString tcpipCfg(int node) const { return QStringLiteral("TEMP/N%1/TCPIP.CFG").arg(node); }
    bool nodeFilesGone(int node) const {
        return !QFile::exists(sandbox.path(stateFile(node))) &&
               !QFile::exists(sandbox.path(tcpipCfg(node)));
    }

    // The first part of every call: the node answers, the caller names himself, the node list
    // shows him, and the node's files say who he is.
    void logOn(Caller& caller, int node, const QByteArray& name) {
        ASSERT_TRUE(caller.reachNode(sandbox.port(), node))
            << caller.seen.toStdString() << sandbox.serverOutput().toStdString();
        ASSERT_TRUE(caller.logIn(name)) << caller.seen.toStdString();
        EXPECT_TRUE(rowBecomes(node, online(node, QString::fromLatin1(name))))
            << row(node).toStdString();
        const QStringList tcpip = lines(sandbox.read(tcpipCfg(node)));
        ASSERT_GE(tcpip.size(), 4);
        EXPECT_EQ(tcpip.value(0), lines(sandbox.read(QStringLiteral("DOOR32.SYS"))).value(1));
        EXPECT_GT(tcpip.value(0).toInt(), 2);
        EXPECT_EQ(tcpip.mid(1, 2),
                  QStringList({QStringLiteral("127.0.0.1"), QStringLiteral("Unknown")}));
        EXPECT_TRUE(QFile::exists(sandbox.path(stateFile(node))));
    }

    // The caller leaves and the watchdog hands the node back.
    void expectFreedAfterHangUp(Caller& caller, int node) {
        caller.hangUp();
        EXPECT_TRUE(rowBecomes(node, waiting(node), kFreedWithinMs)) << row(node).toStdString();
        EXPECT_TRUE(waitUntil([&] { return nodeFilesGone(node); }, kFreedWithinMs));
        EXPECT_TRUE(sandbox.waitForOutput(
            QStringLiteral(" : Node %1 Disconnected").arg(node).toLatin1(), kFreedWithinMs))
            << sandbox.serverOutput().toStdString();
    }

    KeldtsSandbox sandbox;
    QDateTime startedAt;
};

TEST_F(NodesE2e, CallerTalksToANodeInATmuxWindowAndHisHangUpFreesIt) {
    ASSERT_NO_FATAL_FAILURE(start());
    Caller caller;
    ASSERT_NO_FATAL_FAILURE(logOn(caller, 1, "Tester"));

    // Banner, options, node, in that order, and nothing of the server after the options.
    const QByteArray& seen = caller.seen;
    EXPECT_TRUE(seen.startsWith("\x1b[2J")) << seen.toStdString();
    const qsizetype options = seen.indexOf(kOptions);
    EXPECT_GT(options, seen.indexOf("KELDTS"));
    EXPECT_GT(seen.indexOf("KELDTS"), seen.indexOf('\xc4'));
    EXPECT_EQ(seen.indexOf(greeting(1)), options + kOptions.size());

    const QString window = this->window(1);
    ASSERT_FALSE(window.isEmpty()) << windows().join(QLatin1Char('\n')).toStdString();
    ASSERT_NO_FATAL_FAILURE(expectFreedAfterHangUp(caller, 1));
    EXPECT_TRUE(waitUntil([&] { return this->window(1).isEmpty(); }, kFreedWithinMs));
    EXPECT_EQ(sandbox.logEntries(startedAt), QStringList({kLoaded, kAccepted, kClosed}));
}

TEST_F(NodesE2e, SystemTelnetClientReachesTheNode) {
    ASSERT_NO_FATAL_FAILURE(start());
    QProcess telnet;
    QByteArray out;
    const auto heard = [&](const QByteArray& text) {
        return waitUntil(
            [&] {
                telnet.waitForReadyRead(20);
                out += telnet.readAllStandardOutput();
                return out.contains(text);
            },
            10000);
    };
    // Each try is a new telnet: one that came inside the lock's second has been closed.
    ASSERT_TRUE(waitUntil(
        [&] {
            telnet.kill();
            telnet.waitForFinished();
            out.clear();
            telnet.start(QStringLiteral("telnet"),
                         {QStringLiteral("127.0.0.1"), QString::number(sandbox.port())});
            return heard("\x1b[2J");
        },
        15000));
    // Echo and go-ahead were offered and taken, so telnet is in character mode and prints the
    // node's lines as they came, CR and all.
    ASSERT_TRUE(heard(greeting(1))) << out.toStdString();
    telnet.write("Telnet\n");
    EXPECT_TRUE(heard("Hello, Telnet!")) << out.toStdString();
    EXPECT_TRUE(rowBecomes(1, online(1, QStringLiteral("Telnet")))) << row(1).toStdString();
    telnet.kill();
    telnet.waitForFinished();
    EXPECT_TRUE(rowBecomes(1, waiting(1), kFreedWithinMs)) << row(1).toStdString();
}

TEST_F(NodesE2e, FourCallersFillTheBoardAndTheFifthHearsItIsBusy) {
    ASSERT_NO_FATAL_FAILURE(start());
    Caller callers[4];
    for (int node = 1; node <= 4; ++node)
        ASSERT_NO_FATAL_FAILURE(
            logOn(callers[node - 1], node, "Caller" + QByteArray::number(node)));
    for (int node = 1; node <= 4; ++node)
        EXPECT_FALSE(window(node).isEmpty()) << windows().join(QLatin1Char('\n')).toStdString();
    EXPECT_EQ(callUntilAnswered(sandbox.port()).bytes, busyText());

    // Node 2 frees up; the next caller gets it, not a node beyond the others.
    ASSERT_NO_FATAL_FAILURE(expectFreedAfterHangUp(callers[1], 2));
    Caller late;
    ASSERT_NO_FATAL_FAILURE(logOn(late, 2, "Late"));
    EXPECT_TRUE(rowBecomes(3, online(3, QStringLiteral("Caller3"))));
    EXPECT_TRUE(sandbox.logEntries(startedAt).contains(
        QStringLiteral("(0) Connection Refused (No Available Node) [127.0.0.1]")));
}

TEST_F(NodesE2e, NewServerAdoptsTheNodeARestartLeftRunning) {
    ASSERT_NO_FATAL_FAILURE(start());
    Caller caller;
    ASSERT_NO_FATAL_FAILURE(logOn(caller, 1, "Stayer"));
    EXPECT_EQ(sandbox.stopServer(SIGTERM), 0) << sandbox.serverOutput().toStdString();

    // With no server at all the caller is still on his node.
    caller.seen.clear();
    ASSERT_TRUE(caller.send("W"));
    EXPECT_TRUE(caller.waitFor("Node 1: Stayer - Main Menu\r\n")) << caller.seen.toStdString();
    const QString window = this->window(1);
    ASSERT_FALSE(window.isEmpty());

    ASSERT_NO_FATAL_FAILURE(start());
    const QStringList handles = window.split(QLatin1Char(' ')); // "@id pid"
    ASSERT_EQ(handles.size(), 2);
    const QByteArray adopted =
        handles[1].toLatin1() + "\r\n0\r\n" + handles[0].mid(1).toLatin1() + "\r\n0\r\n";
    EXPECT_TRUE(waitUntil([&] { return sandbox.read(stateFile(1)) == adopted; }, kFreedWithinMs))
        << sandbox.read(stateFile(1)).toStdString();
    EXPECT_TRUE(rowBecomes(1, online(1, QStringLiteral("Stayer"))));

    ASSERT_NO_FATAL_FAILURE(expectFreedAfterHangUp(caller, 1));
    const QStringList entries = sandbox.logEntries(startedAt);
    ASSERT_EQ(entries.count(kLoaded), 2);
    EXPECT_EQ(entries.mid(entries.lastIndexOf(kLoaded)), QStringList({kLoaded, kClosed}));
}

TEST_F(NodesE2e, KilledServerLeavesItsCallerOnTheNode) {
    ASSERT_NO_FATAL_FAILURE(start());
    Caller caller;
    ASSERT_NO_FATAL_FAILURE(logOn(caller, 1, "Survivor"));
    EXPECT_EQ(sandbox.stopServer(SIGKILL), -1);
    EXPECT_FALSE(sandbox.serverRunning());

    caller.seen.clear();
    ASSERT_TRUE(caller.send("w"));
    EXPECT_TRUE(caller.waitFor("Node 1: Survivor - Main Menu\r\n")) << caller.seen.toStdString();
    ASSERT_TRUE(caller.send("G"));
    EXPECT_TRUE(caller.waitFor("Goodbye, Survivor. Call again!\r\n")) << caller.seen.toStdString();
}

TEST_F(NodesE2e, SysopChatsWithBlocksAndBootsTheCallerThroughTheNodesKeys) {
    ASSERT_NO_FATAL_FAILURE(start());
    Caller caller;
    ASSERT_NO_FATAL_FAILURE(logOn(caller, 1, "Chatty"));
    const QString window = this->window(1).section(QLatin1Char(' '), 0, 0);
    const auto screen = [&] {
        return tmux(
            {QStringLiteral("capture-pane"), QStringLiteral("-p"), QStringLiteral("-t"), window});
    };

    EXPECT_EQ(sandbox.ctl(QStringLiteral("node 1 chat")),
              QStringLiteral("(1) Entered Chat With SysOp (Shift+F1)"));
    ASSERT_TRUE(caller.waitFor("*** The SysOp is here to chat with you. ***"))
        << caller.seen.toStdString();
    tmux({QStringLiteral("send-keys"), QStringLiteral("-t"), window, QStringLiteral("-l"),
          QStringLiteral("Hi from the SysOp")});
    tmux({QStringLiteral("send-keys"), QStringLiteral("-t"), window, QStringLiteral("Enter")});
    EXPECT_TRUE(caller.waitFor("Hi from the SysOp\r\n")) << caller.seen.toStdString();
    ASSERT_TRUE(caller.send("Hello back"));
    EXPECT_TRUE(waitUntil([&] { return screen().contains(QStringLiteral("Hello back")); }, 5000))
        << screen().toStdString();
    tmux({QStringLiteral("send-keys"), QStringLiteral("-t"), window, QStringLiteral("Escape")});
    EXPECT_TRUE(caller.waitFor("*** The SysOp has left the chat. ***"));

    sandbox.ctl(QStringLiteral("node 1 block"));
    EXPECT_EQ(sandbox.read(QStringLiteral("KELDTSIP.DAT")), "127.0.0.1      ");

    caller.seen.clear();
    EXPECT_EQ(sandbox.ctl(QStringLiteral("node 1 boot")),
              QStringLiteral("(1) User Booted Offline By SysOp (F10)"));
    EXPECT_TRUE(caller.waitFor("The SysOp has ended your call. Goodbye!\r\n"));
    EXPECT_FALSE(caller.waitFor("never sent", 5000)) << "the caller is still connected";
    EXPECT_TRUE(sandbox.waitForOutput(" : Node 1 Disconnected", kFreedWithinMs));
    EXPECT_TRUE(sandbox.read(QStringLiteral("DATA/BBS.LOG"))
                    .contains("CH 1 Entered Chat With SysOp (Shift+F1)\r\n"
                              "CH 1 User Booted Offline By SysOp (F10)\r\n"));

    // Blocked: the next call from here is closed without a word, long after the admission
    // lock of the last one has run out.
    const CallResult refused = call(sandbox.port());
    EXPECT_TRUE(refused.closed);
    EXPECT_EQ(refused.bytes, QByteArray());
    EXPECT_TRUE(waitUntil(
        [&] {
            return sandbox.logEntries(startedAt)
                .join(QLatin1Char('\n'))
                .contains(QStringLiteral(" Connection Refused (Blocked IP) [127.0.0.1]"));
        },
        5000));
}

TEST_F(NodesE2e, LineNoiseDropsACallerAndCloseEndsAHungNode) {
    ASSERT_NO_FATAL_FAILURE(start());
    Caller noisy, stuck;
    ASSERT_NO_FATAL_FAILURE(logOn(noisy, 1, "Noisy"));
    ASSERT_NO_FATAL_FAILURE(logOn(stuck, 2, "Stuck"));

    noisy.seen.clear();
    sandbox.ctl(QStringLiteral("node 1 noise"));
    EXPECT_FALSE(noisy.waitFor("never sent", 5000));
    EXPECT_GE(noisy.seen.size(), 512);
    EXPECT_TRUE(rowBecomes(1, waiting(1), kFreedWithinMs));

    // A node that answers nothing any more: only its process tree can go.
    const QString panePid = this->window(2).section(QLatin1Char(' '), 1, 1);
    ASSERT_FALSE(panePid.isEmpty());
    ASSERT_EQ(::kill(panePid.toInt(), SIGSTOP), 0);
    EXPECT_TRUE(sandbox.ctl(QStringLiteral("node 2 close"))
                    .endsWith(QStringLiteral("add --yes to go ahead")));
    EXPECT_TRUE(QDir(QStringLiteral("/proc/") + panePid).exists());
    EXPECT_EQ(sandbox.ctl(QStringLiteral("node 2 close --yes")), QStringLiteral("(2) Node Closed"));
    EXPECT_TRUE(waitUntil([&] { return !QDir(QStringLiteral("/proc/") + panePid).exists(); },
                          kFreedWithinMs));
    EXPECT_FALSE(stuck.waitFor("never sent", 5000)) << "the caller is still connected";
    EXPECT_TRUE(nodeFilesGone(2));
    EXPECT_TRUE(rowBecomes(2, waiting(2)));
    EXPECT_TRUE(sandbox.logEntries(startedAt).contains(QStringLiteral("(2) Node Closed")));
}

TEST_F(NodesE2e, ProcessHostRunsTheNodeWithoutTmux) {
    QByteArray ini = sandbox.read(QStringLiteral("KELDTS.INI"));
    ASSERT_TRUE(ini.contains("host=tmux"));
    ASSERT_NO_FATAL_FAILURE(
        sandbox.write(QStringLiteral("KELDTS.INI"), ini.replace("host=tmux", "host=process")));
    ASSERT_NO_FATAL_FAILURE(start());
    Caller caller;
    ASSERT_NO_FATAL_FAILURE(logOn(caller, 1, "Plain"));
    EXPECT_EQ(tmuxSocket(), QString());

    const QString pid = lines(sandbox.read(stateFile(1))).value(0);
    const QStringList titles = runtimeFiles(QStringLiteral("nodes-*/node-*.title"));
    ASSERT_EQ(titles.size(), 1);
    EXPECT_TRUE(titles[0].endsWith(QStringLiteral("/node-%1.title").arg(pid)));
    QFile title(titles[0]);
    ASSERT_TRUE(title.open(QIODevice::ReadOnly));
    EXPECT_TRUE(title.readAll().contains("\nNode[1] - KELDTS\n"));

    EXPECT_TRUE(
        sandbox.ctl(QStringLiteral("node 1 chat")).contains(QStringLiteral("cannot take keys")));
    ASSERT_NO_FATAL_FAILURE(expectFreedAfterHangUp(caller, 1));
    EXPECT_FALSE(QDir(QStringLiteral("/proc/") + pid).exists());
    EXPECT_EQ(sandbox.logEntries(startedAt), QStringList({kLoaded, kAccepted, kClosed}));
}

} // namespace
