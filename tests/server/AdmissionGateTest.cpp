#include "server/AdmissionGate.h"

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

} // namespace
