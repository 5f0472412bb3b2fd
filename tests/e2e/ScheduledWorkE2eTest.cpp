// The unattended duties on the real server, with a DOS runner that is a real program.

#include "KeldtsRunner.h"

#include <QFile>

namespace {

using ScheduledWorkE2e = E2eTest;

// The runner copies each batch it is given, so what ran can be read afterwards.
TEST_F(ScheduledWorkE2e, TheStartUpTossAndTheCommandLineDutiesRunTheirBatches) {
    QByteArray ini = sandbox.read("KELDTS.INI");
    ini.replace("run=\n", "run=/bin/cp {batch} " + sandbox.root().toUtf8() + "/ran.bat\n");
    ASSERT_NO_FATAL_FAILURE(sandbox.write("KELDTS.INI", ini));
    ASSERT_NO_FATAL_FAILURE(sandbox.write("DATA/SPOOL.NET", "packets"));
    ASSERT_NO_FATAL_FAILURE(sandbox.write("KTSN3.BAT", "left over"));
    ASSERT_TRUE(sandbox.startServer());
    const QString ran = sandbox.root() + "/ran.bat";
    EXPECT_FALSE(QFile::exists(sandbox.path("KTSN3.BAT")));
    ASSERT_TRUE(waitUntil([&] { return QFile::exists(ran); }, 10000));
    EXPECT_EQ(readFile(ran), sandbox.read("KTSTOSS.BAT"));
    EXPECT_TRUE(readFile(ran).contains("\r\nKTOSS.EXE 0 /TOSS\r\n"));

    EXPECT_EQ(sandbox.ctl("event-batch"), "done");
    EXPECT_TRUE(sandbox.serverOutput().contains("KTSEVNT.BAT is Missing"));
    EXPECT_EQ(sandbox.ctl("ksweep"), "started");
    EXPECT_TRUE(
        waitUntil([&] { return readFile(ran).contains("KSWEEP.EXE /SUPERCLEAN\r\n"); }, 10000));
    ASSERT_NO_FATAL_FAILURE(sandbox.write("KTSSWEEP.FLG", "KTSSWEEP\r\n"));
    EXPECT_EQ(sandbox.ctl("ksweep"), "a clean-up is running (KTSSWEEP.FLG)");
}

// The built-in DOSBox profile runs a DOS batch, whose work lands on a mapped drive.
TEST_F(ScheduledWorkE2e, TheDosBoxProfileRunsADosBatchOnTheMappedDrives) {
    QByteArray ini = sandbox.read("KELDTS.INI");
    ini.replace("run=\n", "run=dosbox\n");
    ASSERT_NO_FATAL_FAILURE(sandbox.write("KELDTS.INI", ini));
    ASSERT_NO_FATAL_FAILURE(sandbox.write(
        "KTSEVNT.BAT", "@ECHO OFF\r\nCD \\KELD\\TEXT\r\nECHO ran in %1 > C:\\KELD\\OUT.TXT\r\n"));
    ASSERT_TRUE(sandbox.startServer());
    EXPECT_EQ(sandbox.ctl("event-batch"), "done");
    ASSERT_TRUE(waitUntil([&] { return sandbox.read("OUT.TXT").startsWith("ran in"); }, 30000))
        << sandbox.serverOutput().toStdString();
}

} // namespace
