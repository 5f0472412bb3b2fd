// A real caller against a client that connects and closes from another address as fast as it
// is told to, both against the real keldts on a throw-away demo board:
//
//   keldts_attack_bench [--seconds S] [--interval-ms MS]
//
// The real caller calls from 127.0.0.1 every --interval-ms (1500 unless given: a little more
// than its own address's one-second lock) for --seconds (15 unless given); the attacker
// connects from 127.0.0.2 and closes at once, at 0 (the baseline), 10, 100 and 1,000 a second.
// The board has no telnet channel, so a caller who is served hears that all nodes are busy;
// one who is not is closed without a byte. Reported per rate: the real calls served, the
// attacker's connections made, and keldts's CPU over the run, beside the baseline.

#include "BenchSupport.h"

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

// One real call: true when the server answered before it hung up.
bool call(quint16 port) {
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

struct Run {
    int served = 0;
    int calls = 0;
    long attacks = 0;
    double cpuPercent = 0;
};

Run attackAt(int rate, quint16 port, pid_t pid, int seconds, int intervalMs) {
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
    Run run;
    const double cpuBefore = cpuSeconds(pid);
    const auto begin = Clock::now();
    for (auto due = begin; secondsSince(begin) < seconds;
         due += std::chrono::milliseconds(intervalMs)) {
        std::this_thread::sleep_until(due);
        ++run.calls;
        run.served += call(port) ? 1 : 0;
    }
    stop = true;
    attacker.join();
    run.cpuPercent = 100 * (cpuSeconds(pid) - cpuBefore) / secondsSince(begin);
    run.attacks = attacks;
    return run;
}

} // namespace

int main(int argc, char** argv) {
    int seconds = 15;
    int intervalMs = 1500;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--seconds" && i + 1 < argc)
            seconds = std::clamp(std::atoi(argv[++i]), 2, 600);
        else if (a == "--interval-ms" && i + 1 < argc)
            intervalMs = std::clamp(std::atoi(argv[++i]), 100, 10000);
        else {
            std::fprintf(stderr, "usage: %s [--seconds S] [--interval-ms MS]\n", argv[0]);
            return 2;
        }
    }
    std::signal(SIGPIPE, SIG_IGN);
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
        const Run run = attackAt(rate, board.port(), board.pid(), seconds, intervalMs);
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
