#include "server/IpList.h"

#include "data/SystemConfig.h"
#include "support/TestBoard.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

TEST(IpListEntryTest, PartsAreNumbersOrWildcardsAndNoneMayBeBlank) {
    using Parts = std::array<QString, 4>;
    EXPECT_EQ(iplist::entryFromParts(Parts{"010", " 7 ", "*", "000"}), "10.7.*.0");
    EXPECT_EQ(iplist::entryFromParts(Parts{"999", "1", " * ", "12x"}), "999.1.*.12");
    EXPECT_EQ(iplist::entryFromParts(Parts{"1", "1", "1", "  "}), QString());
}

// Adding and removing through the form is seen there; these are the list's own edges.
TEST(IpListTest, ChangesKeepWholeRecordsAndAnEmptyListGoesOnClose) {
    TestBoard tb;
    loadSystemConfig(*tb.board);
    const QString file = tb.file("KELDTSIP.DAT");
    QString error;
    QStringList entries;
    ASSERT_TRUE(iplist::read(*tb.board, &entries, &error));
    EXPECT_TRUE(entries.isEmpty());
    ASSERT_TRUE(iplist::add(*tb.board, QStringLiteral("10.7.*.0"), &error)) << error.toStdString();
    EXPECT_EQ(tb.read("KELDTSIP.DAT"), TestBoard::ipRecords({"10.7.*.0"}));

    // Another program's torn write leaves a partial record: it is neither listed nor kept.
    tb.write("KELDTSIP.DAT", TestBoard::ipRecords({"1.1.1.1", " ##$$## ", "2.2.2.2"}) + "9.9.9");
    ASSERT_TRUE(iplist::read(*tb.board, &entries, &error));
    EXPECT_EQ(entries, QStringList({"1.1.1.1", "##$$##", "2.2.2.2"}));
    ASSERT_TRUE(iplist::add(*tb.board, QStringLiteral("3.3.3.3"), &error));
    EXPECT_FALSE(iplist::add(*tb.board, QStringLiteral("1000.1000.1000.1"), &error));
    EXPECT_EQ(tb.read("KELDTSIP.DAT"),
              TestBoard::ipRecords({"1.1.1.1", " ##$$## ", "2.2.2.2", "3.3.3.3"}));

    // A removal takes entries already marked deleted with it; a row beyond the list is none.
    for (int row : {2, 2})
        ASSERT_TRUE(iplist::remove(*tb.board, row, &error)) << error.toStdString();
    EXPECT_EQ(tb.read("KELDTSIP.DAT"), TestBoard::ipRecords({"1.1.1.1", "3.3.3.3"}));
    ASSERT_TRUE(iplist::dropIfEmpty(*tb.board, &error));
    EXPECT_TRUE(QFile::exists(file));
    for (int row : {0, 0})
        ASSERT_TRUE(iplist::remove(*tb.board, row, &error));
    EXPECT_TRUE(QFile::exists(file) && QFile(file).size() == 0);
    ASSERT_TRUE(iplist::dropIfEmpty(*tb.board, &error));
    EXPECT_FALSE(QFile::exists(file));
    EXPECT_TRUE(iplist::dropIfEmpty(*tb.board, &error));
    EXPECT_FALSE(iplist::remove(*tb.board, 0, &error));
    EXPECT_FALSE(QFile::exists(file));
}

} // namespace
