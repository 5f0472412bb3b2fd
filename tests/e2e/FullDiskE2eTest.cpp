// Files that cannot grow (a full disk, a size limit): callers still admitted, the log whole.

#include "KeldtsRunner.h"

#include <sys/resource.h>

namespace {

constexpr rlim_t kLimit = 8192;

using FullDiskE2e = E2eTest;

TEST_F(FullDiskE2e, AdmissionGoesOnAndTheLogStaysWhole) {
    // A log 20 bytes short of the limit: every further line would be cut short.
    const QByteArray log =
        "KELDTS Event Log\r\n" + QByteArray(qsizetype(kLimit) - 40, '-') + "\r\n";
    ASSERT_NO_FATAL_FAILURE(sandbox.write("KELDTS.LOG", log));

    sandbox.server.setChildProcessModifier([] {
        const rlimit limit{kLimit, kLimit};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    });
    ASSERT_TRUE(sandbox.startServer());
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(answer(sandbox.port()), kBusyText);
    EXPECT_EQ(sandbox.ctl("status"), "online 1");
    EXPECT_EQ(sandbox.stopServer(SIGTERM), 0) << sandbox.serverOutput().toStdString();

    // Loaded, three refusals, the counts of calls dropped meanwhile and Unloaded: lines that did
    // not fit, one report each.
    const QByteArray out = sandbox.serverOutput();
    EXPECT_EQ(out.count("Error: Error While Writing To BBS.LOG"), 5 + out.count(" Dropped ["))
        << out.toStdString();
    EXPECT_EQ(out.count("Connection Refused (No Available Node)"), 3);
    EXPECT_EQ(sandbox.read("KELDTS.LOG"), log);
}

} // namespace
