#include "data/PathDiagnostics.h"

#include "data/DosReach.h"

#include "data/SettingsRecords.h"
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

TEST(PathWarningTest, ShownAndNotedOnceWhenDosProgramsCannotReachTheMainDirectory) {
    TestBoard tb;
    tb.loadSettings();
    const auto pathWarned = [&] {
        return tb.record(serverConfigLayout(), QStringLiteral("KELDTS.CFG")).i16("pathwarned");
    };
    tb.setServerFlag("pathwarned", 0);
    tb.board->serverConfig.setI16("pathwarned", 0);
    QStringList shown;
    const auto show = [&](const QString& title, const QString& text) { shown << title << text; };

    tb.board->platform.dosRun = QStringLiteral("/bin/sh {batch}");
    showPathWarning(*tb.board, show);
    EXPECT_TRUE(shown.isEmpty());
    EXPECT_EQ(pathWarned(), 0) << "a board within reach is tested again at the next start";

    tb.board->platform.dosRun.clear();
    showPathWarning(*tb.board, show);
    ASSERT_EQ(shown.size(), 2);
    EXPECT_EQ(shown[0], "KELD - Path Information");
    const QString root = tb.board->platform.drives.directoryOf('C');
    const QString checked =
        QStringLiteral("What was checked:\r\n"
                       "  Main directory %1/KELD is C:\\KELD: drive C: is %1 in [Drives] of "
                       "KELDTS.INI.\r\n"
                       "  DOS runner: none, [Dos] run= of KELDTS.INI is empty.\r\n\r\n")
            .arg(root);
    EXPECT_TRUE(shown[1].contains(checked)) << shown[1].toStdString();
    EXPECT_EQ(pathWarned(), 1);

    // The report says the same, and what is missing.
    tb.board->platform.dosRun = QStringLiteral("no-such-dos-runner -c {batch}");
    const Result<PathReport> report = runPathDiagnostics(*tb.board);
    ASSERT_TRUE(report.ok());
    EXPECT_TRUE(report->text.contains(
        QStringLiteral("DOS Programs\r\n------------\r\nMain directory %1/KELD is C:\\KELD")
            .arg(root)));
    EXPECT_TRUE(report->text.contains(
        "DOS runner: run=no-such-dos-runner -c {batch}, but no-such-dos-runner is not on the "
        "search path (PATH).\r\n\r\nDatabase Paths"))
        << report->text.toStdString();
    const DosReach outside = checkDosReach(*tb.board, QStringLiteral("/usr"));
    EXPECT_FALSE(outside.reachable);
    EXPECT_EQ(outside.checked.first(),
              "Main directory /usr is on no drive of [Drives] in KELDTS.INI.");
}

} // namespace
