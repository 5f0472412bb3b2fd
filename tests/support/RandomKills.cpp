#include "support/RandomKills.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <csignal>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

void killAtRandomMoments(int kills, const std::function<bool()>& once,
                         const std::function<void(int kill)>& afterKill) {
    QElapsedTimer round;
    round.start();
    ASSERT_TRUE(once());
    const int roundMicros = int(round.nsecsElapsed() / 1000);
    std::mt19937 random(20261123);
    std::uniform_int_distribution<int> delayMicros(0, std::max(3 * roundMicros, 2000));
    for (int kill = 1; kill <= kills; ++kill) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            while (once()) {
            }
            ::_exit(3);
        }
        // Random moments are the point here: the kill must land anywhere in the loop.
        ::usleep(static_cast<useconds_t>(delayMicros(random)));
        ::kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status))
            << "the child stopped by itself with " << WEXITSTATUS(status);
        afterKill(kill);
        if (::testing::Test::HasFatalFailure())
            return;
    }
}
