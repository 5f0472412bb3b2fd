#include "platform/DescriptorPassing.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

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
