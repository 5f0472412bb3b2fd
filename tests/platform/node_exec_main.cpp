#include "platform/NodeExec.h"

#include <cstdlib>
#include <cstring>

#include <unistd.h>

// The arguments of keldts-node-exec, or "echo-node FD GREETING" to play a node that greets its
// caller on descriptor FD and echoes until the caller leaves. It holds nothing a shell would
// add, so the test sees exactly the descriptors it was given.
int main(int argc, char** argv) {
    if (argc != 4 || std::strcmp(argv[1], "echo-node") != 0)
        return runNodeExec(argc - 1, argv + 1);
    const int fd = std::atoi(argv[2]);
    char buffer[256];
    ssize_t n = ::write(fd, argv[3], std::strlen(argv[3]));
    while (n >= 0 && (n = ::read(fd, buffer, sizeof buffer)) > 0)
        n = ::write(fd, buffer, size_t(n));
    return n == 0 ? 0 : 1;
}
