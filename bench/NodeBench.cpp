// Nodes under load, each part on a keldts of its own with a private runtime directory and tmux
// server:
//
//   latency  connect to the first byte of the node's greeting, through keldts (banner, telnet
//            negotiation answered at once, tmux window, socket hand-over) and straight from a
//            loop in this driver that accepts and fork-execs the same demo node; the cost of
//            one `tmux new-window` on a private tmux server is measured beside them.
//   idle     CPU time of keldts and its tmux server with 100 live node windows, and with none.
//   burst    a burst of connections while every node is taken: descriptors, resident size,
//            node windows and demo-node processes before and after.
//
//   keldts_node_bench [--only latency|idle|burst] [--samples N] [--idle-seconds S] [--burst N]
//
// Exits 1 when a part could not be measured or keldts did not return to where it was.

#include "BenchSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace bench;

namespace {

const QByteArray kGreeting = "\r\nWelcome";
const QByteArray kNamePrompt = "What is your name? ";
// The socket number the directly started demo node finds its caller at.
constexpr int kDirectHandle = 200;

extern "C" char** environ;

int countStateFiles(const BenchBoard& board) {
    return int(QDir(board.mainDir() + QStringLiteral("/TEMP"))
                   .entryList({QStringLiteral("KELDTS.*")}, QDir::Files)
                   .size());
}

int demoNodes(const BenchBoard& board) {
    return int(processesWith("demo-node", board.mainDir()).size());
}

// Runs a command to its end with its output thrown away; false when it could not run or, unless
// `anyExit`, when it failed.
bool runQuiet(const std::vector<std::string>& args) {
    std::vector<char*> argv;
    for (const std::string& a : args)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    pid_t pid = -1;
    const int failed = ::posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    return failed == 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

// The demo node started the way a bare server would: the accepted socket at a fixed number, in
// the main directory of a board, with the files a node reads about its caller in place.
class DirectNodeServer {
  public:
    bool prepare() {
        if (!board_.write(freePort(), 4))
            return false;
        const QString main = board_.mainDir();
        QDir().mkpath(main + QStringLiteral("/TEMP/N1"));
        const QByteArray handle = QByteArray::number(kDirectHandle);
        QFile door(main + QStringLiteral("/DOOR32.SYS"));
        QFile tcpip(main + QStringLiteral("/TEMP/N1/TCPIP.CFG"));
        const QByteArray doorText = "2\r\n" + handle +
                                    "\r\n115200\r\nKELDTS\r\n1\r\nBBS User\r\nBBS User\r\n"
                                    "1\r\n1\r\n1\r\n";
        const QByteArray tcpipText = handle + "\r\n127.0.0.1\r\nlocalhost\r\n0 minutes\r\n";
        listener_ = listenLoopback(&port_);
        return door.open(QIODevice::WriteOnly) && door.write(doorText) == doorText.size() &&
               tcpip.open(QIODevice::WriteOnly) && tcpip.write(tcpipText) == tcpipText.size();
    }
    ~DirectNodeServer() {
        if (listener_ >= 0)
            ::close(listener_);
    }

    // Seconds from connect to the greeting, or a negative number when it did not come.
    double sample() {
        const auto begin = Clock::now();
        const int client = connectLoopback(port_);
        const int accepted = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0 || accepted < 0)
            return -1;
        const QByteArray binary = KELDTS_BINARY;
        const QByteArray handle = QByteArray::number(kDirectHandle);
        char* argv[] = {const_cast<char*>(binary.constData()), const_cast<char*>("demo-node"),
                        const_cast<char*>("1"), const_cast<char*>(handle.constData()), nullptr};
        const QByteArray cwd = QFile::encodeName(board_.mainDir());
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, 1, 2);
        posix_spawn_file_actions_adddup2(&actions, accepted, kDirectHandle);
        posix_spawn_file_actions_addchdir_np(&actions, cwd.constData());
        pid_t pid = -1;
        const int failed =
            ::posix_spawn(&pid, binary.constData(), &actions, nullptr, argv, environ);
        posix_spawn_file_actions_destroy(&actions);
        ::close(accepted);
        const Heard heard = failed == 0 ? readUntil(client, kGreeting, false) : Heard::Failed;
        const double seconds = secondsSince(begin);
        // Hanging up ends the node at its name prompt.
        ::close(client);
        if (failed == 0 &&
            !waitFor([pid] { return ::waitpid(pid, nullptr, WNOHANG) == pid; }, 10000)) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
        }
        return heard == Heard::Text ? seconds : -1;
    }

  private:
    BenchBoard board_;
    int listener_ = -1;
    quint16 port_ = 0;
};

// Time of `tmux new-window -d true` on a tmux server of its own, as the node host starts a node.
std::vector<double> tmuxWindowCost(int samples) {
    QTemporaryDir dir;
    const std::string socket =
        QFile::encodeName(dir.path() + QStringLiteral("/tmux")).toStdString();
    const std::vector<std::string> base{"tmux", "-f", "/dev/null", "-S", socket};
    auto with = [&base](std::vector<std::string> more) {
        more.insert(more.begin(), base.begin(), base.end());
        return more;
    };
    std::vector<double> times;
    if (!runQuiet(with(
            {"new-session", "-d", "-s", "bench", "-x", "80", "-y", "25", "sleep", "infinity"})))
        return times;
    for (int i = 0; i < samples; ++i) {
        const auto begin = Clock::now();
        if (runQuiet(with({"new-window", "-d", "-t", "=bench:", "true"})))
            times.push_back(secondsSince(begin));
    }
    runQuiet(with({"kill-server"}));
    return times;
}

bool latencyPart(int samples) {
    std::printf("latency: %d samples each, connect to the first byte of \"\\r\\nWelcome\"\n",
                samples);
    BenchBoard board;
    DirectNodeServer direct;
    if (!board.write(freePort(), 4) || !board.start() || !direct.prepare())
        return false;
    // Through keldts: to the telnet options, and from the client's answer to the greeting.
    std::vector<double> viaServer, viaDirect, toOptions, afterAnswer;
    int retries = 0;
    Clock::time_point lastCall = Clock::now();
    for (int i = 0; i < samples; ++i) {
        // The direct sample fills the second the admission lock wants between calls.
        const double d = direct.sample();
        if (d >= 0)
            viaDirect.push_back(d);
        // The previous node has to be gone, so that every sample meets the same idle server.
        if (!waitFor(
                [&board] { return board.nodeWindows().isEmpty() && countStateFiles(board) == 0; },
                15000))
            std::printf("  the previous node was still there after 15 s\n");
        double seconds = 0, options = 0;
        const int fd =
            admittedCaller(board.port(), lastCall, kGreeting, &seconds, &options, &retries);
        if (fd >= 0) {
            viaServer.push_back(seconds);
            toOptions.push_back(options);
            afterAnswer.push_back(seconds - options);
            ::close(fd);
        }
        std::printf("  sample %2d: keldts %7.1f ms (options at %5.1f ms), direct %7.1f ms\n", i + 1,
                    fd >= 0 ? seconds * 1000 : -1.0, fd >= 0 ? options * 1000 : -1.0, d * 1000);
    }
    const std::vector<double> tmux = tmuxWindowCost(samples);
    const double s = median(viaServer), d = median(viaDirect), t = median(tmux);
    std::printf("  medians: keldts %.1f ms (%zu samples, %d silent retries), direct %.1f ms "
                "(%zu), tmux new-window %.1f ms (%zu)\n",
                s * 1000, viaServer.size(), retries, d * 1000, viaDirect.size(), t * 1000,
                tmux.size());
    std::printf("  keldts: telnet options at %.1f ms, node greeting %.1f ms after the answer\n",
                median(toOptions) * 1000, median(afterAnswer) * 1000);
    std::printf("  keldts / direct %.2f; (keldts - tmux new-window) / direct %.2f\n",
                d > 0 ? s / d : 0.0, d > 0 ? (s - t) / d : 0.0);
    std::printf("  keldts %s within 1.5 x direct + tmux new-window (%.1f ms)\n",
                s <= 1.5 * d + t ? "is" : "is NOT", (1.5 * d + t) * 1000);
    return viaServer.size() == size_t(samples) && viaDirect.size() == size_t(samples) &&
           !tmux.empty();
}

// The board's tmux server, which does the work of every question keldts asks it.
pid_t tmuxServerPid(const BenchBoard& board) {
    QByteArray output;
    if (!board.tmux(
            {QStringLiteral("display-message"), QStringLiteral("-p"), QStringLiteral("#{pid}")},
            &output))
        return -1;
    return pid_t(output.trimmed().toInt());
}

struct IdleCost {
    double keldts = 0; // percent of one core
    double tmux = 0;
    double total() const { return keldts + tmux; }
};

IdleCost idleCost(pid_t keldts, pid_t tmux, int seconds) {
    const double keldtsBefore = cpuSeconds(keldts), tmuxBefore = cpuSeconds(tmux);
    const auto begin = Clock::now();
    pauseMs(seconds * 1000);
    const double elapsed = secondsSince(begin);
    return IdleCost{100.0 * (cpuSeconds(keldts) - keldtsBefore) / elapsed,
                    100.0 * (cpuSeconds(tmux) - tmuxBefore) / elapsed};
}

void printIdle(const char* what, const IdleCost& cost) {
    std::printf("  %-15s %.3f %% of one core (keldts %.3f %%, tmux server %.3f %%)\n", what,
                cost.total(), cost.keldts, cost.tmux);
}

bool idlePart(int seconds) {
    constexpr int kNodes = 100;
    std::printf("idle: CPU of keldts and its tmux server over %d s, maxchannelno %d, "
                "maxconnections %d\n",
                seconds, kNodes, kNodes);
    BenchBoard board;
    if (!board.write(freePort(), kNodes, kNodes) || !board.start())
        return false;
    pauseMs(2000);
    const pid_t tmux = tmuxServerPid(board);
    if (tmux <= 0) {
        std::printf("  the board's tmux server was not found\n");
        return false;
    }
    const IdleCost empty = idleCost(board.pid(), tmux, seconds);
    printIdle("no nodes:", empty);

    // Windows under the nodes' titles with no state file are adopted as live nodes.
    QStringList command;
    for (int n = 1; n <= kNodes; ++n) {
        if (n > 1)
            command << QStringLiteral(";");
        command << QStringLiteral("new-window") << QStringLiteral("-d") << QStringLiteral("-t")
                << QStringLiteral("=KELDTS:") << QStringLiteral("-n")
                << QStringLiteral("Node[%1] - KELDTS").arg(n) << QStringLiteral("sleep")
                << QStringLiteral("3600");
    }
    if (!board.tmux(command) ||
        !waitFor([&board] { return countStateFiles(board) == kNodes; }, 30000)) {
        std::printf("  the %d windows were not adopted (%d state files)\n", kNodes,
                    countStateFiles(board));
        return false;
    }
    pauseMs(2000);
    const ProcessFigures f = figures(board.pid());
    const IdleCost full = idleCost(board.pid(), tmux, seconds);
    const int windows = int(board.nodeWindows().size());
    printIdle("100 live nodes:", full);
    std::printf("  %d node windows at the end; keldts VmRSS %ld kB, %d descriptors\n", windows,
                f.rssKb, f.descriptors);
    std::printf("  with nodes %s within 0.2 %% of one core\n",
                full.total() <= 0.2 ? "is" : "is NOT");
    return windows == kNodes;
}

bool burstPart(int connections) {
    constexpr int kNodes = 4;
    std::printf("burst: %d connections, 32 at a time, with %d of %d nodes taken\n", connections,
                kNodes, kNodes);
    BenchBoard board;
    if (!board.write(freePort(), kNodes, kNodes) || !board.start())
        return false;
    std::vector<int> callers;
    Clock::time_point lastCall = Clock::now();
    for (int i = 0; i < kNodes; ++i) {
        const int fd = admittedCaller(board.port(), lastCall, kNamePrompt);
        if (fd < 0) {
            std::printf("  caller %d got no node\n", i + 1);
            break;
        }
        callers.push_back(fd);
    }
    bool ok = int(callers.size()) == kNodes;
    auto nodesAre = [&board](int n) {
        return board.nodeWindows().size() == n && demoNodes(board) == n &&
               countStateFiles(board) == n;
    };
    ok = ok && waitFor([&] { return nodesAre(kNodes); }, 15000);
    // The burst starts on a free admission lock, with the launch of the last node settled.
    pauseMs(kAdmissionSpacingMs);
    const ProcessFigures before = figures(board.pid());
    const int windowsBefore = int(board.nodeWindows().size());
    const int processesBefore = demoNodes(board);

    const Tally tally = drive(board.port(), connections, 32);
    const ProcessFigures end = figures(board.pid());
    printTally("keldts", tally);

    const auto settle = Clock::now();
    const bool settled = waitFor(
        [&] { return figures(board.pid()).descriptors == before.descriptors && nodesAre(kNodes); },
        15000);
    const ProcessFigures after = figures(board.pid());
    std::printf("  descriptors: %d before, %d at the end, %d after %.1f s\n", before.descriptors,
                end.descriptors, after.descriptors, secondsSince(settle));
    std::printf("  VmRSS %ld kB before, %ld kB after (x%.3f); VmHWM %ld kB before, %ld kB after\n",
                before.rssKb, after.rssKb,
                before.rssKb > 0 ? double(after.rssKb) / before.rssKb : 0, before.hwmKb,
                after.hwmKb);
    std::printf("  node windows %d before, %d after; demo-node processes %d before, %d after\n",
                windowsBefore, int(board.nodeWindows().size()), processesBefore, demoNodes(board));
    ok = ok && settled && tally.failed == 0 && tally.other == 0;

    // The callers hang up: every node has to go, window and process.
    for (int fd : callers)
        ::close(fd);
    const bool cleared = waitFor([&] { return nodesAre(0); }, 20000);
    std::printf("  after the %zu callers hung up: %d node windows, %d demo-node processes, %d "
                "state files, %d descriptors\n",
                callers.size(), int(board.nodeWindows().size()), demoNodes(board),
                countStateFiles(board), figures(board.pid()).descriptors);
    return ok && cleared;
}

} // namespace

int main(int argc, char** argv) {
    int samples = 10;
    int idleSeconds = 30;
    int burst = 2000;
    std::string only;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const bool hasValue = i + 1 < argc;
        if (a == "--samples" && hasValue)
            samples = std::clamp(std::atoi(argv[++i]), 1, 100);
        else if (a == "--idle-seconds" && hasValue)
            idleSeconds = std::clamp(std::atoi(argv[++i]), 1, 600);
        else if (a == "--burst" && hasValue)
            burst = std::clamp(std::atoi(argv[++i]), 1, 20000);
        else if (a == "--only" && hasValue)
            only = argv[++i];
        else {
            std::fprintf(stderr,
                         "usage: %s [--only latency|idle|burst] [--samples N] [--idle-seconds S] "
                         "[--burst N]\n",
                         argv[0]);
            return 2;
        }
    }
    std::signal(SIGPIPE, SIG_IGN);
    bool ok = true;
    if (only.empty() || only == "latency")
        ok = latencyPart(samples) && ok;
    if (only.empty() || only == "idle")
        ok = idlePart(idleSeconds) && ok;
    if (only.empty() || only == "burst")
        ok = burstPart(burst) && ok;
    if (!ok)
        std::printf("FAILED: a part could not be measured or keldts did not settle\n");
    return ok ? 0 : 1;
}
