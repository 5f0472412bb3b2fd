#include "data/PathDiagnostics.h"

#include "data/records/BoardFiles.h"
#include "support/TestBoard.h"

#include <QDir>

#include <gtest/gtest.h>

namespace {

TEST(PathDiagnosticsTest, MissingDirectoriesAreCountedAndChangedColoursSaid) {
    TestBoard tb;
    tb.loadSettings();
    const Result<PathReport> clean = runPathDiagnostics(*tb.board);
    ASSERT_TRUE(clean.ok()) << clean.error().toStdString();
    EXPECT_TRUE(clean->allWell()) << clean->text.toStdString();
    EXPECT_TRUE(clean->text.endsWith("\r\n---------------------\r\n0 Paths Missing"));

    ASSERT_TRUE(QDir(tb.file("TEXT")).removeRecursively());
    Record named(databaseLayout());
    named.setText("DbFilepath", QStringLiteral("c:\\keld\\nowhere"));
    tb.write("DATABASE.CFG", Record(databaseLayout()).bytes() + named.bytes());
    tb.write("COLOR.CFG", stockColorConfig().chopped(6));
    const Result<PathReport> report = runPathDiagnostics(*tb.board);
    ASSERT_TRUE(report.ok());
    EXPECT_EQ(report->missing, 2);
    EXPECT_TRUE(report->colorsModified);
    EXPECT_TRUE(
        report->text.contains("Testing C:\\KELD\\TEXT............................ Path Missing!\r\n"
                              "Testing C:\\KELD................................. OK\r\n"));
    EXPECT_TRUE(report->text.contains("Database Paths\r\n--------------\r\n"
                                      "Testing C:\\KELD\\NOWHERE......................... Path "
                                      "Missing!\r\n\r\n---------------------\r\n2 Paths Missing"
                                      "\r\n\r\n\r\nOther Diagnostics\r\n"));
    EXPECT_TRUE(report->text.endsWith("main KELD directory."));
}

} // namespace
