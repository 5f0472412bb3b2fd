#include "server/IpList.h"

#include "data/TableModel.h"
#include "support/TestBoard.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

TEST(IpListEntryTest, PartsAreNumbersOrWildcardsAndNoneMayBeBlank) {
    using Parts = std::array<QString, 4>;
    EXPECT_EQ(iplist::entryFromParts(Parts{"010", " 7 ", "*", "000"}), "10.7.*.0");
    EXPECT_EQ(iplist::entryFromParts(Parts{"999", "1", " * ", "12x"}), "999.1.*.12");
    EXPECT_EQ(iplist::entryFromParts(Parts{"1", "1", "1", "  "}), QString());
    EXPECT_FALSE(iplist::recordOf(QStringLiteral("1000.1000.1000.1")).ok());
}

// The list is the record table model over KELDTSIP.DAT: its rows follow the file through
// appends and compactions, and what it announces to views is checked by Qt's model tester.
TEST(IpListTest, RowsFollowTheFileThroughAppendsAndRemovals) {
    TestBoard tb;
    tb.loadSettings();
    const QString file = tb.file("KELDTSIP.DAT");
    TableModel list(std::make_unique<RecordFileRows>(*tb.board, iplist::table()),
                    [](const Record& r, int, int) { return r.text("address"); });
    QAbstractItemModelTester tester(&list, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QSignalSpy inserted(&list, &QAbstractItemModel::rowsInserted);
    QSignalSpy removed(&list, &QAbstractItemModel::rowsRemoved);
    QSignalSpy reset(&list, &QAbstractItemModel::modelReset);
    ASSERT_TRUE(list.reload().ok());
    EXPECT_EQ(list.rowCount(), 0);
    ASSERT_TRUE(list.append(iplist::recordOf(QStringLiteral("10.7.*.0")).value()).ok());
    EXPECT_EQ(tb.read("KELDTSIP.DAT"), TestBoard::ipRecords({"10.7.*.0"}));
    EXPECT_EQ(inserted.count(), 1);

    // Another program's torn write leaves a partial record: it is neither listed nor kept.
    tb.write("KELDTSIP.DAT", TestBoard::ipRecords({"1.1.1.1", " ##$$## ", "2.2.2.2"}) + "9.9.9");
    ASSERT_TRUE(list.reload().ok());
    EXPECT_EQ(list.data(list.index(1)).toString(), "##$$##");
    ASSERT_TRUE(iplist::add(*tb.board, QStringLiteral("3.3.3.3")).ok());
    EXPECT_EQ(tb.read("KELDTSIP.DAT"),
              TestBoard::ipRecords({"1.1.1.1", " ##$$## ", "2.2.2.2", "3.3.3.3"}));

    // A removal takes entries already marked deleted with it. The list did not know of the
    // added entry, so what it shows afterwards comes as a reset, not as one row gone.
    reset.clear();
    ASSERT_TRUE(list.remove(2).ok());
    EXPECT_EQ(tb.read("KELDTSIP.DAT"), TestBoard::ipRecords({"1.1.1.1", "3.3.3.3"}));
    EXPECT_EQ(reset.count(), 1);
    ASSERT_TRUE(list.remove(1).ok());
    EXPECT_EQ(removed.count(), 1);
    EXPECT_EQ(list.rowCount(), 1);
    ASSERT_TRUE(iplist::dropIfEmpty(*tb.board).ok());
    EXPECT_TRUE(QFile::exists(file));
    ASSERT_TRUE(list.remove(0).ok());
    EXPECT_TRUE(QFile::exists(file) && QFile(file).size() == 0);
    ASSERT_TRUE(iplist::dropIfEmpty(*tb.board).ok());
    EXPECT_FALSE(QFile::exists(file));
    EXPECT_TRUE(iplist::dropIfEmpty(*tb.board).ok());
}

} // namespace
