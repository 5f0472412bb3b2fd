// A slow name server for keldts_resolver_bench, loaded into the real keldts with LD_PRELOAD: every
// reverse look-up waits KELDTS_SLOW_RESOLVER_MS milliseconds (3000 when unset) and is then
// answered by the C library. Each call appends "<pid> <function> <ms>" to the file named by
// KELDTS_SLOW_RESOLVER_LOG before it waits, so the driver can tell that the look-up came here.

#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <unistd.h>

namespace {

int delayMs() {
    const char* text = std::getenv("KELDTS_SLOW_RESOLVER_MS");
    if (!text || !*text)
        return 3000;
    const long ms = std::strtol(text, nullptr, 10);
    return ms < 0 ? 0 : ms > 600000 ? 600000 : int(ms);
}

void slowDown(const char* function) {
    const int ms = delayMs();
    if (const char* path = std::getenv("KELDTS_SLOW_RESOLVER_LOG")) {
        const int fd = ::open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
        if (fd >= 0) {
            char line[96];
            const int n =
                std::snprintf(line, sizeof line, "%d %s %d\n", int(::getpid()), function, ms);
            // One write to an O_APPEND file, so lines from several threads never interleave.
            if (::write(fd, line, size_t(n)) != n)
                std::perror("slow resolver log");
            ::close(fd);
        }
    }
    timespec left{ms / 1000, long(ms % 1000) * 1000000L};
    while (::nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

template <typename Function> Function next(const char* name) {
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" int getnameinfo(const sockaddr* address, socklen_t addressLength, char* host,
                           socklen_t hostLength, char* service, socklen_t serviceLength,
                           int flags) {
    static const auto real = next<decltype(&getnameinfo)>("getnameinfo");
    slowDown("getnameinfo");
    return real ? real(address, addressLength, host, hostLength, service, serviceLength, flags)
                : EAI_FAIL;
}

extern "C" int gethostbyaddr_r(const void* address, socklen_t length, int type, hostent* entry,
                               char* buffer, size_t bufferLength, hostent** result,
                               int* hostError) {
    static const auto real = next<decltype(&gethostbyaddr_r)>("gethostbyaddr_r");
    slowDown("gethostbyaddr_r");
    if (real)
        return real(address, length, type, entry, buffer, bufferLength, result, hostError);
    *result = nullptr;
    *hostError = NO_RECOVERY;
    return ENOSYS;
}
