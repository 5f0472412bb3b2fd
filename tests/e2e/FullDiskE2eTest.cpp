// A server whose files cannot grow (a full disk, a file-size limit) keeps admitting callers,
// reports each failed log write once, and leaves its log whole.

#include "KeldtsRunner.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/resource.h>

namespace {

constexpr rlim_t kLimit = 8192;

TEST(FullDiskE2e, AdmissionGoesOnAndTheLogStaysWhole) {
    KeldtsSandbox sandbox;
    ASSERT_NO_FATAL_FAILURE(sandbox.writeBoard());
    // A log 20 bytes short of the limit: every further line would be cut short.
    QByteArray log = "KELDTS Event Log\r\n" + QByteArray(79, '-') +
                     "\r\nDate           Time      Description\r\n" + QByteArray(79, '-') + "\r\n";
    const QByteArray entry =
        "Mon 2026-11-23 10:00:00  (0) Connection Refused (No Available Node) [10.0.0.1]";
    while (log.size() + entry.size() + 2 < qsizetype(kLimit) - 20)
        log += entry + "\r\n";
    log += "Mon 2026-11-23 10:00:00  " + QByteArray(qsizetype(kLimit) - 20 - log.size() - 27, '.') +
           "\r\n";
    sandbox.write(QStringLiteral("KELDTS.LOG"), log);

    rlimit saved{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
    rlimit limited = saved;
    limited.rlim_cur = kLimit;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limited), 0);
    QString why;
    const bool started = sandbox.startServer(&why);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &saved), 0);
    ASSERT_TRUE(started) << why.toStdString();

    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(callUntilAnswered(sandbox.port()).bytes, busyText());
    EXPECT_EQ(sandbox.ctl(QStringLiteral("status")), QStringLiteral("online 1"));
    EXPECT_EQ(sandbox.stopServer(SIGTERM), 0) << sandbox.serverOutput().toStdString();

    // Loaded, three refusals and Unloaded: five lines that did not fit, one report each.
    const QByteArray out = sandbox.serverOutput();
    EXPECT_EQ(out.count("Error: Error While Writing To BBS.LOG"), 5) << out.toStdString();
    EXPECT_EQ(out.count("Connection Refused (No Available Node)"), 3);
    EXPECT_EQ(sandbox.read(QStringLiteral("KELDTS.LOG")), log);
}

} // namespace
