#include "server/IpFilter.h"

#include "data/SystemConfig.h"
#include "support/TestBoard.h"

#include <QDir>

#include <gtest/gtest.h>

namespace {

class IpFilterTest : public ::testing::Test {
  protected:
    IpFilterTest() { tb.loadSettings(); }
    void list(std::initializer_list<const char*> entries) {
        tb.write("KELDTSIP.DAT", TestBoard::ipRecords(entries));
    }
    bool allowed(const char* address) { return isIpAllowed(*tb.board, QLatin1String(address)); }
    void allowMode() { tb.board->serverConfig.setI16("ipfiltermode", 1); }

    TestBoard tb;
};

TEST_F(IpFilterTest, WithoutAListOnlyTheBlockModeLetsCallersIn) {
    EXPECT_TRUE(allowed("10.1.2.3"));
    allowMode();
    EXPECT_FALSE(allowed("10.1.2.3"));
}

TEST_F(IpFilterTest, PartsMatchByNumberOrWildcard) {
    list({"10.*.*.*", "192.168.001.9", "1.2", "##$$##"});
    EXPECT_FALSE(allowed("10.200.3.4"));
    EXPECT_FALSE(allowed("192.168.1.9"));
    EXPECT_TRUE(allowed("192.168.1.90"));
    EXPECT_FALSE(allowed("1.2.0.0"));
    EXPECT_TRUE(allowed("1.2.3.4"));
    EXPECT_TRUE(allowed("11.0.0.1"));
    allowMode();
    EXPECT_TRUE(allowed("10.0.0.1"));
    EXPECT_FALSE(allowed("11.0.0.1"));
    // An IPv6 caller matches no record, which an allow list turns away.
    list({"*.*.*.*", "2001.*.*.*"});
    EXPECT_TRUE(allowed("8.8.8.8"));
    EXPECT_FALSE(allowed("2001:db8::1"));
}

TEST_F(IpFilterTest, BlockingANodesCallerAppendsItsAddress) {
    blockNodeCaller(*tb.board, 2);
    EXPECT_EQ(tb.pane.lines().last(), "12:00:00 : User Block Failed - Unknown IP");
    ASSERT_TRUE(QDir().mkpath(tb.file("TEMP/N2")));
    tb.write("TEMP/N2/TCPIP.CFG", "7\r\n10.9.8.7\r\nUnknown\r\n");
    list({"1.1.1.1"});
    blockNodeCaller(*tb.board, 2);
    EXPECT_EQ(tb.pane.lines().last(), "12:00:00 : 10.9.8.7 Added to Blocked List");
    EXPECT_EQ(tb.read("KELDTSIP.DAT"), QByteArray("1.1.1.1        10.9.8.7       "));
    EXPECT_FALSE(allowed("10.9.8.7"));
}

} // namespace
