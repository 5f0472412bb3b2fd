#include "data/SettingsRecords.h"
#include "data/SystemConfig.h"
#include "data/WindowState.h"
#include "platform/PlatformSettings.h"
#include "support/TestBoard.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

const QString kCfg = QStringLiteral("KELDTS.CFG");

class SettingsTest : public ::testing::Test {
  protected:
    ConfigLoad load() { return loadSystemConfig(*t.board); }
    Record& cfg() { return t.board->serverConfig; }
    Record onDisk() { return t.record(serverConfigLayout(), kCfg); }
    // Checks the i16 fields of `r` against "name=value name=value ...".
    static void expectI16(const Record& r, const QByteArray& want) {
        for (const QByteArray& pair : want.split(' ')) {
            const qsizetype at = pair.indexOf('=');
            EXPECT_EQ(r.i16(std::string_view(pair.constData(), at)), pair.mid(at + 1).toInt())
                << pair.constData();
        }
    }

    TestBoard t;
};

TEST_F(SettingsTest, AnAbsentServerConfigIsCreatedWithItsDefaultsAndAShortOneCompleted) {
    ASSERT_TRUE(QFile::remove(t.file(kCfg)));
    ASSERT_FALSE(load().fatal);
    EXPECT_EQ(t.read(kCfg), cfg().bytes());
    EXPECT_EQ(cfg().bytes(), newServerConfig(QDate(2026, 3, 14)).bytes());
    expectI16(cfg(), "autoload=1 autoconfig=1 telnetport=23 updatetype=3 refreshstatsinterval=5");
    EXPECT_EQ(cfg().i32("maxlogsize"), 1048576);
    EXPECT_EQ(cfg().str("eventbatchdate"), QByteArray("260314"));
    EXPECT_EQ(cfg().str("lastupdatecheck"), QByteArray("000000"));
    EXPECT_TRUE(t.dialogs.shown.empty());

    // An older, shorter file keeps what it holds and is completed at once.
    Record old = onDisk();
    old.setI16("telnetport", 2323);
    old.setI32("maxlogsize", 5000);
    old.setI16("keldevents", 1);
    t.write(kCfg, old.bytes().left(116));
    ASSERT_FALSE(load().fatal);
    EXPECT_EQ(cfg().i32("maxlogsize"), 5000);
    // An upgrade keeps the node handling the board had, where a new install gets the new one.
    expectI16(cfg(), "telnetport=2323 keldevents=1 autoload=0 autoconfig=0 netfosssleep=20 "
                     "netfossbuffer=100 updatetype=3");
    EXPECT_EQ(cfg().str("lastupdatecheck"), QByteArray("000000"));
    EXPECT_EQ(t.read(kCfg), cfg().bytes());

    // Five bytes: the low byte of maxconnections is trusted as read, the rest is defaulted.
    t.board->serverConfig.clear();
    t.write(kCfg, QByteArray("\x03\x00\x13\x09\x02", 5));
    ASSERT_FALSE(load().fatal);
    expectI16(cfg(), "startnode=3 telnetport=2323 maxconnections=2 runminimized=1 autoload=0");
    EXPECT_EQ(t.read(kCfg).size(), 148);
}

TEST_F(SettingsTest, OutOfRangeNodesLogSizesAndNetFossTimesAreCorrectedInMemoryOnly) {
    struct Case {
        qint16 startNode, connections, channels, wantStart, wantConnections;
        qint32 logSize, wantLogSize;
        const char* box;
    };
    const Case cases[] = {
        {90, 20, 100, 90, 11, 1, 1024, nullptr},
        {90, 20, 95, 90, 6, 1023, 1024, nullptr},
        {2, 0, 100, 2, 1, 1024, 1024, nullptr},
        {3, 4, 150, 3, 4, 0, 0, nullptr},       // maxchannelno above 100 counts as 100
        {5, 3, 2, 5, -2, -5, 1048576, nullptr}, // not checked again: no node is usable
        {5, 3, -32768, 5, -32768, 5000, 5000, nullptr},
        {0, 1, 4, 1, 1, 5000, 5000, "Starting node is less than one!"},
        {100, 2, 100, 1, 2, 5000, 5000,
         "Starting node is greater than the maximum number of connections!"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        t.dialogs.shown.clear();
        // The case's values, and no NetFoss times, on disk.
        Record written = onDisk();
        written.setI16("startnode", c.startNode);
        written.setI16("maxconnections", c.connections);
        written.setI32("maxlogsize", c.logSize);
        written.setI16("netfosssleep", 0);
        written.setI16("netfossdelay", 0);
        written.setI16("netfossbuffer", 7);
        t.writeRecord(kCfg, written);
        Record main = t.record(mainConfigLayout(), "MAIN.CFG");
        main.setI16("maxchannelno", c.channels);
        t.writeRecord("MAIN.CFG", main);
        ASSERT_FALSE(load().fatal);
        EXPECT_EQ(cfg().i16("startnode"), c.wantStart);
        EXPECT_EQ(cfg().i16("maxconnections"), c.wantConnections);
        EXPECT_EQ(cfg().i32("maxlogsize"), c.wantLogSize);
        expectI16(cfg(), "netfosssleep=20 netfossdelay=100 netfossbuffer=7");
        EXPECT_LE(t.board->mainConfig.i16("maxchannelno"), 100);
        EXPECT_EQ(onDisk().bytes(), written.bytes());
        ASSERT_EQ(t.dialogs.shown.size(), c.box ? 1u : 0u);
        EXPECT_EQ(c.box ? t.dialogs.shown[0].text : QString(), QString::fromLatin1(c.box));
    }
    // The box comes back with every reload until the file is put right.
    ASSERT_FALSE(load().fatal);
    EXPECT_EQ(t.dialogs.shown.size(), 2u);
}

TEST_F(SettingsTest, DamagedFilesNeverStopTheLoad) {
    for (qsizetype size = 0; size <= 300; size += (size < 160 ? 1 : 47)) {
        SCOPED_TRACE(size);
        t.write(kCfg, TestBoard::noise(size, quint32(size)));
        t.write("MAIN.CFG", TestBoard::noise((size * 7) % 500, quint32(size) + 1000));
        ASSERT_FALSE(load().fatal);
        const Record& c = cfg();
        const int start = c.i16("startnode");
        EXPECT_TRUE(start >= 1 && start <= 99);
        EXPECT_LE(start + c.i16("maxconnections") - 1,
                  std::max(start, int(t.board->mainConfig.i16("maxchannelno"))));
        EXPECT_TRUE(c.i32("maxlogsize") == 0 || c.i32("maxlogsize") >= 1024);
        EXPECT_NE(c.i16("netfosssleep"), 0);
        EXPECT_EQ(t.read(kCfg).size(), std::max<qsizetype>(size, 148));
    }
    // A settings file that cannot be read stops a start, naming it and why; a running server
    // keeps the settings it has and says so.
    ASSERT_TRUE(QFile::remove(t.file(kCfg)));
    ASSERT_TRUE(QDir().mkdir(t.file(kCfg)));
    const ConfigLoad atStart = load();
    EXPECT_TRUE(atStart.fatal);
    EXPECT_EQ(atStart.text,
              "Error While Loading KELDTS.CFG: Cannot open " + t.file(kCfg) + ": Is a directory");
    t.board->serverState = StateOnline;
    const Record kept = cfg();
    t.pane.clear();
    ASSERT_FALSE(load().fatal);
    EXPECT_EQ(cfg().bytes(), kept.bytes());
    EXPECT_EQ(t.pane.lines().value(0),
              "Error: " + atStart.text + "; the settings in memory stay in force");
}

// What makes callers hear "busy", or a start fail, is said with the file it comes from, as the
// board wrote it (a missing SYSPATHS.CFG and an unmapped drive are seen end to end).
TEST_F(SettingsTest, FaultsAreNamedWithTheFileTheyComeFrom) {
    t.write("MAIN.CFG", t.read("MAIN.CFG").left(200));
    for (int reload = 0; reload < 2; ++reload)
        ASSERT_FALSE(load().fatal);
    EXPECT_EQ(t.pane.lines(), QStringList({"Error: MAIN.CFG holds 200 bytes of its 372: what is "
                                           "missing reads as zero (# Active Channels: 0)"}));

    // The load's fatal text with SYSPATHS.CFG's main directory set to `main`, or nothing.
    const auto withMain = [&](const char* main) {
        Record p = t.record(sysPathsLayout(), "SYSPATHS.CFG");
        p.setStr("main", main);
        t.writeRecord("SYSPATHS.CFG", p);
        const ConfigLoad r = load();
        return r.fatal ? r.text : QString();
    };
    EXPECT_EQ(withMain("C:\\NOWHERE"),
              "C:\\NOWHERE is an invalid directory! Check your path settings in KConfig.");
    ASSERT_TRUE(QFile::rename(t.file("MAIN.CFG"), t.file("M.CFG")));
    EXPECT_EQ(withMain("c:\\keld"),
              "Cannot find c:\\keld\\MAIN.CFG! Check your path settings in KConfig.");
    ASSERT_TRUE(QFile::rename(t.file("M.CFG"), t.file("main.cfg")));
    EXPECT_EQ(withMain("c:\\keld"), QString());
    EXPECT_TRUE(t.dialogs.shown.empty());

    ASSERT_TRUE(QDir().mkdir(t.file("OTHER.INI")));
    t.board->platform = readPlatformSettings(t.file("OTHER.INI"));
    EXPECT_EQ(load().text, "Cannot use " + t.file("OTHER.INI") + ": it is a directory, not a file");
    t.board->platform = readPlatformSettings(t.file("NONE.INI"));
    Record paths = t.record(sysPathsLayout(), "SYSPATHS.CFG");
    ASSERT_TRUE(QFile::remove(t.file("SYSPATHS.CFG")));
    t.writeRecord("syspaths.cfg", paths); // found whatever its case, as DOS names are
    EXPECT_TRUE(load().text.endsWith("of KELDTS.INI. (there is no " + t.file("NONE.INI") + ")"));
}

TEST_F(SettingsTest, SharedRecordsKeepTheNodeProgramsBytes) {
    Record main(mainConfigLayout());
    main.bytes() = TestBoard::noise(372);
    main.setI16("maxchannelno", 4);
    main.setStr("netlowtime", "22:00");
    main.setStr("nethightime", "06:00");
    t.writeRecord("MAIN.CFG", main);
    ASSERT_FALSE(load().fatal);
    t.writeRecord("MAIN.CFG", t.board->mainConfig);
    EXPECT_EQ(t.read("MAIN.CFG"), main.bytes());

    const QByteArray data = TestBoard::noise(66, 8);
    t.write("KTSDATA.DAT", data);
    writeServerVersion(*t.board);
    EXPECT_EQ(t.read("KTSDATA.DAT"), QByteArray(data).replace(21, 15, "2.6.060524     "));
    ASSERT_TRUE(QFile::remove(t.file("KTSDATA.DAT")));
    writeServerVersion(*t.board);
    EXPECT_EQ(t.read("KTSDATA.DAT"), QByteArray(21, ' ') + "2.6.060524" + QByteArray(35, ' '));
}

TEST_F(SettingsTest, WindowPositionIsKeptOnlyWhenAskedFor) {
    ASSERT_FALSE(load().fatal);
    const ScreenGeometry g{{1000, 800}, {600, 400}};
    t.write("KELDTS.DAT", QByteArray(12, '\x01'));
    EXPECT_EQ(loadWindowState(*t.board, g).topLeft, QPoint(200, 200));
    EXPECT_FALSE(QFile::exists(t.file("KELDTS.DAT")));
    t.write("KELDTS.DAT", QByteArray(12, '\x01'));
    saveWindowState(*t.board, {5, 5}, g);
    EXPECT_FALSE(QFile::exists(t.file("KELDTS.DAT")));

    cfg().setI16("savewindowpos", 1);
    loadWindowState(*t.board, g);
    EXPECT_EQ(t.read("KELDTS.DAT").size(), 12);
    saveWindowState(*t.board, {30, -399}, g); // x = left, y = top; still partly on the screen
    t.board->windowState.setI16("panelshrunk", 1);
    saveWindowState(*t.board, {5000, 10}, g); // off the screen: the old place is kept
    const WindowPlacement p = loadWindowState(*t.board, g);
    EXPECT_EQ(p.topLeft, QPoint(30, -399));
    EXPECT_TRUE(p.panelShrunk);
    EXPECT_EQ(p.formWidth, kShrunkFormWidth);
    Record far(windowStateLayout());
    far.setI32("windowtop", 801);
    t.writeRecord("KELDTS.DAT", far);
    EXPECT_EQ(loadWindowState(*t.board, g).topLeft, QPoint(200, 200));
}

} // namespace
