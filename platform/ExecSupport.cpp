#include "platform/ExecSupport.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <sys/socket.h>
#include <unistd.h>

namespace execsupport {

int fail(int status, const std::string& message) {
    std::fprintf(stderr, "keldts-node-exec: %s\n", message.c_str());
    return status;
}

std::string withCause(const std::string& what, int error) {
    return what + ": " + std::strerror(error);
}

bool sendAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        bytes.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

bool writeAll(int fd, std::string_view bytes, std::optional<off_t> offset) {
    off_t done = 0;
    while (!bytes.empty()) {
        const ssize_t n = offset ? ::pwrite(fd, bytes.data(), bytes.size(), *offset + done)
                                 : ::write(fd, bytes.data(), bytes.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            if (n == 0)
                errno = EIO;
            return false;
        }
        bytes.remove_prefix(static_cast<size_t>(n));
        done += n;
    }
    return true;
}

} // namespace execsupport
