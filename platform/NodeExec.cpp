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

// A plain decimal descriptor number; -1 for anything else.
int descriptorNumber(const char* text) {
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text, &end, 10);
    if (errno != 0 || end == text || *end != '\0' || value < 0 || value > 65535)
        return -1;
    return static_cast<int>(value);
}

} // namespace

int runNodeExec(int count, char** args) {
    if (count > 0 && std::string_view(args[0]) == "--serial-relay")
        return runSerialRelay(count, args);
    std::string socketPath;
    std::string token;
    int target = -1;
    int i = 0;
    for (; i < count; ++i) {
        const std::string_view arg = args[i];
        if (arg == "--")
            break;
        if (i + 1 >= count)
            return fail(kUsageStatus, std::string(arg) + " needs a value");
        const char* value = args[++i];
        if (arg == "--socket") {
            socketPath = value;
        } else if (arg == "--token") {
            token = value;
        } else if (arg == "--fd") {
            target = descriptorNumber(value);
            if (target < 0)
                return fail(kUsageStatus, std::string("bad descriptor number ") + value);
        } else {
            return fail(kUsageStatus, "unknown option " + std::string(arg));
        }
    }
    if (socketPath.empty() || token.empty() || target < 0 || i + 1 >= count)
        return fail(kUsageStatus, "usage: keldts-node-exec --socket PATH --token TOKEN --fd H "
                                  "-- PROGRAM [ARGS...]");
    if (target <= STDERR_FILENO)
        return fail(kUsageStatus,
                    "descriptor " + std::to_string(target) + " is the window's terminal");
    char** program = args + i + 1; // the caller's argv ends in a null pointer

    const int channel = connectTo(socketPath);
    if (channel < 0)
        return fail(kFailureStatus, withCause("cannot reach the server at " + socketPath, errno));
    if (!execsupport::sendAll(channel, token + '\n'))
        return fail(kFailureStatus, withCause("cannot talk to the server", errno));
    const int fd = handover::receiveDescriptor(channel);
    if (fd < 0)
        return fail(kFailureStatus, errno == 0 ? "the server refused the hand-over"
                                               : withCause("no socket received", errno));

    if (fd == target) {
        // dup2(H, H) would leave close-on-exec set and the node without its socket.
        handover::setCloseOnExec(fd, false);
    } else {
        int rc;
        do {
            rc = ::dup2(fd, target);
        } while (rc < 0 && errno == EINTR);
        if (rc < 0)
            return fail(kFailureStatus,
                        withCause("cannot place the socket at " + std::to_string(target), errno));
        ::close(fd);
    }
    // A DOS node behind an emulator treats EAGAIN as a dropped line.
    const int flags = ::fcntl(target, F_GETFL);
    if (flags >= 0 && (flags & O_NONBLOCK))
        ::fcntl(target, F_SETFL, flags & ~O_NONBLOCK);

    // The channel is close-on-exec: a successful exec closes it and so tells the server.
    ::execvp(program[0], program);
    const std::string why = withCause(std::string("cannot run ") + program[0], errno);
    execsupport::sendAll(channel, why + '\n');
    return fail(kExecStatus, why);
}
