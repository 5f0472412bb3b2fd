#include "server/forms/IpConfigDialog.h"

#include "support/TestBoard.h"

#include <QApplication>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

#include <gtest/gtest.h>

#include <memory>

namespace {

class IpConfigDialogTest : public ::testing::Test {
  protected:
    IpConfigDialogTest() { tb.loadSettings(); }
    void open() {
        dialog = std::make_unique<IpConfigDialog>(*tb.board);
        dialog->show();
        ASSERT_TRUE(QTest::qWaitForWindowActive(dialog.get()));
    }
    template <typename T> T* child(const char* name) {
        return dialog->findChild<T*>(QLatin1String(name));
    }
    // Keys go wherever the focus is, as they do for the sysop; "\b" is Backspace, "\r" Enter.
    void type(const char* keys) {
        for (const char* k = keys; *k; ++k)
            QTest::keyClick(QApplication::focusWidget(), *k);
    }
    // The four boxes and which widget has the focus: "192|168|1| @txtIp3".
    std::string boxes() {
        QStringList parts;
        for (const char* name : {"txtIp1", "txtIp2", "txtIp3", "txtIp4"})
            parts << child<QLineEdit>(name)->text();
        return (parts.join(QLatin1Char('|')) + QStringLiteral(" @") +
                QApplication::focusWidget()->objectName())
            .toStdString();
    }
    void click(const char* name) {
        QTest::mouseClick(child<QAbstractButton>(name), Qt::LeftButton);
    }
    QByteArray list() const { return tb.read("KELDTSIP.DAT"); }
    char savedMode() const { return tb.read("KELDTS.CFG").at(124); }

    TestBoard tb;
    std::unique_ptr<IpConfigDialog> dialog;
};

TEST_F(IpConfigDialogTest, KeysFillThePartsAndMoveBetweenTheBoxes) {
    open();
    type("1921681");
    EXPECT_EQ(boxes(), "192|168|1| @txtIp3");
    type(".x -\b\b");
    EXPECT_EQ(boxes(), "192|168|| @txtIp3");
    type("\b*7.8.");
    EXPECT_EQ(boxes(), "192|*|7|8 @cmdAdd");
    child<QLineEdit>("txtIp1")->setFocus();
    type("\b\b\b\b");
    EXPECT_EQ(boxes(), "|*|7|8 @txtIp1");
}

TEST_F(IpConfigDialogTest, AddAndRemoveChangeTheFileAndKeepARowSelected) {
    tb.write("KELDTSIP.DAT", TestBoard::ipRecords({"1.1.1.1", "2.2.2.2"}));
    open();
    auto* rows = child<QListView>("lstIp");
    const auto row = [rows](int at) { return rows->model()->index(at, 0); };
    EXPECT_EQ(rows->currentIndex().row(), 0);

    type("0102.*45\r");
    EXPECT_EQ(list(), TestBoard::ipRecords({"1.1.1.1", "2.2.2.2", "10.2.*.45"}));
    ASSERT_EQ(rows->model()->rowCount(), 3);
    EXPECT_EQ(row(2).data().toString(), "10.2.*.45");
    EXPECT_EQ(boxes(), "||| @txtIp1");
    // A blank part adds nothing.
    type("3.3.3");
    click("cmdAdd");
    EXPECT_EQ(boxes(), "3|3|3| @cmdAdd");

    rows->setCurrentIndex(row(2));
    click("cmdDelete");
    EXPECT_EQ(list(), TestBoard::ipRecords({"1.1.1.1", "2.2.2.2"}));
    EXPECT_EQ(rows->model()->rowCount(), 2);
    EXPECT_EQ(rows->currentIndex().row(), 1);
    for (int i = 0; i < 3; ++i)
        click("cmdDelete");
    EXPECT_EQ(list(), QByteArray());
    dialog->close();
    EXPECT_FALSE(QFile::exists(tb.file("KELDTSIP.DAT")));
    EXPECT_TRUE(tb.pane.lines().isEmpty());
}

TEST_F(IpConfigDialogTest, IPv6EntriesHaveTheirOwnListAndBox) {
    open();
    auto* box = child<QLineEdit>("txtIp6");
    box->setText("2001:DB8::/32");
    click("cmdAdd6");
    box->setText("not an address");
    click("cmdAdd6");
    ASSERT_EQ(tb.dialogs.shown.size(), 1u);
    EXPECT_EQ(tb.dialogs.shown[0].text, "not an address is no IPv6 address or network");
    box->setText("::1");
    QTest::keyClick(box, Qt::Key_Return);
    auto* rows = child<QListWidget>("lstIp6");
    EXPECT_EQ(rows->count(), 2);
    EXPECT_EQ(tb.read("KELDTSIP.V6"), "2001:db8::/32\r\n::1\r\n");
    rows->setCurrentRow(0);
    click("cmdDelete6");
    EXPECT_EQ(tb.read("KELDTSIP.V6"), "::1\r\n");
    EXPECT_EQ(rows->currentRow(), 0);
}

TEST_F(IpConfigDialogTest, ChoosingAModeSavesItButOpeningDoesNot) {
    tb.board->serverConfig.setI16("ipfiltermode", 3);
    open();
    EXPECT_TRUE(child<QRadioButton>("optAllowBlock_0")->isChecked());
    EXPECT_EQ(savedMode(), 0);
    click("optAllowBlock_0");
    EXPECT_EQ(savedMode(), 1);
    click("optAllowBlock_1");
    EXPECT_EQ(savedMode(), 0);
    dialog.reset();
    open();
    EXPECT_TRUE(child<QRadioButton>("optAllowBlock_1")->isChecked());
}

} // namespace
