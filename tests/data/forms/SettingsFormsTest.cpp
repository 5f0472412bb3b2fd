// The settings forms' own rules, on a demo board: what each adds to the record-and-form core.

#include "data/forms/ChannelForm.h"
#include "data/forms/MainConfigForm.h"
#include "data/forms/PathsForm.h"
#include "data/forms/ServerConfigForm.h"
#include "data/records/BoardFiles.h"
#include "support/TestBoard.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>

#include <gtest/gtest.h>

namespace {

class SettingsFormsTest : public ::testing::Test {
  protected:
    SettingsFormsTest() {
        board.loadSettings();
        board.board->serverConfig.setI16("autoconfig", 0);
    }
    template <typename T> static T* find(QWidget& form, const char* name) {
        T* found = form.findChild<T*>(QLatin1String(name));
        EXPECT_NE(found, nullptr) << name;
        return found;
    }
    static QLineEdit* box(QWidget& form, const char* field) { return find<QLineEdit>(form, field); }
    static void retype(QWidget& form, const char* field, const QString& text) {
        box(form, field)->clear();
        QTest::keyClicks(box(form, field), text);
    }
    static void click(QWidget& form, const char* name) { find<QPushButton>(form, name)->click(); }
    // Loads a form as the menu does and shows it; false when it refused to open.
    static bool start(RecordDialog& form) { return form.loadRecord() && (form.show(), true); }
    Record stored(const RecordLayout& layout, int number = 1) const {
        return Record(layout, board.read(layout.nameOf()), qsizetype(number - 1) * layout.length);
    }

    TestBoard board;
};

TEST_F(SettingsFormsTest, ServerConfigEnablesBySwitchesLocksThePortCapsTheNodesAndSaysAFailedSave) {
    const QByteArray before = board.read("KELDTS.CFG");
    const Record memory = board.board->serverConfig;
    ServerConfigForm idle(*board.board, false);
    ASSERT_TRUE(start(idle));
    find<QCheckBox>(idle, "autoload")->setChecked(false);
    EXPECT_FALSE(idle.editor()->control("netfossbuffer")->isEnabled());
    EXPECT_FALSE(idle.editor()->label("netfossbuffer")->isEnabled());
    find<QCheckBox>(idle, "bbsfindenable")->setChecked(true);
    EXPECT_TRUE(idle.editor()->control("bbsfindpassword")->isEnabled());
    find<QComboBox>(idle, "updatetype")->setCurrentIndex(0);
    EXPECT_FALSE(idle.editor()->control("updatefreq")->isEnabled());
    EXPECT_TRUE(idle.editor()->control("telnetport")->isEnabled());
    retype(idle, "maxconnections", QStringLiteral("150"));
    click(idle, "cmdCancel");
    EXPECT_EQ(board.read("KELDTS.CFG"), before) << "Cancel saved";

    ServerConfigForm busy(*board.board, true);
    ASSERT_TRUE(start(busy));
    EXPECT_FALSE(busy.editor()->control("telnetport")->isEnabled());
    retype(busy, "maxconnections", QStringLiteral("150"));
    find<QCheckBox>(busy, "bbsfindenable")->setChecked(true);
    click(busy, "cmdOK");
    // The form edits the settings in memory, which the file need not hold yet.
    Record expected = memory;
    expected.setI16("maxconnections", 100);
    expected.setI16("bbsfindenable", 1);
    EXPECT_EQ(board.read("KELDTS.CFG"), expected.bytes());
    EXPECT_EQ(board.board->serverConfig.i16("maxconnections"), 100);

    // A failed save is said, and keeps the form and the settings in memory as they were.
    const Record saved = board.board->serverConfig;
    ASSERT_TRUE(start(idle));
    retype(idle, "telnetport", QStringLiteral("2424"));
    ASSERT_TRUE(QFile::remove(board.file("KELDTS.CFG")));
    ASSERT_TRUE(QDir().mkdir(board.file("KELDTS.CFG")));
    click(idle, "cmdOK");
    EXPECT_TRUE(idle.isVisible());
    ASSERT_EQ(board.dialogs.shown.size(), 1u);
    EXPECT_EQ(board.dialogs.shown[0].text, "Error While Saving KELDTS.CFG");
    EXPECT_EQ(board.pane.lines().value(0), "Error: Error While Saving KELDTS.CFG");
    EXPECT_EQ(board.lastLogEntry(), "Error While Saving KELDTS.CFG");
    EXPECT_EQ(board.board->serverConfig.bytes(), saved.bytes());
}

TEST_F(SettingsFormsTest, MainConfigKeepsTheNodeProgramsBytesAndRefusesOverflow) {
    Record onDisk(mainConfigLayout(), TestBoard::noise(372), 0);
    onDisk.setI16("maxchannelno", 150);
    onDisk.setStr("netlowtime", "2:5");
    onDisk.setStr("nethightime", "06:00");
    // Boxes that make capitals show their text so; these hold it so already.
    onDisk.setStr("newuserpw", "NEW");
    onDisk.setStr("qwkfilename", "KELD");
    board.writeRecord("MAIN.CFG", onDisk);

    MainConfigForm refused(*board.board);
    ASSERT_TRUE(start(refused));
    retype(refused, "bbsname", QStringLiteral("Changed"));
    retype(refused, "sblank", QStringLiteral("70000"));
    click(refused, "cmdOK");
    EXPECT_EQ(stored(mainConfigLayout()).bytes(), onDisk.bytes()) << "saved despite the overflow";
    ASSERT_EQ(board.dialogs.shown.size(), 1u);
    EXPECT_TRUE(board.dialogs.shown[0].text.startsWith(QStringLiteral("Overflow")));

    MainConfigForm form(*board.board);
    ASSERT_TRUE(start(form));
    EXPECT_EQ(box(form, "maxchannelno")->text(), "100");
    EXPECT_EQ(box(form, "netlowtime")->text(), "02:05");
    retype(form, "systempw", QStringLiteral("secret 1"));
    EXPECT_EQ(form.editor()->control("systempw")->toolTip(), "SECRET 1");
    click(form, "cmdOK");
    Record expected = onDisk;
    expected.setI16("maxchannelno", 100);
    expected.setText("netlowtime", QStringLiteral("02:05"));
    expected.setText("systempw", QStringLiteral("SECRET 1"));
    expected.setI16("formatlevel", 2);
    EXPECT_EQ(stored(mainConfigLayout()).bytes(), expected.bytes());
    EXPECT_EQ(board.board->mainConfig.text("systempw"), "SECRET 1");

    // A MAIN.CFG just created empty shows zeros and blanks: no defaults are invented.
    board.write("MAIN.CFG", QByteArray());
    MainConfigForm empty(*board.board);
    ASSERT_TRUE(start(empty));
    EXPECT_EQ(box(empty, "bbsname")->text(), QString());
    EXPECT_EQ(box(empty, "maxchannelno")->text(), "0");
}

TEST_F(SettingsFormsTest, PathsAreColouredNeverSavedWhileOneIsMissingAndBrowsedOnTheDeepestDrive) {
    const auto warned = [](PathsForm& form, const char* field) {
        return box(form, field)->palette().color(QPalette::Base) == PathsForm::kMissingColour;
    };
    board.board->sysPaths.setText("reservedpath", QStringLiteral("C:\\ONLY\\IN\\MEMORY"));
    const QByteArray before = board.read("SYSPATHS.CFG");
    PathsForm form(*board.board);
    ASSERT_TRUE(start(form));
    EXPECT_FALSE(warned(form, "main"));
    for (const char* bad : {"C:\\KELD\\NOWHERE", "Q:\\KELD", "C:\\KELD\\MAIN.CFG"}) {
        box(form, "db")->setText(QLatin1String(bad));
        EXPECT_TRUE(warned(form, "db")) << bad;
        click(form, "cmdOK");
        EXPECT_TRUE(form.isVisible()) << bad;
    }
    EXPECT_EQ(board.read("SYSPATHS.CFG"), before);
    ASSERT_EQ(board.dialogs.shown.size(), 3u);
    EXPECT_EQ(board.dialogs.shown[0].text,
              "A path is invalid or missing! Paths will not be saved.");

    box(form, "db")->setText(QStringLiteral("c:\\keld\\db")); // DOS names are case-blind
    EXPECT_FALSE(warned(form, "db"));
    retype(form, "script", QStringLiteral("  c:\\keld\\script\\\\"));
    click(form, "cmdOK");
    EXPECT_EQ(form.result(), QDialog::Accepted);
    Record expected(sysPathsLayout(), before, 0);
    expected.setText("reservedpath", QStringLiteral("C:\\ONLY\\IN\\MEMORY"));
    expected.setText("db", QStringLiteral("C:\\KELD\\DB"));
    EXPECT_EQ(board.read("SYSPATHS.CFG"), expected.bytes());
    EXPECT_EQ(board.board->sysPaths.text("db"), "C:\\KELD\\DB");

    // Browsing writes the chosen folder on its deepest drive.
    const QString tooLong = QStringLiteral("TEXT/deep/") + QString(40, QLatin1Char('x'));
    for (const QString& sub : {QStringLiteral("extra/sub"), tooLong})
        ASSERT_TRUE(QDir(board.mainDir()).mkpath(sub));
    // Nested drives on both sides of C, so neither the first nor the last match is enough.
    board.board->platform.drives.map(QLatin1Char('B'), board.mainDir() + QStringLiteral("/extra"));
    board.board->platform.drives.map(QLatin1Char('D'), board.mainDir() + QStringLiteral("/TEXT"));
    ASSERT_TRUE(start(form));
    board.dialogs.shown.clear();
    QString start, answer;
    form.pickFolder = [&](const QString& from, const std::function<void(const QString&)>& pick) {
        start = from;
        pick(answer);
    };
    const auto browse = [&](const QString& chosen) {
        answer = chosen;
        click(form, "cmdTxtBrowse");
        return box(form, "txt")->text();
    };
    EXPECT_EQ(browse(board.mainDir() + QStringLiteral("/extra/sub")), "B:\\SUB");
    EXPECT_EQ(start, QFileInfo(board.mainDir()).path() + QStringLiteral("/KELD/TEXT"));
    EXPECT_EQ(browse(board.mainDir() + QStringLiteral("/TEXT/deep/")), "D:\\DEEP");
    EXPECT_EQ(browse({}), "D:\\DEEP") << "a cancel changed the box";
    EXPECT_EQ(browse(QStringLiteral("/usr")), "D:\\DEEP");
    EXPECT_EQ(browse(board.mainDir() + QLatin1Char('/') + tooLong), "D:\\DEEP");
    ASSERT_EQ(board.dialogs.shown.size(), 2u);
    EXPECT_TRUE(board.dialogs.shown[0].text.contains(QStringLiteral("\"D=/usr\" to the [Drives]")));
    EXPECT_TRUE(board.dialogs.shown[1].text.contains(QStringLiteral("longer than 40")));
}

TEST_F(SettingsFormsTest, ChannelSetupOnNodeSevenRewritesOnlyItsShownFieldsInBothFiles) {
    const QByteArray x = TestBoard::noise(10 * 204), s = TestBoard::noise(10 * 64, 8);
    board.write("CHANNELX.CFG", x);
    board.write("CHANNELS.CFG", s);
    board.board->serverConfig.setI16("autoconfig", 1); // warned of, and no hindrance
    ChannelForm form(*board.board);
    ASSERT_EQ(board.dialogs.shown.size(), 1u);
    EXPECT_EQ(board.dialogs.shown[0].text, "Automatic Node Configuration is active.\nAny changes "
                                           "to KELDTS nodes will be lost when a user connects.");
    ASSERT_TRUE(start(form));
    find<QScrollBar>(form, "scrNodeScroll")->setValue(7);
    EXPECT_EQ(find<QGroupBox>(form, "fraNode")->title(), "Node 7 / 100");
    click(form, "setupnode");
    EXPECT_TRUE(form.isVisible());
    EXPECT_EQ(find<QComboBox>(form, "serialport")->currentText(), "Fossil Device 0");
    const auto setUp = [](Record record) {
        for (const char* field : {"init1", "init2", "init3", "answer", "dial", "offhook"})
            if (record.layout().find(field))
                record.setText(field, {});
        record.setI32("baudrate", 115200);
        record.setI32("minbaud", 0);
        record.setI16("lockedbaud", 0);
        record.setI16("rtscts", 0);
        record.setI16("serialport", 65);
        record.setI16("baseaddy", 0x3F8);
        record.setI16("irq", 4);
        return record.bytes();
    };
    EXPECT_EQ(board.read("CHANNELX.CFG"),
              QByteArray(x).replace(6 * 204, 204, setUp(Record(channelXLayout(), x, 6 * 204))));
    EXPECT_EQ(board.read("CHANNELS.CFG"),
              QByteArray(s).replace(6 * 64, 64, setUp(Record(channelsLayout(), s, 6 * 64))));
}

TEST_F(SettingsFormsTest,
       ChannelNodesPastTheEndShowEmptyASaveExtendsBothFilesAndAnUnreadableOneIsSaid) {
    ChannelForm form(*board.board);
    ASSERT_TRUE(start(form));
    click(form, "PreviousNode");
    EXPECT_EQ(form.node(), 1);
    find<QScrollBar>(form, "scrNodeScroll")->setValue(99);
    EXPECT_EQ(form.focusWidget(), form.editor()->control("init1"));
    click(form, "NextNode");
    click(form, "NextNode");
    EXPECT_EQ(form.node(), 100);
    retype(form, "init1", QStringLiteral("ATZ"));
    click(form, "cmdReload");
    EXPECT_EQ(box(form, "init1")->text(), "") << "a reload kept what was typed";
    EXPECT_EQ(board.read("CHANNELX.CFG").size(), 0) << "moving between nodes saved";

    find<QScrollBar>(form, "scrNodeScroll")->setValue(50);
    retype(form, "init1", QStringLiteral("  ATS0=1  "));
    retype(form, "baseaddy", QStringLiteral("2e8"));
    retype(form, "baudrate", QStringLiteral("38400x"));
    find<QComboBox>(form, "serialport")->setCurrentIndex(80);
    click(form, "cmdOK");
    EXPECT_TRUE(form.isVisible());
    ASSERT_EQ(board.read("CHANNELX.CFG").size(), 50 * 204);
    ASSERT_EQ(board.read("CHANNELS.CFG").size(), 50 * 64);
    for (const Record& saved : {stored(channelXLayout(), 50), stored(channelsLayout(), 50)}) {
        EXPECT_EQ(saved.text("init1"), "ATS0=1");
        EXPECT_EQ(saved.i16("baseaddy"), 0x2E8);
        EXPECT_EQ(saved.i32("baudrate"), 38400);
        EXPECT_EQ(saved.i16("serialport"), 80); // Fossil Device 15, the last device
    }

    ASSERT_TRUE(QFile::remove(board.file("CHANNELX.CFG")));
    ASSERT_TRUE(QDir(board.mainDir()).mkdir(QStringLiteral("CHANNELX.CFG")));
    ChannelForm broken(*board.board);
    EXPECT_FALSE(start(broken));
    ASSERT_EQ(board.dialogs.shown.size(), 1u);
    EXPECT_EQ(board.dialogs.shown[0].text, "Error reading node 1, closing configuration.");
}

} // namespace
