#include "platform/NodeExec.h"

#include <cstdlib>
#include <cstring>

#include <unistd.h>

namespace {

// A node that greets its caller on descriptor `fd` and echoes until the caller leaves, holding
// nothing a shell would add, so the test sees exactly the descriptors it was given.
int echoNode(int fd, const char* greeting) {
    if (::write(fd, greeting, std::strlen(greeting)) < 0)
        return 1;
    char buffer[256];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n <= 0)
            return n == 0 ? 0 : 1;
        if (::write(fd, buffer, static_cast<size_t>(n)) != n)
            return 1;
    }
}

} // namespace

// The arguments of keldts-node-exec, or "echo-node FD GREETING" to play the node.
int main(int argc, char** argv) {
    if (argc == 4 && std::strcmp(argv[1], "echo-node") == 0)
        return echoNode(std::atoi(argv[2]), argv[3]);
    return runNodeExec(argc - 1, argv + 1);
}
