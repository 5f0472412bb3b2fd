// A real DOS program on a node: DOSBox through the built-in profile, the caller on its COM1.

#include "KeldtsRunner.h"

#include <QFile>

namespace {

class DosNodeE2e : public E2eTest {
  protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(sandbox.writeBoard(true));
        QByteArray ini = sandbox.read("KELDTS.INI");
        ini.replace("run=\n", "run=dosbox\n");
        ASSERT_NO_FATAL_FAILURE(sandbox.write("KELDTS.INI", ini));
        // The demo's node is a Linux script; this board's is a DOS batch.
        ASSERT_TRUE(QFile::remove(sandbox.path("LOADBBS.BAT")));
        ASSERT_NO_FATAL_FAILURE(sandbox.write("LOADBBS.BAT", "@ECHO OFF\r\nECHOCOM.COM\r\n"));
        ASSERT_TRUE(QFile::copy(QStringLiteral(ECHOCOM_PATH), sandbox.path("ECHOCOM.COM")));
    }
    bool nodeOneWaits() {
        return waitUntil([&] { return sandbox.ctl("nodes").startsWith("Node 1 - Waiting"); },
                         20000);
    }
};

TEST_F(DosNodeE2e, ACallerTalksToTheDosProgramOnComOneAndTheNodeIsFreedAfterwards) {
    ASSERT_TRUE(sandbox.startServer());
    {
        Caller caller;
        ASSERT_TRUE(caller.dial(sandbox.port()) && caller.waitFor("Hello from DOS\r\n", 30000))
            << caller.seen.toStdString() << sandbox.serverOutput().toStdString();
        ASSERT_TRUE(caller.send("echo me") && caller.waitFor("DOS\r\necho me"));
        // The caller's telnet commands are the line's business, not the program's.
        ASSERT_TRUE(caller.send("\xff\xfb\x01!") && caller.waitFor("echo me!"))
            << caller.seen.toStdString();
        ASSERT_TRUE(caller.send("q") && caller.waitFor("Bye\r\n")) << caller.seen.toStdString();
        ASSERT_TRUE(caller.waitForClose()) << caller.seen.toStdString();
    }
    EXPECT_TRUE(nodeOneWaits()) << sandbox.ctl("nodes").toStdString();

    // A caller who hangs up on the program frees the node as well.
    {
        Caller caller;
        ASSERT_TRUE(caller.dial(sandbox.port()) && caller.waitFor("Hello from DOS\r\n", 30000));
    }
    EXPECT_TRUE(nodeOneWaits()) << sandbox.ctl("nodes").toStdString();
}

} // namespace
