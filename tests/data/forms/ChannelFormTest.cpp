#include "data/forms/ChannelForm.h"
#include "data/RecordFile.h"
#include "data/SystemConfig.h"
#include "data/records/BoardFiles.h"
#include "support/TestBoard.h"

#include <QComboBox>
#include <QDir>
#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>
#include <QRandomGenerator>
#include <QScrollBar>
#include <QTest>

#include <gtest/gtest.h>

namespace {

const QString kX = QStringLiteral("CHANNELX.CFG");
const QString kS = QStringLiteral("CHANNELS.CFG");

class ChannelFormTest : public ::testing::Test {
  protected:
    ChannelFormTest() {
        loadSystemConfig(*board.board);
        board.board->serverConfig.setI16("autoconfig", 0);
        board.dialogs.shown.clear();
    }
    template <typename T> static T* find(ChannelForm& form, const char* name) {
        T* found = form.findChild<T*>(QLatin1String(name));
        EXPECT_NE(found, nullptr) << name;
        return found;
    }
    static QLineEdit* box(ChannelForm& form, const char* field) {
        return static_cast<QLineEdit*>(form.control(field));
    }
    static void retype(ChannelForm& form, const char* field, const QString& text) {
        box(form, field)->clear();
        QTest::keyClicks(box(form, field), text);
    }
    static void click(ChannelForm& form, const char* name) {
        find<QPushButton>(form, name)->click();
    }
    static QByteArray noise(int length) {
        QRandomGenerator random(7);
        QByteArray bytes(length, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random.bounded(256));
        return bytes;
    }
    Record stored(const RecordLayout& layout, const QString& name, int node) const {
        return Record(layout, board.read(name), static_cast<qsizetype>(node - 1) * layout.length);
    }

    TestBoard board;
};

TEST_F(ChannelFormTest, SetupOnNodeSevenRewritesOnlyItsShownFieldsInBothFiles) {
    const QByteArray x = noise(10 * 204), s = noise(10 * 64);
    board.write(kX, x);
    board.write(kS, s);
    ChannelForm form(*board.board);
    form.show();
    find<QScrollBar>(form, "scrNodeScroll")->setValue(7);
    click(form, "setupnode");
    EXPECT_TRUE(form.isVisible());
    EXPECT_EQ(find<QComboBox>(form, "serialport")->currentText(), "Fossil Device 0");
    EXPECT_EQ(box(form, "baseaddy")->text(), "3F8");

    // Both records keep every byte the form does not show, the reserved ones among them.
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
    EXPECT_EQ(board.read(kX),
              QByteArray(x).replace(6 * 204, 204, setUp(Record(channelXLayout(), x, 6 * 204))));
    EXPECT_EQ(board.read(kS),
              QByteArray(s).replace(6 * 64, 64, setUp(Record(channelsLayout(), s, 6 * 64))));
}

TEST_F(ChannelFormTest, ANodePastTheEndShowsEmptyAndOkExtendsBothFilesWithoutClosing) {
    Record first(channelXLayout());
    first.setText("init1", QStringLiteral("ATZ"));
    first.setI16("baseaddy", static_cast<qint16>(0xFFF8));
    first.setI16("serialport", 9);
    board.writeRecord(kX, first);
    ChannelForm form(*board.board);
    EXPECT_EQ(box(form, "init1")->text(), "ATZ");
    EXPECT_EQ(box(form, "baseaddy")->text(), "FFF8");
    EXPECT_EQ(find<QComboBox>(form, "serialport")->currentText(), "DigiBoard Port 1");

    form.show();
    find<QScrollBar>(form, "scrNodeScroll")->setValue(50);
    EXPECT_EQ(box(form, "init1")->text(), "");
    EXPECT_EQ(box(form, "baudrate")->text(), "0");
    EXPECT_EQ(find<QComboBox>(form, "serialport")->currentText(), "Local");
    retype(form, "init1", QStringLiteral("  ATS0=1  "));
    retype(form, "baseaddy", QStringLiteral("2e8"));
    retype(form, "baudrate", QStringLiteral("38400x"));
    find<QComboBox>(form, "serialport")->setCurrentIndex(80);
    click(form, "cmdOK");
    EXPECT_TRUE(form.isVisible());

    ASSERT_EQ(board.read(kX).size(), 50 * 204);
    ASSERT_EQ(board.read(kS).size(), 50 * 64);
    for (const Record& saved :
         {stored(channelXLayout(), kX, 50), stored(channelsLayout(), kS, 50)}) {
        EXPECT_EQ(saved.text("init1"), "ATS0=1");
        EXPECT_EQ(saved.i16("baseaddy"), 0x2E8);
        EXPECT_EQ(saved.i32("baudrate"), 38400);
        EXPECT_EQ(saved.i16("serialport"), 80); // Fossil Device 15, the last device
    }
    EXPECT_EQ(stored(channelXLayout(), kX, 1).bytes(), first.bytes());

    click(form, "cmdCancel");
    EXPECT_FALSE(form.isVisible());
}

TEST_F(ChannelFormTest, NavigationStopsAtTheEndsAndNeverSaves) {
    ChannelForm form(*board.board);
    form.show();
    auto* scroll = find<QScrollBar>(form, "scrNodeScroll");
    auto* frame = find<QGroupBox>(form, "fraNode");
    EXPECT_EQ(frame->title(), "Node 1 / 100");
    click(form, "PreviousNode");
    EXPECT_EQ(form.node(), 1);

    form.control("baudrate")->setFocus();
    scroll->setValue(99);
    EXPECT_EQ(form.focusWidget(), form.control("init1"));
    click(form, "NextNode");
    click(form, "NextNode");
    EXPECT_EQ(form.node(), 100);
    EXPECT_EQ(scroll->value(), 100);
    EXPECT_EQ(frame->title(), "Node 100 / 100");

    retype(form, "init1", QStringLiteral("ATZ"));
    click(form, "PreviousNode");
    click(form, "NextNode");
    EXPECT_EQ(box(form, "init1")->text(), "");
    retype(form, "init1", QStringLiteral("ATZ"));
    click(form, "cmdReload");
    EXPECT_EQ(box(form, "init1")->text(), "");
    // Opening made both files, empty; nothing since has written to them.
    EXPECT_EQ(recordfile::size(board.file(kX)), 0);
    EXPECT_EQ(recordfile::size(board.file(kS)), 0);
}

TEST_F(ChannelFormTest, BoxesForAutomaticConfigurationAndUnreadableFiles) {
    { ChannelForm quiet(*board.board); }
    EXPECT_TRUE(board.dialogs.shown.empty());

    board.board->serverConfig.setI16("autoconfig", 1);
    { ChannelForm warned(*board.board); }
    ASSERT_EQ(board.dialogs.shown.size(), 1u);
    EXPECT_EQ(board.dialogs.shown[0].title, "KELDTS - Message");
    EXPECT_EQ(board.dialogs.shown[0].text, "Automatic Node Configuration is active.\nAny changes "
                                           "to KELDTS nodes will be lost when a user connects.");
    EXPECT_EQ(board.dialogs.shown[0].icon, MessageIcon::Information);

    board.board->serverConfig.setI16("autoconfig", 0);
    board.dialogs.shown.clear();
    QFile::remove(board.file(kX));
    ASSERT_TRUE(QDir(board.mainDir()).mkdir(kX));
    ChannelForm broken(*board.board);
    ASSERT_EQ(board.dialogs.shown.size(), 1u);
    EXPECT_EQ(board.dialogs.shown[0].text, "Error reading node 1, closing configuration.");
}

} // namespace
