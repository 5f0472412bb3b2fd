// Connection flood against the real keldts, measured against a bare accept()+close() server in
// the same process and the same run.
//
//   keldts_flood_bench [--connections N] [--concurrency N] [--rounds N] [--smoke]
//   keldts_flood_bench --port P --pid PID     (a keldts that is already running)
//
// Without --port it writes a demo board in a temporary folder and starts keldts on it, with a
// private runtime directory so that it never meets a sysop's own instance. Everything goes to
// 127.0.0.1 and every loop is bounded in count and time.

#include "BenchSupport.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace bench;

namespace {

// The least a server can do: take each connection and close it.
class BareServer {
  public:
    BareServer() {
        fd_ = listenLoopback(&port_);
        thread_ = std::thread([this] {
            while (!stop_) {
                const int c = ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
                if (c >= 0)
                    ::close(c);
                else if (errno != EINTR && errno != ECONNABORTED)
                    break;
            }
        });
    }
    ~BareServer() {
        stop_ = true;
        ::shutdown(fd_, SHUT_RDWR); // wakes the blocked accept()
        thread_.join();
        ::close(fd_);
    }
    quint16 port() const { return port_; }

  private:
    int fd_ = -1;
    quint16 port_ = 0;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

} // namespace

int main(int argc, char** argv) {
    int connections = 2000;
    int concurrency = 32;
    int rounds = 3;
    bool smoke = false;
    quint16 port = 0;
    pid_t pid = -1;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const bool hasValue = i + 1 < argc;
        if (a == "--connections" && hasValue)
            connections = std::clamp(std::atoi(argv[++i]), 1, 20000);
        else if (a == "--concurrency" && hasValue)
            concurrency = std::clamp(std::atoi(argv[++i]), 1, kBacklog);
        else if (a == "--rounds" && hasValue)
            rounds = std::clamp(std::atoi(argv[++i]), 1, 10);
        else if (a == "--port" && hasValue)
            port = quint16(std::atoi(argv[++i]));
        else if (a == "--pid" && hasValue)
            pid = std::atoi(argv[++i]);
        else if (a == "--smoke")
            smoke = true;
        else {
            std::fprintf(stderr,
                         "usage: %s [--connections N] [--concurrency N] [--rounds N] [--smoke]\n"
                         "       %s --port P --pid PID [...]\n",
                         argv[0], argv[0]);
            return 2;
        }
    }
    if (smoke) {
        connections = 50;
        rounds = 1;
    }
    std::signal(SIGPIPE, SIG_IGN);

    BenchBoard own;
    if (port == 0) {
        // No telnet channel: every admitted caller hears that all nodes are busy.
        if (!own.write(freePort(), 0) || !own.start())
            return 1;
        port = own.port();
        pid = own.pid();
    }

    // Measured once the start-up, the control calls that waited for it and a first caller have
    // settled.
    warmUp(port);
    const ProcessFigures before = settledFigures(pid);
    std::printf("flood: %d connections per round, %d at a time, %d round(s), 127.0.0.1\n",
                connections, concurrency, rounds);
    std::vector<double> bareTimes, keldtsTimes;
    Tally lastBare, lastKeldts;
    for (int r = 0; r < rounds; ++r) {
        {
            BareServer bare;
            lastBare = drive(bare.port(), connections, concurrency);
        }
        // Let the admission lock of the previous round run out, so each round starts on a
        // server that is ready to answer.
        pauseMs(1200);
        lastKeldts = drive(port, connections, concurrency);
        std::printf("round %d\n", r + 1);
        printTally("bare", lastBare);
        printTally("keldts", lastKeldts);
        bareTimes.push_back(lastBare.seconds);
        keldtsTimes.push_back(lastKeldts.seconds);
    }
    const ProcessFigures peak = figures(pid);

    // Refused callers are closed once their words are out; give that a bounded while.
    const auto settle = Clock::now();
    ProcessFigures after = figures(pid);
    while (after.descriptors != before.descriptors && secondsSince(settle) < 15) {
        pauseMs(50);
        after = figures(pid);
    }
    const double bare = median(bareTimes);
    const double keldts = median(keldtsTimes);
    std::printf("median time: bare %.3f s, keldts %.3f s, ratio keldts/bare %.2f\n", bare, keldts,
                bare > 0 ? keldts / bare : 0.0);
    std::printf("keldts pid %d: VmHWM %ld kB before, %ld kB after (x%.2f); VmRSS %ld kB after\n",
                int(pid), before.hwmKb, peak.hwmKb,
                before.hwmKb > 0 ? double(peak.hwmKb) / before.hwmKb : 0.0, after.rssKb);
    std::printf("keldts descriptors: %d before, %d at the end of the flood, %d after %.1f s\n",
                before.descriptors, peak.descriptors, after.descriptors, secondsSince(settle));

    bool ok = after.descriptors == before.descriptors;
    if (smoke)
        ok = ok && lastKeldts.failed == 0 && lastKeldts.other == 0 && lastKeldts.total() > 0;
    if (!ok)
        std::printf("FAILED: %s\n", after.descriptors != before.descriptors
                                        ? "descriptors did not return to where they were"
                                        : "calls failed or heard unexpected text");
    return ok ? 0 : 1;
}
