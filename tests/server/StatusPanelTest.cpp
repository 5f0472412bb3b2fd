#include "server/StatusPanel.h"

#include "data/WaitingMail.h"
#include "support/FakeFace.h"
#include "support/TestBoard.h"

#include <QFile>
#include <QtEndian>

#include <gtest/gtest.h>

namespace {

class StatusPanelTest : public ::testing::Test {
  protected:
    void SetUp() override { tb.loadSettings(); }
    void setCalls(qint32 total) {
        Record r(statisticsLayout());
        r.setI32("callstotal", total);
        tb.writeRecord("DATA/STATKBBS.DAT", r);
    }
    static QByteArray mail(int to, int state, int read, int flag) {
        Record r(mailLayout());
        r.setI32("touser", to);
        r.setI16("mailstate", qint16(state));
        r.setI16("mailread", qint16(read));
        r.setI32("mailflag", flag);
        return r.bytes();
    }
    qsizetype resets() const { return tb.read("KELDTS.LOG").count("STATKBBS.DAT Reset"); }

    TestBoard tb{0};
    FakeFace face;
    bool nodeInUse = false;
    StatusPanel panel{*tb.board, tb.logs, face, [this] { return nodeInUse; }};
};

// Fourteen figures from fixed places: every four-byte slot holds a different number, so a
// figure read from the wrong place shows.
TEST_F(StatusPanelTest, FiguresAreReadFromTheirPlacesInTheRecord) {
    QByteArray record(88, '\0');
    for (int slot = 0; slot < 22; ++slot)
        qToLittleEndian<qint32>(1000 + slot, record.data() + 4 * slot);
    tb.write("DATA/STATKBBS.DAT", record);
    panel.showStatistics();
    const QJsonObject figures = panel.toJson()["statistics"].toObject();
    const std::map<QString, std::pair<int, int>> expected{
        {"calls", {1001, 1000}},     {"nets", {1003, 1002}},    {"activity", {1005, 1004}},
        {"downloads", {1012, 1011}}, {"uploads", {1014, 1013}}, {"posts", {1016, 1015}},
        {"emails", {1018, 1017}}};
    ASSERT_EQ(figures.size(), 7);
    for (const auto& [name, todayTotal] : expected) {
        EXPECT_EQ(figures[name]["today"].toInt(), todayTotal.first) << name.toStdString();
        EXPECT_EQ(figures[name]["total"].toInt(), todayTotal.second) << name.toStdString();
    }
}

// A total that goes backwards is a reset: the backup comes back if there is one, else the
// reset stands. Either way it is said once, not at every later pass.
TEST_F(StatusPanelTest, AResetFileIsRestoredFromItsBackupOrAcceptedAndSaidOnce) {
    for (const bool withBackup : {true, false}) {
        SCOPED_TRACE(withBackup);
        setCalls(100);
        panel.guardStatistics(); // passes and backs the record up
        EXPECT_EQ(QFile(tb.file("DATA/STATKBBS.BAK")).size(), 88);
        if (!withBackup)
            QFile::remove(tb.file("DATA/STATKBBS.BAK"));
        const qsizetype before = resets();
        setCalls(0);
        panel.guardStatistics();
        panel.guardStatistics();
        EXPECT_EQ(resets(), before + 1);
        EXPECT_EQ(tb.lastLogEntry(),
                  withBackup ? "STATKBBS.DAT Reset; Backup was restored."
                             : "STATKBBS.DAT Reset; No backup was available to restore.");
        EXPECT_EQ(tb.record(statisticsLayout(), "DATA/STATKBBS.DAT").i32("callstotal"),
                  withBackup ? 100 : 0);
    }
}

TEST_F(StatusPanelTest, IdleMinutesCountOnlyOnAnIdleBoardAndNotAtMidnight) {
    QByteArray record = TestBoard::noise(88);
    tb.write("DATA/STATKBBS.DAT", record);
    panel.countIdleMinute();
    nodeInUse = true;
    panel.countIdleMinute();
    nodeInUse = false;
    tb.clock.set(QDateTime(QDate(2026, 3, 15), QTime(0, 0, 30)));
    panel.countIdleMinute();
    Record expected(statisticsLayout(), record, 0);
    for (const char* field : {"idletotal", "idletoday"})
        expected.setI32(field, expected.i32(field) + 1);
    EXPECT_EQ(tb.read("DATA/STATKBBS.DAT"), expected.bytes());
}

TEST_F(StatusPanelTest, SizesTakeTheirOwnUnitsAndRoundHalfToEven) {
    EXPECT_EQ(sizeText(0), "0");
    EXPECT_EQ(sizeText(512), "512B");
    EXPECT_EQ(sizeText(1536), "1.5KB");
    EXPECT_EQ(sizeText(1179648), "1.12MB"); // 1.125
    EXPECT_EQ(sizeText(1441792), "1.38MB"); // 1.375
    EXPECT_EQ(sizeText(qint64(3) << 30), "3GB");
    EXPECT_EQ(sizeText(qint64(5) << 50), "5120TB");
}

// "C X D": X has no drive here and keeps its row empty; the rows are not closed up.
TEST_F(StatusPanelTest, DriveRowsFollowTheLettersAndTurnRedAtFivePercent) {
    tb.board->platform.drives.map('D', "/elsewhere");
    tb.board->mainConfig.setText("wfcdrives", " CXD");
    const qint64 total = qint64(4) << 30;
    panel.setDriveProbe([&](const QString& dir) {
        return dir == "/elsewhere" ? StatusPanel::DriveSpace{total, 512}
                                   : StatusPanel::DriveSpace{1000, 59};
    });
    panel.showDriveList();
    const auto& rows = panel.view().drives;
    EXPECT_EQ(tb.board->mainConfig.str("wfcdrives"), "CXD");
    EXPECT_EQ(rows[0].driveText + rows[0].percentText, "C:5%");
    EXPECT_TRUE(rows[0].low);
    EXPECT_FALSE(rows[1].shown());
    EXPECT_EQ(rows[2].driveText + rows[2].totalText + " " + rows[2].freeText, "D:4GB 512B");
    EXPECT_FALSE(rows[3].shown());
    EXPECT_FALSE(driveRow('C', 1000, 60).low);
    EXPECT_EQ(driveRow('C', 1000, 60).percentText, "6%");
}

TEST_F(StatusPanelTest, EachAlertLightsWhenItsFileAppearsAndThePagerTurnsOverAndSaysSo) {
    const auto alerts = [&] {
        panel.refresh();
        const StatusPanelView& v = panel.view();
        return std::string{v.feedback ? 'F' : '-', v.files ? 'U' : '-', v.validate ? 'V' : '-',
                           v.pager ? 'P' : '-'};
    };
    EXPECT_EQ(alerts(), "----");
    // Each near miss fails one test of waiting feedback.
    tb.write("DB/EMAIL.DAT", mail(2, 1, 0, 0) + mail(1, 0, 0, 0) + mail(1, 1, 1, 0) +
                                 mail(1, 1, 0, 9) + mail(1, 1, 0, 0) + mail(1, 1, 0, 0).left(500));
    EXPECT_EQ(countWaitingMail(*tb.board, 1).value(), 1);
    tb.write("DB/UPLOADS.DAT", mail(0, 0, 1, 0));
    EXPECT_EQ(alerts(), "F---");
    tb.write("DB/UPLOADS.DAT", mail(0, 0, 1, 0) + mail(0, 0, 0, 0));
    tb.write("DATA/VALIDATE.0", "x");
    panel.togglePager();
    EXPECT_EQ(tb.read("PAGER.FLG"), "On\r\n");
    EXPECT_EQ(alerts(), "FUVP");
    panel.togglePager();
    EXPECT_FALSE(QFile::exists(tb.file("PAGER.FLG")));
    EXPECT_EQ(tb.pane.lines(),
              QStringList({"12:00:00 : SysOp is Available", "12:00:00 : SysOp is Not Available"}));
}

// An empty file of a listed network is done with and goes; the local one and unlisted ones
// stay.
TEST_F(StatusPanelTest, ValidationLooksAtListedNetworksAndTidiesTheirEmptyFiles) {
    tb.write("DATA/NETWORKS.LST", "no comma here\r\n3,1,Three\r\n5,4,Five\r\n");
    for (const char* empty : {"VALIDATE.0", "VALIDATE.3", "validate.7"})
        tb.write(QStringLiteral("DATA/") + empty, {});
    tb.write("DATA/VALIDATE.5", "waiting");
    panel.showAlertIcons();
    EXPECT_TRUE(panel.view().validate);
    EXPECT_FALSE(QFile::exists(tb.file("DATA/VALIDATE.3")));
    EXPECT_TRUE(QFile::exists(tb.file("DATA/VALIDATE.0")) &&
                QFile::exists(tb.file("DATA/validate.7")));
    QFile::remove(tb.file("DATA/VALIDATE.5"));
    panel.showAlertIcons();
    EXPECT_FALSE(panel.view().validate);
}

TEST_F(StatusPanelTest, TheRefreshFollowsItsIntervalAndMaintenance) {
    // How many ticks until the panel is shown again; 0 for none in a hundred.
    const auto ticksToRefresh = [&](void (StatusPanel::*tick)()) {
        const int before = face.panelsShown;
        for (int n = 1; n <= 100; ++n) {
            (panel.*tick)();
            if (face.panelsShown > before)
                return n;
        }
        return 0;
    };
    tb.board->serverConfig.setI16("refreshstatsinterval", 0);
    EXPECT_EQ(ticksToRefresh(&StatusPanel::countRefreshMinute), 0);
    tb.board->serverConfig.setI16("refreshstatsinterval", 2);
    EXPECT_EQ(ticksToRefresh(&StatusPanel::countRefreshMinute), 2);
    panel.countRefreshMinute();
    panel.maintenanceStarted(); // the minutes start over
    EXPECT_EQ(ticksToRefresh(&StatusPanel::countMaintenanceSecond), 29);
    EXPECT_EQ(ticksToRefresh(&StatusPanel::countRefreshMinute), 2);
}

TEST_F(StatusPanelTest, TheTimeZoneFollowsTheMachineIntoMainCfg) {
    EXPECT_EQ(timeZoneText(300), "-0500");
    EXPECT_EQ(timeZoneText(-330), "+0530");
    EXPECT_EQ(timeZoneText(0), "+0000");
    tb.board->serverConfig.setI16("monitortimezone", 1);
    tb.clock.set(QDateTime(QDate(2026, 3, 14), QTime(12, 2), Qt::OffsetFromUTC, 3600));
    panel.watchTimeZone();
    EXPECT_EQ(tb.board->mainConfig.text("timezone"), "UTC+0");
    tb.clock.set(QDateTime(QDate(2026, 3, 14), QTime(12, 31), Qt::OffsetFromUTC, 3600));
    panel.watchTimeZone();
    panel.updateTimeZone();
    EXPECT_EQ(tb.record(mainConfigLayout(), "MAIN.CFG").text("timezone"), "+0100");
    EXPECT_EQ(tb.pane.lines(), QStringList{"12:31:00 : KELD Timezone Updated (+0100)"});
    EXPECT_EQ(tb.lastLogEntry(), "KELD Timezone Updated (+0100)");
}

TEST_F(StatusPanelTest, TitleTipAndOptionalMenusSayWhatIsThere) {
    EXPECT_EQ(mainCaption(" KELD Demo ", 1), "KELDTS - KELD Demo (1 Node)");
    tb.board->serverState = StateOffline;
    tb.board->startTime = tb.clock.now().addSecs(-90061);
    EXPECT_EQ(panel.trayTip(), "KELDTS - Offline\r\nSysOp Pager: Off\r\nUptime: 1d 1h 1m 1s");
    tb.write("keldchat.exe", {});
    panel.updateOptionalMenus();
    EXPECT_EQ(face.menus, (QMap<QString, bool>{{"mnuSettingsOrne", false},
                                               {"mnuSettingsKeldconfigIrc", true},
                                               {"mnuViewKeldmailLog", false},
                                               {"mnuViewKeldchatLog", true},
                                               {"mnuViewKeldwebLog", false},
                                               {"mnuViewKSyncerLog", false}}));
}

} // namespace
