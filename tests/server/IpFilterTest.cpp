#include "server/IpFilter.h"

#include "data/SystemConfig.h"
#include "support/TestBoard.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

class IpFilterTest : public ::testing::Test {
  protected:
    IpFilterTest() { tb.loadSettings(); }
    bool allowed(const char* address) { return isIpAllowed(*tb.board, QLatin1String(address)); }

    TestBoard tb;
};

// That an IPv6 caller matches no record is seen end to end.
TEST_F(IpFilterTest, PartsMatchByNumberOrWildcardAndTheModeSaysWhatAMatchMeans) {
    EXPECT_TRUE(allowed("10.1.2.3")) << "no list";
    tb.write("KELDTSIP.DAT", TestBoard::ipRecords({"10.*.*.*", "192.168.001.9", "1.2", "##$$##"}));
    EXPECT_FALSE(allowed("10.200.3.4"));
    EXPECT_FALSE(allowed("192.168.1.9"));
    EXPECT_TRUE(allowed("192.168.1.90"));
    EXPECT_FALSE(allowed("1.2.0.0"));
    EXPECT_TRUE(allowed("1.2.3.4"));
    EXPECT_TRUE(allowed("11.0.0.1"));
    tb.board->serverConfig.setI16("ipfiltermode", 1);
    EXPECT_TRUE(allowed("10.0.0.1"));
    EXPECT_FALSE(allowed("11.0.0.1"));
    QFile::remove(tb.file("KELDTSIP.DAT"));
    EXPECT_FALSE(allowed("10.1.2.3")) << "no list";
}

// Appending the caller's address to the list, and its effect, are seen end to end; appending
// after other records, in the list's own test.
TEST_F(IpFilterTest, BlockingANodesCallerSaysWhichAddressWentOrThatItWasUnknown) {
    blockNodeCaller(*tb.board, 2);
    EXPECT_EQ(tb.pane.lines().last(), "12:00:00 : User Block Failed - Unknown IP");
    ASSERT_TRUE(QDir().mkpath(tb.file("TEMP/N2")));
    tb.write("TEMP/N2/TCPIP.CFG", "7\r\n10.9.8.7\r\nUnknown\r\n");
    blockNodeCaller(*tb.board, 2);
    EXPECT_EQ(tb.pane.lines().last(), "12:00:00 : 10.9.8.7 Added to Blocked List");
    EXPECT_FALSE(allowed("10.9.8.7"));
}

} // namespace
