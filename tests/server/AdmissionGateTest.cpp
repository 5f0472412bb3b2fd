#include "server/AdmissionGate.h"
#include "server/AddressNetwork.h"

#include <QTest>

#include <gtest/gtest.h>

namespace {

using Drop = AdmissionGate::Drop;

// One caller a second per address, many addresses side by side, and every turned-away
// connection told, at most once a second.
TEST(AdmissionGate, EachAddressWaitsItsSecondWhileOthersGoAhead) {
    AdmissionGate gate(2);
    EXPECT_EQ(gate.enter("10.0.0.1", true), Drop::Starting);
    gate.open();
    EXPECT_EQ(gate.enter("10.0.0.1", false), Drop::Stopped);
    EXPECT_EQ(gate.enter("10.0.0.1", true), std::nullopt);
    EXPECT_EQ(gate.enter("10.0.0.1", true), Drop::AddressBusy);
    EXPECT_EQ(gate.enter("10.0.0.2", true), std::nullopt);
    EXPECT_EQ(gate.enter("10.0.0.3", true), Drop::TooMany);
    EXPECT_EQ(gate.tick(), "4 Connections Dropped [1 server stopped, 1 server starting, 1 address "
                           "called within the second, 1 too many callers at once]");
    EXPECT_EQ(gate.tick(), "");

    gate.leave("10.0.0.1");
    EXPECT_EQ(gate.enter("10.0.0.1", true), Drop::AddressBusy) << "freed before its second";
    EXPECT_EQ(gate.enter("10.0.0.3", true), std::nullopt);
    EXPECT_EQ(gate.admitting(), 2);
    gate.leave("10.0.0.3");
    EXPECT_TRUE(QTest::qWaitFor([&] { return !gate.enter("10.0.0.1", true); }, 2000));
}

// With every place taken, the longest silent caller past the grace makes room, once: his
// admission's own end frees nothing more, and his address waits out its second.
TEST(AdmissionGate, AFullGateGivesTheLongestSilentPlaceAwayOnce) {
    AdmissionGate gate(2, 50);
    gate.open();
    QStringList dropped;
    for (const QString address : {"10.0.0.1", "10.0.0.2"}) {
        ASSERT_EQ(gate.enter(address, true), std::nullopt);
        gate.awaitKey(address, [&dropped, address] { dropped << address; });
    }
    QTest::qWait(100);
    EXPECT_EQ(gate.enter("10.0.0.3", true), std::nullopt);
    gate.leave("10.0.0.1");
    EXPECT_EQ(gate.enter("10.0.0.1", true), Drop::AddressBusy);
    EXPECT_EQ(gate.enter("10.0.0.4", true), std::nullopt);
    EXPECT_EQ(gate.enter("10.0.0.5", true), Drop::TooMany);
    EXPECT_EQ(dropped, QStringList({"10.0.0.1", "10.0.0.2"}));
}

TEST(CallerNetwork, IsTheIpv4Slash24OrTheIpv6Slash64) {
    EXPECT_EQ(callerNetwork("203.0.113.77"), "203.0.113.0/24");
    EXPECT_EQ(callerNetwork("::ffff:203.0.113.9"), "203.0.113.0/24");
    EXPECT_EQ(callerNetwork("2001:db8:1:2:aaaa::1"), "2001:db8:1:2::/64");
    EXPECT_EQ(callerNetwork("no address"), "no address");
}

} // namespace
