#include "data/forms/ServerConfigForm.h"
#include "data/SystemConfig.h"
#include "support/TestBoard.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>

#include <gtest/gtest.h>

namespace {

class ServerConfigFormTest : public ::testing::Test {
  protected:
    ServerConfigFormTest() { loadSystemConfig(*board.board); }
    template <typename T> T* find(ServerConfigForm& form, const char* name) {
        T* found = form.findChild<T*>(QLatin1String(name));
        EXPECT_NE(found, nullptr) << name;
        return found;
    }
    void retype(ServerConfigForm& form, const char* field, const QString& text) {
        auto* box = find<QLineEdit>(form, field);
        box->clear();
        QTest::keyClicks(box, text);
    }
    QByteArray stored() const { return board.read(QStringLiteral("KELDTS.CFG")); }

    TestBoard board;
};

TEST_F(ServerConfigFormTest, TheTableBuildsNamedLabelledControlsInTabOrderOnTwoPages) {
    ServerConfigForm form(*board.board, false);
    EXPECT_EQ(form.windowTitle(), QStringLiteral("KELDTS - Configuration"));
    auto* tabs = find<QTabWidget>(form, "tabPages");
    ASSERT_EQ(tabs->count(), 2);
    EXPECT_EQ(tabs->tabText(1), QStringLiteral("&Advanced"));
    EXPECT_EQ(find<QLabel>(form, "lblTelnetport")->text(), QStringLiteral("Telnet Port:"));
    EXPECT_EQ(find<QLabel>(form, "lblTelnetport")->buddy(), form.control("telnetport"));
    EXPECT_TRUE(tabs->widget(1)->isAncestorOf(form.control("maxlogsize")));
    // Tab order runs down the table: the last of the first page leads to the first of the next.
    QWidget* next = form.control("closetotaskbar")->nextInFocusChain();
    while (!(next->focusPolicy() & Qt::TabFocus))
        next = next->nextInFocusChain();
    EXPECT_EQ(next, form.control("dailymaint"));
    // What the board holds is shown.
    EXPECT_EQ(find<QLineEdit>(form, "telnetport")->text(),
              QString::number(board.board->serverConfig.i16("telnetport")));
    EXPECT_EQ(find<QLineEdit>(form, "maxlogsize")->text(), QStringLiteral("1048576"));
}

TEST_F(ServerConfigFormTest, ControlsFollowTheirSwitchesAndALiveNodeLocksThePort) {
    ServerConfigForm idle(*board.board, false);
    EXPECT_TRUE(idle.control("telnetport")->isEnabled());
    find<QCheckBox>(idle, "autoload")->setChecked(false);
    EXPECT_FALSE(idle.control("netfossbuffer")->isEnabled());
    EXPECT_FALSE(idle.label("netfossbuffer")->isEnabled());
    find<QCheckBox>(idle, "bbsfindenable")->setChecked(true);
    EXPECT_TRUE(idle.control("bbsfindpassword")->isEnabled());
    find<QComboBox>(idle, "updatetype")->setCurrentIndex(0);
    EXPECT_FALSE(idle.control("updatefreq")->isEnabled());
    find<QComboBox>(idle, "updatetype")->setCurrentIndex(2);
    EXPECT_TRUE(idle.control("updatefreq")->isEnabled());

    ServerConfigForm busy(*board.board, true);
    EXPECT_FALSE(busy.control("telnetport")->isEnabled());
    EXPECT_FALSE(busy.label("telnetport")->isEnabled());
}

TEST_F(ServerConfigFormTest, OkStoresWhatWasTypedCappedAndReloadsTheSettings) {
    const QByteArray before = stored();
    const auto edit = [&](ServerConfigForm& form, const char* button) {
        retype(form, "maxconnections", QStringLiteral("150"));
        retype(form, "telnetport", QStringLiteral("2424x")); // the letter is refused
        retype(form, "maxlogsize", QStringLiteral("2000000"));
        find<QCheckBox>(form, "resolvehostname")->setChecked(true);
        find<QCheckBox>(form, "bbsfindenable")->setChecked(true);
        retype(form, "bbsfindusername", QStringLiteral("  sysop  "));
        find<QComboBox>(form, "runminimized")->setCurrentIndex(2);
        find<QPushButton>(form, button)->click();
    };
    ServerConfigForm cancelled(*board.board, false);
    edit(cancelled, "cmdCancel");
    EXPECT_EQ(stored(), before) << "Cancel saved";

    ServerConfigForm form(*board.board, false);
    edit(form, "cmdOK");
    EXPECT_EQ(form.result(), QDialog::Accepted);

    ASSERT_EQ(before.size(), serverConfigLayout().length);
    Record expected(serverConfigLayout(), before, 0);
    expected.setI16("maxconnections", 100);
    expected.setI16("telnetport", 2424);
    expected.setI32("maxlogsize", 2000000);
    expected.setText("bbsfindusername", QStringLiteral("sysop"));
    expected.setI16("resolvehostname", 1);
    expected.setI16("bbsfindenable", 1);
    expected.setI16("runminimized", 2);
    EXPECT_EQ(stored(), expected.bytes());
    EXPECT_EQ(board.board->serverConfig.i16("telnetport"), 2424);
}

} // namespace
