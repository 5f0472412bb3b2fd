#include "platform/TerminationSignals.h"

#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
int g_wakeFds[2] = {-1, -1};

void onSignal(int) {
    const char byte = 1;
    [[maybe_unused]] const ssize_t n = ::write(g_wakeFds[0], &byte, 1);
}
} // namespace

TerminationSignals::TerminationSignals(QObject* parent) : QObject(parent) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, g_wakeFds) != 0)
        return;
    notifier_ = new QSocketNotifier(g_wakeFds[1], QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, [this] {
        char sink[16];
        while (::read(g_wakeFds[1], sink, sizeof sink) > 0) {
        }
        emit terminationRequested();
    });
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
}

TerminationSignals::~TerminationSignals() {
    ::signal(SIGTERM, SIG_DFL);
    ::signal(SIGINT, SIG_DFL);
    delete notifier_;
    for (int& fd : g_wakeFds) {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }
}

void ignoreWriteFailureSignals() {
    // A caller who hangs up while we write must not end the server, and neither may a file
    // that reaches the size limit: both are write errors the server reports and survives.
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGXFSZ, SIG_IGN);
}
