// A real caller beside attackers, against the real keldts on a throw-away demo board:
//
//   keldts_attack_bench [--attack flood|silent|crowd|escnop] [--settings default|on|both]
//                       [--seconds S] [--interval-ms MS]
//
// flood (the default): the real caller calls from 127.0.0.1 every --interval-ms (1500 unless
// given: a little more than its own address's one-second lock) for --seconds (15 unless given);
// the attacker connects from 127.0.0.2 and closes at once, at 0 (the baseline), 10, 100 and
// 1,000 a second. The board has no telnet channel, so a caller who is served hears that all
// nodes are busy; one who is not is closed without a byte. Reported per rate: the real calls
// served, the attacker's connections made, and keldts's CPU over the run, beside the baseline.
//
// The other attacks run on a board with four demo nodes, once with the board's default
// [Callers] settings and once with press-esc=yes and nodes-per-address=1 (--settings picks):
//   silent  four addresses (127.0.5.1-4) that connect, say nothing and call again when let go;
//   crowd   forty such addresses (127.0.1.1-40);
//   escnop  four addresses (127.0.5.1-4) that press Esc twice when asked, answer the telnet
//           options and then send IAC NOP every 20 s, calling again when let go.
// The real caller, from another network (127.0.9.1), calls every --interval-ms (2000 unless
// given, and never within 1.2 s of its last call's end) for --seconds (150 unless given),
// presses Esc twice when asked and answers the options; a call is served when the node's name
// prompt arrives, and the caller then hangs up. Reported: the real calls served, what the others
// heard, the attackers' connections and the nodes they reached.

#include "BenchSupport.h"

#include <QFile>

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace bench;

namespace {

const QByteArray kPressEsc = "Press ESC twice";
const QByteArray kNamePrompt = "What is your name? ";
const QByteArray kEscTwice = "\x1b\x1b";
const QByteArray kDoEcho("\xff\xfd\x01", 3);
const QByteArray kNop("\xff\xf1", 2);
constexpr int kNopSeconds = 20;
constexpr double kCallLimitSeconds = 15;

// Connects from `from` to 127.0.0.1:`port`; -1 when that fails.
int connectFrom(const char* from, quint16 port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    sockaddr_in local{};
    local.sin_family = AF_INET;
    ::inet_pton(AF_INET, from, &local.sin_addr);
    sockaddr_in remote{};
    remote.sin_family = AF_INET;
    remote.sin_port = htons(port);
    remote.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0 ||
        ::connect(fd, reinterpret_cast<const sockaddr*>(&remote), sizeof remote) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

bool sendAll(int fd, const QByteArray& bytes) {
    return ::send(fd, bytes.constData(), size_t(bytes.size()), MSG_NOSIGNAL) == bytes.size();
}

// One real call against the busy board: true when the server answered before it hung up.
bool busyCall(quint16 port) {
    const int fd = connectFrom("127.0.0.1", port);
    if (fd < 0)
        return false;
    QByteArray heard;
    const auto begin = Clock::now();
    while (secondsSince(begin) < 10 && receiveSome(fd, &heard) != Received::Closed) {
    }
    ::close(fd);
    return heard.contains(busyText());
}

struct FloodRun {
    int served = 0;
    int calls = 0;
    long attacks = 0;
    double cpuPercent = 0;
};

FloodRun floodAt(int rate, quint16 port, pid_t pid, int seconds, int intervalMs) {
    std::atomic<bool> stop{false};
    std::atomic<long> attacks{0};
    std::thread attacker([&] {
        if (rate == 0)
            return;
        const auto step = std::chrono::microseconds(1000000 / rate);
        auto next = Clock::now();
        while (!stop) {
            const int fd = connectFrom("127.0.0.2", port);
            if (fd >= 0) {
                ::close(fd);
                ++attacks;
            }
            next += step;
            std::this_thread::sleep_until(next);
        }
    });
    FloodRun run;
    const double cpuBefore = cpuSeconds(pid);
    const auto begin = Clock::now();
    for (auto due = begin; secondsSince(begin) < seconds;
         due += std::chrono::milliseconds(intervalMs)) {
        std::this_thread::sleep_until(due);
        ++run.calls;
        run.served += busyCall(port) ? 1 : 0;
    }
    stop = true;
    attacker.join();
    run.cpuPercent = 100 * (cpuSeconds(pid) - cpuBefore) / secondsSince(begin);
    run.attacks = attacks;
    return run;
}

int flood(int seconds, int intervalMs) {
    BenchBoard board;
    if (!board.write(freePort(), 0) || !board.start())
        return 1;
    warmUp(board.port());
    std::printf("attack: a caller from 127.0.0.1 every %d ms for %d s; an attacker from "
                "127.0.0.2 connecting and closing at the given rate\n",
                intervalMs, seconds);
    std::printf("%-14s %-14s %-18s %s\n", "attacks/s", "calls served", "attacks made",
                "keldts CPU");
    bool allServed = true;
    double baselineCpu = 0;
    for (int rate : {0, 10, 100, 1000}) {
        pauseMs(1200); // the previous run's locks run out
        const FloodRun run = floodAt(rate, board.port(), board.pid(), seconds, intervalMs);
        if (rate == 0)
            baselineCpu = run.cpuPercent;
        std::printf("%-14d %3d of %-7d %-18ld %.2f %% (x%.2f)\n", rate, run.served, run.calls,
                    run.attacks, run.cpuPercent,
                    baselineCpu > 0 ? run.cpuPercent / baselineCpu : 0.0);
        allServed = allServed && (rate > 100 || run.served == run.calls);
    }
    board.stop();
    if (!allServed)
        std::printf("FAILED: a real call went unanswered at 100 attacks a second or fewer\n");
    return allServed ? 0 : 1;
}

enum class Attack { Silent, Crowd, EscNop };

struct BotCounts {
    std::atomic<long> connections{0};
    std::atomic<long> nodes{0};
};

// One attacker's address, calling again as soon as it is let go.
void runBot(Attack attack, const std::string& from, quint16 port, BotCounts& counts,
            const std::atomic<bool>& stop) {
    while (!stop) {
        const int fd = connectFrom(from.c_str(), port);
        if (fd < 0) {
            pauseMs(50);
            continue;
        }
        ++counts.connections;
        QByteArray heard;
        bool pressed = false, answered = false, onNode = false;
        auto lastNop = Clock::now();
        while (!stop && receiveSome(fd, &heard) != Received::Closed) {
            if (attack == Attack::EscNop) {
                if (!pressed && heard.contains(kPressEsc))
                    pressed = sendAll(fd, kEscTwice);
                if (!answered && heard.contains('\xff'))
                    answered = sendAll(fd, kDoEcho);
                if (onNode && secondsSince(lastNop) >= kNopSeconds) {
                    sendAll(fd, kNop);
                    lastNop = Clock::now();
                }
            }
            if (!onNode && heard.contains(kNamePrompt)) {
                onNode = true;
                lastNop = Clock::now();
                ++counts.nodes;
            }
            heard = heard.right(kNamePrompt.size());
        }
        ::close(fd);
        pauseMs(50);
    }
}

enum class Outcome { Node, Busy, OtherText, Silent, TimedOut };

// A caller who does what is asked of it, from another network than the attackers'.
Outcome realCall(quint16 port) {
    const int fd = connectFrom("127.0.9.1", port);
    if (fd < 0)
        return Outcome::Silent;
    QByteArray heard;
    bool pressed = false, answered = false;
    Outcome outcome = Outcome::TimedOut;
    const auto begin = Clock::now();
    while (secondsSince(begin) < kCallLimitSeconds) {
        if (receiveSome(fd, &heard) == Received::Closed) {
            outcome = heard.isEmpty()              ? Outcome::Silent
                      : heard.contains(busyText()) ? Outcome::Busy
                                                   : Outcome::OtherText;
            break;
        }
        if (!pressed && heard.contains(kPressEsc))
            pressed = sendAll(fd, kEscTwice);
        if (!answered && heard.contains('\xff'))
            answered = sendAll(fd, kDoEcho);
        if (heard.contains(kNamePrompt)) {
            outcome = Outcome::Node;
            break;
        }
    }
    ::close(fd);
    return outcome;
}

// press-esc and nodes-per-address of KELDTS.INI's [Callers], as the demo board writes them.
bool switchDefencesOn(const BenchBoard& board) {
    QFile ini(board.mainDir() + QStringLiteral("/KELDTS.INI"));
    if (!ini.open(QIODevice::ReadOnly))
        return false;
    QByteArray text = ini.readAll();
    ini.close();
    text.replace("nodes-per-address=0", "nodes-per-address=1")
        .replace("press-esc=no", "press-esc=yes");
    return ini.open(QIODevice::WriteOnly | QIODevice::Truncate) && ini.write(text) == text.size();
}

bool nodeAttack(Attack attack, bool defences, int seconds, int intervalMs) {
    BenchBoard board;
    if (!board.write(freePort(), 4) || (defences && !switchDefencesOn(board)) || !board.start())
        return false;
    pauseMs(1200); // the admission lock of the start runs out
    std::vector<std::string> addresses;
    for (int i = 1; i <= (attack == Attack::Crowd ? 40 : 4); ++i)
        addresses.push_back((attack == Attack::Crowd ? "127.0.1." : "127.0.5.") +
                            std::to_string(i));
    std::atomic<bool> stop{false};
    BotCounts bots;
    std::vector<std::thread> threads;
    for (const std::string& from : addresses)
        threads.emplace_back([&, from] { runBot(attack, from, board.port(), bots, stop); });
    pauseMs(2000); // the attackers are in place before the first real call

    int outcomes[5] = {};
    int calls = 0;
    const auto begin = Clock::now();
    auto due = begin;
    while (secondsSince(begin) < seconds) {
        std::this_thread::sleep_until(due);
        ++calls;
        ++outcomes[int(realCall(board.port()))];
        due = std::max(due + std::chrono::milliseconds(intervalMs),
                       Clock::now() + std::chrono::milliseconds(kAdmissionSpacingMs));
    }
    stop = true;
    for (std::thread& t : threads)
        t.join();
    board.stop();
    std::printf("%-8s %-9s %3d of %-4d (%3.0f %%)  busy %d, other text %d, silent %d, timed out "
                "%d; attackers: %ld connections, %ld nodes reached\n",
                attack == Attack::Silent  ? "silent"
                : attack == Attack::Crowd ? "crowd"
                                          : "escnop",
                defences ? "on" : "default", outcomes[int(Outcome::Node)], calls,
                100.0 * outcomes[int(Outcome::Node)] / std::max(calls, 1),
                outcomes[int(Outcome::Busy)], outcomes[int(Outcome::OtherText)],
                outcomes[int(Outcome::Silent)], outcomes[int(Outcome::TimedOut)],
                bots.connections.load(), bots.nodes.load());
    std::fflush(stdout);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    std::string attack = "flood", settings = "both";
    int seconds = -1;
    int intervalMs = -1;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--attack" && i + 1 < argc)
            attack = argv[++i];
        else if (a == "--settings" && i + 1 < argc)
            settings = argv[++i];
        else if (a == "--seconds" && i + 1 < argc)
            seconds = std::clamp(std::atoi(argv[++i]), 2, 600);
        else if (a == "--interval-ms" && i + 1 < argc)
            intervalMs = std::clamp(std::atoi(argv[++i]), 100, 10000);
        else
            attack.clear();
    }
    const bool known =
        attack == "flood" || attack == "silent" || attack == "crowd" || attack == "escnop";
    if (!known || (settings != "default" && settings != "on" && settings != "both")) {
        std::fprintf(stderr,
                     "usage: %s [--attack flood|silent|crowd|escnop] [--settings "
                     "default|on|both] [--seconds S] [--interval-ms MS]\n",
                     argv[0]);
        return 2;
    }
    std::signal(SIGPIPE, SIG_IGN);
    if (attack == "flood")
        return flood(seconds < 0 ? 15 : seconds, intervalMs < 0 ? 1500 : intervalMs);
    const Attack which = attack == "silent"  ? Attack::Silent
                         : attack == "crowd" ? Attack::Crowd
                                             : Attack::EscNop;
    std::printf("real caller from 127.0.9.1 every %d ms for %d s, attack %s\n",
                intervalMs < 0 ? 2000 : intervalMs, seconds < 0 ? 150 : seconds, attack.c_str());
    for (bool defences : {false, true}) {
        if ((defences ? "default" : "on") == settings)
            continue;
        if (!nodeAttack(which, defences, seconds < 0 ? 150 : seconds,
                        intervalMs < 0 ? 2000 : intervalMs))
            return 1;
    }
    return 0;
}
