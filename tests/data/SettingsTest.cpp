#include "data/RecordFile.h"
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
    // Puts the given KELDTS.CFG fields and MAIN.CFG `maxchannelno` on disk.
    void prepare(std::initializer_list<std::pair<std::string_view, qint16>> fields,
                 qint16 maxChannels = 100) {
        Record c = onDisk();
        for (const auto& [name, value] : fields)
            c.setI16(name, value);
        t.writeRecord(kCfg, c);
        Record m = t.record(mainConfigLayout(), "MAIN.CFG");
        m.setI16("maxchannelno", maxChannels);
        t.writeRecord("MAIN.CFG", m);
    }
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

TEST_F(SettingsTest, AnAbsentServerConfigIsCreatedWithItsDefaults) {
    ASSERT_TRUE(QFile::remove(t.file(kCfg)));
    ASSERT_FALSE(load().fatal);
    const Record disk = onDisk();
    EXPECT_EQ(t.read(kCfg), cfg().bytes());
    EXPECT_EQ(disk.bytes(), newServerConfig(QDate(2026, 3, 14)).bytes());
    expectI16(disk, "autoload=1 autoconfig=1 telnetport=23 updatetype=3 refreshstatsinterval=5");
    EXPECT_EQ(disk.i32("maxlogsize"), 1048576);
    EXPECT_EQ(disk.str("eventbatchdate"), QByteArray("260314"));
    EXPECT_EQ(disk.str("lastupdatecheck"), QByteArray("000000"));
    EXPECT_TRUE(t.dialogs.shown.empty());
}

TEST_F(SettingsTest, AnOlderShortFileKeepsWhatItHoldsAndIsCompletedAtOnce) {
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
    EXPECT_EQ(t.read(kCfg).size(), 148);
    EXPECT_EQ(onDisk().bytes(), cfg().bytes());

    // Five bytes: the low byte of maxconnections is trusted as read, the rest is defaulted.
    t.board->serverConfig.clear();
    t.write(kCfg, QByteArray("\x03\x00\x13\x09\x02", 5));
    ASSERT_FALSE(load().fatal);
    expectI16(cfg(), "startnode=3 telnetport=2323 maxconnections=2 runminimized=1 autoload=0");
    EXPECT_EQ(t.read(kCfg).size(), 148);
}

TEST_F(SettingsTest, OutOfRangeNodesAreCorrectedInMemoryOnly) {
    struct Case {
        qint16 startNode, connections, channels;
        qint16 wantStart, wantConnections;
        const char* box;
    };
    const Case cases[] = {
        {90, 20, 100, 90, 11, nullptr},
        {90, 20, 95, 90, 6, nullptr},
        {99, 5, 100, 99, 2, nullptr},
        {2, 10, 3, 2, 2, nullptr},
        {2, 0, 100, 2, 1, nullptr},
        {3, 4, 150, 3, 4, nullptr}, // maxchannelno above 100 counts as 100
        {5, 3, 2, 5, -2, nullptr},  // not checked again: no node is usable
        {5, 3, -32768, 5, -32768, nullptr},
        {0, 1, 4, 1, 1, "Starting node is less than one!"},
        {100, 2, 100, 1, 2, "Starting node is greater than the maximum number of connections!"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << c.startNode << "/" << c.connections << "/" << c.channels);
        t.dialogs.shown.clear();
        prepare({{"startnode", c.startNode}, {"maxconnections", c.connections}}, c.channels);
        ASSERT_FALSE(load().fatal);
        EXPECT_EQ(cfg().i16("startnode"), c.wantStart);
        EXPECT_EQ(cfg().i16("maxconnections"), c.wantConnections);
        EXPECT_LE(t.board->mainConfig.i16("maxchannelno"), 100);
        EXPECT_EQ(onDisk().i16("startnode"), c.startNode);
        EXPECT_EQ(onDisk().i16("maxconnections"), c.connections);
        if (c.box) {
            ASSERT_EQ(t.dialogs.shown.size(), 1u);
            EXPECT_EQ(t.dialogs.shown[0].title, "KELDTS - Information");
            EXPECT_EQ(t.dialogs.shown[0].text, QLatin1String(c.box));
            EXPECT_EQ(t.dialogs.shown[0].icon, MessageIcon::Information);
        } else {
            EXPECT_TRUE(t.dialogs.shown.empty());
        }
    }
    // The box comes back with every reload until the file is put right.
    ASSERT_FALSE(load().fatal);
    EXPECT_EQ(t.dialogs.shown.size(), 2u);
}

TEST_F(SettingsTest, LogSizeAndNetFossTimesAreCorrected) {
    const std::pair<qint32, qint32> sizes[] = {{500, 1024},  {1, 1024}, {1023, 1024},
                                               {1024, 1024}, {0, 0},    {-5, 1048576}};
    for (const auto& [stored, loaded] : sizes) {
        Record c = onDisk();
        c.setI32("maxlogsize", stored);
        c.setI16("netfosssleep", 0);
        c.setI16("netfossdelay", 0);
        c.setI16("netfossbuffer", 7);
        t.writeRecord(kCfg, c);
        ASSERT_FALSE(load().fatal);
        EXPECT_EQ(cfg().i32("maxlogsize"), loaded) << stored;
        EXPECT_EQ(onDisk().i32("maxlogsize"), stored);
        EXPECT_EQ(cfg().i16("netfosssleep"), 20);
        EXPECT_EQ(cfg().i16("netfossdelay"), 100);
        EXPECT_EQ(cfg().i16("netfossbuffer"), 7);
    }
}

// A missing SYSPATHS.CFG and an unmapped drive are seen end to end.
TEST_F(SettingsTest, FatalErrorsNameTheDirectoryAsTheBoardWroteIt) {
    const auto withMain = [&](const char* main) {
        Record p = t.record(sysPathsLayout(), "SYSPATHS.CFG");
        p.setStr("main", main);
        t.writeRecord("SYSPATHS.CFG", p);
        return load();
    };
    ConfigLoad r = withMain("C:\\NOWHERE");
    EXPECT_TRUE(r.fatal);
    EXPECT_EQ(r.text, "C:\\NOWHERE is an invalid directory! Check your path settings in KConfig.");
    ASSERT_TRUE(QFile::rename(t.file("MAIN.CFG"), t.file("M.CFG")));
    r = withMain("c:\\keld");
    EXPECT_TRUE(r.fatal);
    EXPECT_EQ(r.text, "Cannot find c:\\keld\\MAIN.CFG! Check your path settings in KConfig.");
    ASSERT_TRUE(QFile::rename(t.file("M.CFG"), t.file("main.cfg")));
    EXPECT_FALSE(withMain("c:\\keld").fatal);
    EXPECT_TRUE(t.dialogs.shown.empty());
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
    EXPECT_TRUE(atStart.text.startsWith("Error While Loading KELDTS.CFG: Cannot open ") &&
                atStart.text.endsWith("/KELDTS.CFG: Is a directory"))
        << atStart.text.toStdString();
    t.board->serverState = StateOnline;
    const Record kept = cfg();
    t.pane.clear();
    ASSERT_FALSE(load().fatal);
    EXPECT_EQ(cfg().bytes(), kept.bytes());
    EXPECT_TRUE(t.pane.lines().value(0).startsWith("Error: Error While Loading KELDTS.CFG: "));
    EXPECT_TRUE(t.pane.lines().value(0).endsWith("; the settings in memory stay in force"));
}

// What makes every caller hear "busy", or a start fail, is said with the file it comes from.
TEST_F(SettingsTest, AShortMainConfigAndAnUnreadableIniAreNamed) {
    t.write("MAIN.CFG", t.read("MAIN.CFG").left(200));
    for (int reload = 0; reload < 2; ++reload)
        ASSERT_FALSE(load().fatal);
    EXPECT_EQ(t.pane.lines(), QStringList({"Error: MAIN.CFG holds 200 bytes of its 372: what is "
                                           "missing reads as zero (# Active Channels: 0)"}));

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
    Record edited = t.board->mainConfig;
    edited.setStr("bbsname", "Other Name");
    t.writeRecord("MAIN.CFG", edited);
    EXPECT_EQ(t.read("MAIN.CFG").mid(40), main.bytes().mid(40));

    const QByteArray data = TestBoard::noise(66, 8);
    t.write("KTSDATA.DAT", data);
    writeServerVersion(*t.board);
    const QByteArray after = t.read("KTSDATA.DAT");
    EXPECT_EQ(after.left(21), data.left(21));
    EXPECT_EQ(after.mid(21, 15), QByteArray("2.6.060524     "));
    EXPECT_EQ(after.mid(36), data.mid(36));
    ASSERT_TRUE(QFile::remove(t.file("KTSDATA.DAT")));
    writeServerVersion(*t.board);
    EXPECT_EQ(t.read("KTSDATA.DAT"), QByteArray(21, ' ') + "2.6.060524" + QByteArray(35, ' '));
}

TEST_F(SettingsTest, WindowPositionIsKeptOnlyWhenAskedFor) {
    ASSERT_FALSE(load().fatal);
    const ScreenGeometry g{{1000, 800}, {600, 400}};
    const QString dat = t.file("KELDTS.DAT");
    t.write("KELDTS.DAT", QByteArray(12, '\x01'));
    WindowPlacement p = loadWindowState(*t.board, g);
    EXPECT_FALSE(QFile::exists(dat));
    EXPECT_EQ(p.topLeft, QPoint(200, 200));
    t.write("KELDTS.DAT", QByteArray(12, '\x01'));
    saveWindowState(*t.board, {5, 5}, g);
    EXPECT_FALSE(QFile::exists(dat));

    cfg().setI16("savewindowpos", 1);
    p = loadWindowState(*t.board, g);
    EXPECT_EQ(t.read("KELDTS.DAT").size(), 12);
    saveWindowState(*t.board, {30, -399}, g); // x = left, y = top; still partly on the screen
    t.board->windowState.setI16("panelshrunk", 1);
    saveWindowState(*t.board, {5000, 10}, g); // off the screen: the old place is kept
    p = loadWindowState(*t.board, g);
    EXPECT_EQ(p.topLeft, QPoint(30, -399));
    EXPECT_TRUE(p.panelShrunk);
    EXPECT_EQ(p.formWidth, kShrunkFormWidth);
    Record far(windowStateLayout());
    far.setI32("windowtop", 801);
    t.writeRecord("KELDTS.DAT", far);
    EXPECT_EQ(loadWindowState(*t.board, g).topLeft, QPoint(200, 200));
}

} // namespace
