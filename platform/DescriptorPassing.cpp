#include "platform/DescriptorPassing.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Orders longer than this are nobody's command line.
constexpr size_t kMaxOrders = 256 * 1024;

void closeQuietly(int fd) {
    if (fd >= 0)
        ::close(fd); // never retried on EINTR: on Linux the descriptor is gone either way
}

} // namespace

namespace handover {

bool sendDescriptor(int channel, int fd) {
    char payload = 'F';
    iovec iov{&payload, 1};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr msg{};
    msg.msg_iov = &iov;
    msg.msg_iovlen = 1;
    msg.msg_control = control;
    msg.msg_controllen = sizeof control;
    cmsghdr* header = CMSG_FIRSTHDR(&msg);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(header), &fd, sizeof(int));
    for (;;) {
        const ssize_t sent = ::sendmsg(channel, &msg, MSG_NOSIGNAL);
        if (sent == 1)
            return true;
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent >= 0)
            errno = EIO;
        return false;
    }
}

int receiveDescriptor(int channel) {
    char payload = 0;
    iovec iov{&payload, 1};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int) * 4)] = {};
    msghdr msg{};
    msg.msg_iov = &iov;
    msg.msg_iovlen = 1;
    msg.msg_control = control;
    msg.msg_controllen = sizeof control;
    ssize_t got;
    do {
        got = ::recvmsg(channel, &msg, MSG_CMSG_CLOEXEC);
    } while (got < 0 && errno == EINTR);
    if (got < 0)
        return -1;
    int result = -1;
    for (cmsghdr* header = CMSG_FIRSTHDR(&msg); header; header = CMSG_NXTHDR(&msg, header)) {
        if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS)
            continue;
        const size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (size_t i = 0; i < count; ++i) {
            int fd;
            std::memcpy(&fd, CMSG_DATA(header) + i * sizeof(int), sizeof(int));
            if (result < 0)
                result = fd;
            else
                closeQuietly(fd); // a well-behaved server sends one; never keep extras open
        }
    }
    if (result < 0)
        errno = got == 0 ? 0 : EPROTO;
    if (result >= 0 && (msg.msg_flags & MSG_CTRUNC)) {
        closeQuietly(result);
        errno = EPROTO;
        return -1;
    }
    return result;
}

std::string encodeOrders(const Orders& orders) {
    std::string bytes = std::to_string(orders.command.size() + 2) + '\n';
    for (const std::string& field : {std::to_string(orders.targetFd), orders.directory}) {
        bytes += field;
        bytes += '\0';
    }
    for (const std::string& field : orders.command) {
        bytes += field;
        bytes += '\0';
    }
    return bytes;
}

bool receiveOrders(int channel, Orders* orders) {
    std::string bytes;
    size_t wanted = 0; // fields, once the count line is in
    std::vector<std::string> fields;
    size_t start = 0;
    for (;;) {
        if (wanted == 0) {
            const size_t end = bytes.find('\n');
            if (end != std::string::npos) {
                char* rest = nullptr;
                const unsigned long count = std::strtoul(bytes.c_str(), &rest, 10);
                if (rest != bytes.c_str() + end || count < 3 || count > kMaxOrders) {
                    errno = 0;
                    return false;
                }
                wanted = count;
                start = end + 1;
            }
        }
        for (size_t end; wanted > 0 && fields.size() < wanted &&
                         (end = bytes.find('\0', start)) != std::string::npos;
             start = end + 1)
            fields.push_back(bytes.substr(start, end - start));
        if (wanted > 0 && fields.size() == wanted)
            break;
        char chunk[4096];
        const ssize_t got = ::read(channel, chunk, sizeof chunk);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0 || bytes.size() + size_t(got) > kMaxOrders) {
            if (got >= 0)
                errno = 0;
            return false;
        }
        bytes.append(chunk, size_t(got));
    }
    char* end = nullptr;
    const long target = std::strtol(fields[0].c_str(), &end, 10);
    if (fields[0].empty() || *end != '\0' || target < 0 || target > 65535 || fields[2].empty()) {
        errno = 0;
        return false;
    }
    orders->targetFd = int(target);
    orders->directory = fields[1];
    orders->command.assign(fields.begin() + 2, fields.end());
    return true;
}

long peerPid(int channel) {
    ucred credentials{};
    socklen_t length = sizeof credentials;
    if (::getsockopt(channel, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0)
        return 0;
    return credentials.pid;
}

bool setCloseOnExec(int fd, bool on) {
    const int flags = ::fcntl(fd, F_GETFD);
    if (flags < 0)
        return false;
    const int wanted = on ? (flags | FD_CLOEXEC) : (flags & ~FD_CLOEXEC);
    return wanted == flags || ::fcntl(fd, F_SETFD, wanted) == 0;
}

} // namespace handover
