#include "console/ConsoleViews.h"

#include "data/RecordFile.h"
#include "data/records/BoardFiles.h"
#include "support/TestBoard.h"

#include <gtest/gtest.h>

namespace {

class ConsoleViewsTest : public ::testing::Test {
  protected:
    void SetUp() override { tb.loadSettings(); }
    TestBoard tb;
};

TEST_F(ConsoleViewsTest, TodaysCallersAreTheListsWithoutTheirColourCodes) {
    const QString head = views::todaysCallers(*tb.board);
    EXPECT_TRUE(head.startsWith("Keldoran Today's Callers\r\n" + QString(32, '-') + "\r\n\r\n"));
    EXPECT_TRUE(head.endsWith("---------\r\n"));
    tb.write("DATA/CALLERS.LST", "\x03"
                                 "1     1 Fred\r\n\x03");
    tb.write("DATA/NETCALLS.LST", "    2 \x03"
                                  "7Net\r\n");
    EXPECT_TRUE(
        views::todaysCallers(*tb.board).endsWith("---------\r\n     1 Fred\r\n\r\n    2 Net\r\n"));
}

// Node 0 and the last node count; a blank or waiting node does not; the web's callers of the
// last fifteen minutes follow, those with no time left dropped.
TEST_F(ConsoleViewsTest, WhosOnlineListsTheNodesWithACallerAndTheWebsRecentOnes) {
    tb.setNodeAction(0, "Local Sysop", "Sysop", 1);
    tb.setNodeAction(1, "Waiting...");
    tb.setNodeAction(2, "", "Ghost", 9);
    tb.setNodeAction(4, "Reading Mail", "Fred", 12);
    Record fred(controlLayout());
    ASSERT_TRUE(recordfile::read(tb.file("CONTROL.DAT"), 5, fred).ok());
    fred.setI32("baud", 11520);
    ASSERT_TRUE(recordfile::write(tb.file("CONTROL.DAT"), 5, fred).ok());
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    tb.clock.set(QDateTime::fromSecsSinceEpoch(now));
    QByteArray web;
    for (const auto& [handle, age] : {std::pair{"zed", 100}, std::pair{"amy", 900}}) {
        Record caller(webCallerLayout());
        caller.setText("webplace", QStringLiteral("Home"));
        caller.setText("webfrom", QStringLiteral("10.0.0.1"));
        caller.setText("webtime", QString::number(now - age));
        caller.setI16("webuser", 3);
        caller.setText("webhandle", QLatin1String(handle));
        caller.setText("webactivity", QStringLiteral("Browsing"));
        web += caller.bytes();
    }
    tb.write("DATA/WEBCALLER.LST", web);

    const QString text = views::whosOnline(*tb.board);
    EXPECT_TRUE(text.startsWith("Keldoran Who's Online\r\n" + QString(29, '-') + "\r\n"));
    EXPECT_TRUE(text.endsWith(
        "-------- --------\r\n"
        "   0      1 Sysop                            Local Sysop              Local   \r\n"
        "   4     12 Fred                             Reading Mail             115200  \r\n"
        "\r\n"
        " Web      3 zed                              Browsing                 KELD-WEB : 10.0.0.1 "
        "       "
        "Home 800"))
        << text.toStdString();
    EXPECT_EQ(views::viewText(*tb.board, "log bbs.log"), "File Not Found.");
}

} // namespace
