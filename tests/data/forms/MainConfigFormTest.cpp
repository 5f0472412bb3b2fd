#include "data/forms/MainConfigForm.h"
#include "data/RecordFile.h"
#include "data/SystemConfig.h"
#include "support/TestBoard.h"

#include <QLineEdit>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTest>

#include <gtest/gtest.h>

namespace {

class MainConfigFormTest : public ::testing::Test {
  protected:
    MainConfigFormTest() { loadSystemConfig(*board.board); }
    QLineEdit* box(MainConfigForm& form, const char* field) {
        return static_cast<QLineEdit*>(form.control(field));
    }
    void retype(MainConfigForm& form, const char* field, const QString& typed) {
        box(form, field)->clear();
        QTest::keyClicks(box(form, field), typed);
    }
    void ok(MainConfigForm& form) {
        form.findChild<QPushButton*>(QStringLiteral("cmdOK"))->click();
    }
    QByteArray file() const { return board.read(QStringLiteral("MAIN.CFG")); }

    TestBoard board;
};

TEST_F(MainConfigFormTest, TypedTextFollowsTheBoxRulesAndReservedBytesSurviveTheSave) {
    // Bytes no control shows, as the node programs may have left them.
    Record stored(mainConfigLayout(), file(), 0);
    QByteArray& bytes = stored.bytes();
    for (const auto& [offset, length] : {std::pair{84, 24}, {185, 16}, {254, 34}, {334, 2}})
        for (int i = 0; i < length; ++i)
            bytes[offset + i] = char(QRandomGenerator::global()->bounded(256));
    stored.setI16("maxchannelno", 150);
    board.writeRecord(QStringLiteral("MAIN.CFG"), stored);

    MainConfigForm form(*board.board);
    ASSERT_TRUE(form.loaded());
    EXPECT_EQ(box(form, "maxchannelno")->text(), QStringLiteral("100"));
    retype(form, "wfcdrives", QStringLiteral("c d1c"));
    EXPECT_EQ(box(form, "wfcdrives")->text(), QStringLiteral("CDC"));
    retype(form, "systempw", QStringLiteral("secret 1"));
    EXPECT_EQ(form.control("systempw")->toolTip(), QStringLiteral("SECRET 1"));
    retype(form, "netlowtime", QStringLiteral("2:5"));
    emit box(form, "netlowtime")->editingFinished();
    EXPECT_EQ(box(form, "netlowtime")->text(), QStringLiteral("02:05"));
    retype(form, "fileratio", QStringLiteral("2.5"));
    retype(form, "bbsname", QStringLiteral("  My Board  "));
    ok(form);
    EXPECT_EQ(form.result(), QDialog::Accepted);

    Record expected = stored;
    expected.setI16("maxchannelno", 100);
    expected.setText("wfcdrives", QStringLiteral("CD"));
    expected.setText("systempw", QStringLiteral("SECRET 1"));
    expected.setText("netlowtime", QStringLiteral("02:05"));
    expected.setF32("fileratio", 2.5f);
    expected.setText("bbsname", QStringLiteral("My Board"));
    expected.setI16("formatlevel", 2);
    EXPECT_EQ(file(), expected.bytes());
    EXPECT_EQ(board.board->mainConfig.text("bbsname"), QStringLiteral("My Board"));
}

TEST_F(MainConfigFormTest, ANumberTooLargeSavesNothingAndSaysSo) {
    const QByteArray before = file();
    MainConfigForm form(*board.board);
    retype(form, "bbsname", QStringLiteral("Changed"));
    retype(form, "sblank", QStringLiteral("70000"));
    ok(form);
    EXPECT_EQ(file(), before);
    EXPECT_NE(form.result(), QDialog::Accepted);
    ASSERT_EQ(board.dialogs.shown.size(), 1u);
    EXPECT_TRUE(board.dialogs.shown[0].text.startsWith(QStringLiteral("Overflow")));
}

TEST_F(MainConfigFormTest, AnEmptyFileShowsZerosAndBlanksWithoutInventingDefaults) {
    board.write(QStringLiteral("MAIN.CFG"), QByteArray());
    MainConfigForm form(*board.board);
    ASSERT_TRUE(form.loaded());
    EXPECT_EQ(box(form, "bbsname")->text(), QString());
    EXPECT_EQ(box(form, "maxchannelno")->text(), QStringLiteral("0"));
    EXPECT_EQ(box(form, "netlowtime")->text(), QStringLiteral("00:00"));
}

} // namespace
