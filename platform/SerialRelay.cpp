#include "platform/SerialRelay.h"

#include "platform/ExecSupport.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using execsupport::fail;
using execsupport::kFailureStatus;
using execsupport::kUsageStatus;

// How long the emulator has to reach its COM1 line after it was started.
constexpr int kConnectLimitMs = 30000;
// How long the emulator has to end after its caller has hung up.
constexpr int kHangUpGraceMs = 5000;

std::string withCause(const std::string& what) {
    return execsupport::withCause(what, errno);
}

// The inode of the loopback TCP socket whose local port is `localPort` and whose peer is
// `remotePort`; 0 when there is none.
unsigned long socketInode(unsigned localPort, unsigned remotePort) {
    std::ifstream table("/proc/net/tcp");
    std::string line;
    std::getline(table, line); // the heading
    while (std::getline(table, line)) {
        unsigned slot = 0, localAddress = 0, local = 0, remoteAddress = 0, remote = 0, state = 0;
        unsigned long inode = 0;
        if (std::sscanf(line.c_str(), " %u: %8X:%4X %8X:%4X %2X %*s %*s %*s %*s %*s %lu", &slot,
                        &localAddress, &local, &remoteAddress, &remote, &state, &inode) == 7 &&
            local == localPort && remote == remotePort)
            return inode;
    }
    return 0;
}

// Whether process `pid` holds the socket with `inode`.
bool holdsSocket(pid_t pid, unsigned long inode) {
    const std::string directory = "/proc/" + std::to_string(pid) + "/fd";
    DIR* fds = ::opendir(directory.c_str());
    if (!fds)
        return false;
    const std::string wanted = "socket:[" + std::to_string(inode) + "]";
    bool found = false;
    while (const dirent* entry = ::readdir(fds)) {
        char target[64] = {};
        const std::string link = directory + '/' + entry->d_name;
        const ssize_t n = ::readlink(link.c_str(), target, sizeof target - 1);
        if (n > 0 && wanted == std::string_view(target, static_cast<size_t>(n))) {
            found = true;
            break;
        }
    }
    ::closedir(fds);
    return found;
}

// Whether the connection `fd`, accepted on port `listenPort`, was made by process `pid`.
bool madeBy(int fd, unsigned listenPort, pid_t pid) {
    sockaddr_in peer{};
    socklen_t length = sizeof peer;
    if (::getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &length) != 0 ||
        peer.sin_addr.s_addr != htonl(INADDR_LOOPBACK))
        return false;
    const unsigned long inode = socketInode(ntohs(peer.sin_port), listenPort);
    return inode != 0 && holdsSocket(pid, inode);
}

int listenOnLoopback(unsigned* port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(fd, 4) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        ::close(fd);
        return -1;
    }
    *port = ntohs(address.sin_port);
    return fd;
}

// The emulator's exit status once it has ended; -1 while it runs.
int endedWith(pid_t child) {
    int status = 0;
    if (::waitpid(child, &status, WNOHANG) != child)
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Whether the emulator has ended, leaving its exit status for `endedWith` to collect.
bool hasEnded(pid_t child) {
    siginfo_t ended{};
    return ::waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           ended.si_pid == child;
}

int stopEmulator(pid_t child) {
    for (int waited = 0; waited < kHangUpGraceMs; waited += 100) {
        if (const int status = endedWith(child); status >= 0)
            return status;
        ::usleep(100 * 1000);
    }
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    return kFailureStatus;
}

// The one connection of the emulator; -1 when it ended or took too long.
int acceptEmulator(int listener, unsigned port, pid_t child) {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(kConnectLimitMs);
    while (std::chrono::steady_clock::now() < deadline && !hasEnded(child)) {
        pollfd waiting{listener, POLLIN, 0};
        if (::poll(&waiting, 1, 100) <= 0)
            continue;
        const int fd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0)
            continue;
        if (madeBy(fd, port, child))
            return fd;
        // Someone else on this machine: the caller is not theirs to take.
        ::close(fd);
    }
    return -1;
}

// Bytes both ways until one side hangs up. True when the caller hung up first.
bool relay(int caller, int emulator) {
    std::vector<char> buffer(16 * 1024);
    pollfd ends[2] = {{caller, POLLIN, 0}, {emulator, POLLIN, 0}};
    for (;;) {
        if (::poll(ends, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            return true;
        }
        for (int side = 0; side < 2; ++side) {
            if (!(ends[side].revents & (POLLIN | POLLHUP | POLLERR)))
                continue;
            const ssize_t n = ::recv(ends[side].fd, buffer.data(), buffer.size(), 0);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                return side == 0;
            if (!execsupport::sendAll(ends[1 - side].fd,
                                      std::string_view(buffer.data(), static_cast<size_t>(n))))
                return side == 1;
        }
    }
}

} // namespace

int runSerialRelay(int count, char** args) {
    int caller = -1;
    std::string confDirectory;
    int i = 0;
    for (; i + 1 < count && std::string_view(args[i]) != "--"; i += 2) {
        const std::string_view option = args[i];
        if (option == "--serial-relay")
            caller = std::atoi(args[i + 1]);
        else if (option == "--conf-dir")
            confDirectory = args[i + 1];
        else
            return fail(kUsageStatus, "unknown option " + std::string(option));
    }
    if (caller <= STDERR_FILENO || confDirectory.empty() || i + 1 >= count)
        return fail(kUsageStatus, "usage: keldts-node-exec --serial-relay FD --conf-dir DIR -- "
                                  "EMULATOR [ARGS...]");

    unsigned port = 0;
    const int listener = listenOnLoopback(&port);
    if (listener < 0)
        return fail(kFailureStatus, withCause("cannot listen on the loopback"));
    // A name no one can guess and a file that is new, or anyone who may write in the board's
    // temporary directory could have the configuration written through a link of theirs.
    std::string conf = confDirectory + "/serial-XXXXXX.conf";
    const int confFd = ::mkostemps(conf.data(), 5, O_CLOEXEC);
    if (confFd < 0)
        return fail(kFailureStatus, withCause("cannot create " + conf));
    const std::string settings =
        "[serial]\nserial1=nullmodem server:127.0.0.1 port:" + std::to_string(port) +
        " transparent:1 telnet:1\n";
    const bool written = execsupport::writeAll(confFd, settings);
    const int writeError = errno;
    if (::close(confFd) != 0 || !written) {
        errno = written ? errno : writeError;
        const int status = fail(kFailureStatus, withCause("cannot write " + conf));
        ::unlink(conf.c_str());
        return status;
    }

    std::vector<char*> argv(args + i + 1, args + count);
    std::string confOption = "-conf";
    argv.push_back(confOption.data());
    argv.push_back(const_cast<char*>(conf.c_str()));
    argv.push_back(nullptr);
    const pid_t child = ::fork();
    if (child < 0)
        return fail(kFailureStatus, withCause("cannot start the emulator"));
    if (child == 0) {
        ::close(caller);
        ::execvp(argv[0], argv.data());
        std::perror("keldts-node-exec: cannot run the emulator");
        ::_exit(127);
    }

    const int emulator = acceptEmulator(listener, port, child);
    ::close(listener);
    ::unlink(conf.c_str());
    if (emulator < 0) {
        ::close(caller);
        return stopEmulator(child);
    }
    const bool callerLeft = relay(caller, emulator);
    // The hang-up goes on to the other side: the caller's line closes once the emulator's
    // last bytes are through, and the emulator's line drops its carrier.
    ::shutdown(caller, SHUT_RDWR);
    ::close(caller);
    ::close(emulator);
    if (callerLeft)
        return stopEmulator(child);
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : kFailureStatus;
}
