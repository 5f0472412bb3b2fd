#include "server/IpFilter.h"
#include "server/IpList.h"

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

TEST_F(IpFilterTest, PartsMatchByNumberOrWildcardAndTheModeSaysWhatAMatchMeans) {
    EXPECT_TRUE(allowed("10.1.2.3")) << "no list";
    tb.write("KELDTSIP.DAT", TestBoard::ipRecords({"10.*.*.*", "192.168.001.9", "1.2", "##$$##"}));
    for (const char* blocked : {"10.200.3.4", "192.168.1.9", "1.2.0.0"})
        EXPECT_FALSE(allowed(blocked)) << blocked;
    EXPECT_TRUE(allowed("192.168.1.90") && allowed("1.2.3.4"));
    tb.board->serverConfig.setI16("ipfiltermode", 1);
    EXPECT_TRUE(allowed("10.0.0.1"));
    EXPECT_FALSE(allowed("11.0.0.1"));
    QFile::remove(tb.file("KELDTSIP.DAT"));
    EXPECT_FALSE(allowed("10.1.2.3")) << "no list";
}

// IPv6 callers have their own list, by address or network, under the same mode; an allow list
// lets in none of them unless listed, and a list that cannot be read lets in nobody, by name.
TEST_F(IpFilterTest, IPv6CallersAreJudgedByTheirOwnList) {
    EXPECT_TRUE(allowed("2001:db8::1")) << "no list";
    ASSERT_TRUE(iplist::addV6(*tb.board, "2001:DB8:0:0::/32").ok());
    ASSERT_TRUE(iplist::addV6(*tb.board, " ::1 ").ok());
    EXPECT_FALSE(iplist::addV6(*tb.board, "10.0.0.1").ok());
    EXPECT_EQ(tb.read("KELDTSIP.V6"), "2001:db8::/32\r\n::1\r\n");
    EXPECT_FALSE(allowed("2001:db8:5::7"));
    EXPECT_FALSE(allowed("::1"));
    EXPECT_TRUE(allowed("2001:db9::1"));
    EXPECT_TRUE(allowed("10.0.0.1")) << "IPv4 callers are not judged by the IPv6 list";
    tb.board->serverConfig.setI16("ipfiltermode", 1);
    EXPECT_TRUE(allowed("2001:db8:5::7"));
    EXPECT_FALSE(allowed("2001:db9::1"));
    ASSERT_TRUE(iplist::removeV6(*tb.board, 0).ok());
    EXPECT_FALSE(allowed("2001:db8:5::7"));

    // A line that is no address or network blocks no one: the sysop is told of it, once.
    tb.board->serverConfig.setI16("ipfiltermode", 0);
    tb.write("KELDTSIP.V6", "[::1]\r\n2001:db8::/32\r\n::1 ; local\r\n");
    const qsizetype shown = tb.pane.lines().size();
    EXPECT_FALSE(allowed("2001:db8::7"));
    EXPECT_TRUE(allowed("::1"));
    const QStringList told = tb.pane.lines().mid(shown);
    ASSERT_EQ(told.size(), 2) << told.join('\n').toStdString();
    EXPECT_TRUE(told.at(0).contains("\"[::1]\"") && told.at(1).contains("\"::1 ; local\""));
    EXPECT_TRUE(tb.lastLogEntry().contains("\"::1 ; local\""));

    QFile::remove(tb.file("KELDTSIP.V6"));
    ASSERT_TRUE(QDir().mkdir(tb.file("KELDTSIP.V6")));
    EXPECT_FALSE(allowed("::1"));
    EXPECT_TRUE(tb.pane.lines().last().contains("KELDTSIP.V6"));
    EXPECT_TRUE(tb.pane.lines().last().endsWith("(callers are refused until it can be read)"));
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
    tb.write("TEMP/N2/TCPIP.CFG", "7\r\nfe80::2\r\nUnknown\r\n");
    blockNodeCaller(*tb.board, 2);
    EXPECT_FALSE(allowed("fe80::2"));
    EXPECT_EQ(tb.read("KELDTSIP.DAT"), TestBoard::ipRecords({"10.9.8.7"}));
}

} // namespace
