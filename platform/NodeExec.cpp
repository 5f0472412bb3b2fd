#include "platform/NodeExec.h"
#include "platform/DescriptorPassing.h"
#include "platform/ExecSupport.h"
#include "platform/SerialRelay.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using execsupport::fail;
using execsupport::kFailureStatus;
using execsupport::kUsageStatus;
using execsupport::withCause;

constexpr int kExecStatus = 127;

int connectTo(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return -1;
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    int rc;
    do {
        rc = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    } while (rc != 0 && errno == EINTR);
    if (rc != 0) {
        const int cause = errno;
        ::close(fd);
        errno = cause;
        return -1;
    }
    return fd;
}

} // namespace

int runNodeExec(int count, char** args) {
    if (count > 0 && std::string_view(args[0]) == "--serial-relay")
        return runSerialRelay(count, args);
    std::string socketPath;
    std::string token;
    for (int i = 0; i < count; ++i) {
        const std::string_view arg = args[i];
        if (i + 1 >= count)
            return fail(kUsageStatus, std::string(arg) + " needs a value");
        const char* value = args[++i];
        if (arg == "--socket")
            socketPath = value;
        else if (arg == "--token")
            token = value;
        else
            return fail(kUsageStatus, "unknown option " + std::string(arg));
    }
    if (socketPath.empty() || token.empty())
        return fail(kUsageStatus, "usage: keldts-node-exec --socket PATH --token TOKEN");

    const int channel = connectTo(socketPath);
    if (channel < 0)
        return fail(kFailureStatus, withCause("cannot reach the server at " + socketPath, errno));
    if (!execsupport::sendAll(channel, token + '\n'))
        return fail(kFailureStatus, withCause("cannot talk to the server", errno));
    const int fd = handover::receiveDescriptor(channel);
    if (fd < 0)
        return fail(kFailureStatus, errno == 0 ? "the server refused the hand-over"
                                               : withCause("no socket received", errno));
    handover::Orders orders;
    if (!handover::receiveOrders(channel, &orders))
        return fail(kFailureStatus, errno == 0 ? "the server sent no orders"
                                               : withCause("no orders received", errno));
    // What goes wrong from here on is the server's to report: it is told before we give up.
    const auto refuse = [channel](int status, const std::string& why) {
        execsupport::sendAll(channel, why + '\n');
        return fail(status, why);
    };
    const int target = orders.targetFd;
    if (target <= STDERR_FILENO)
        return refuse(kUsageStatus,
                      "descriptor " + std::to_string(target) + " is the window's terminal");
    if (!orders.directory.empty() && ::chdir(orders.directory.c_str()) != 0)
        return refuse(kFailureStatus, withCause("cannot enter " + orders.directory, errno));

    if (fd == target) {
        // dup2(H, H) would leave close-on-exec set and the node without its socket.
        handover::setCloseOnExec(fd, false);
    } else {
        int rc;
        do {
            rc = ::dup2(fd, target);
        } while (rc < 0 && errno == EINTR);
        if (rc < 0)
            return refuse(kFailureStatus,
                          withCause("cannot place the socket at " + std::to_string(target), errno));
        ::close(fd);
    }
    // A DOS node behind an emulator treats EAGAIN as a dropped line.
    const int flags = ::fcntl(target, F_GETFL);
    if (flags >= 0 && (flags & O_NONBLOCK))
        ::fcntl(target, F_SETFL, flags & ~O_NONBLOCK);

    std::vector<char*> program;
    for (std::string& word : orders.command)
        program.push_back(word.data());
    program.push_back(nullptr);
    // The channel is close-on-exec: a successful exec closes it and so tells the server.
    ::execvp(program[0], program.data());
    return refuse(kExecStatus, withCause("cannot run " + orders.command.front(), errno));
}
