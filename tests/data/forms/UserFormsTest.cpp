// The user editor's list and edit form on a small user file.

#include "data/RecordFile.h"
#include "data/RecordTable.h"
#include "data/UserAccounts.h"
#include "data/UserRows.h"
#include "data/forms/UserEditForm.h"
#include "data/forms/UserListForm.h"
#include "data/records/BoardFiles.h"
#include "support/NotedProgress.h"
#include "support/TestBoard.h"

#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

namespace {

class UserFormsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        tb.loadSettings();
        QByteArray bytes;
        for (const char* handle : {"Alice", "Bob", "Carol"}) {
            Record user = useraccounts::newUser();
            user.setStr("handle", handle);
            user.setI16("securitylevel", 20);
            user.setStr("laston", "260314");
            bytes += user.bytes();
        }
        tb.write("DATA/USERFILE.DAT", bytes);
    }
    Record user(int number) const {
        Record record(userLayout());
        EXPECT_TRUE(recordfile::read(tb.board->path(userLayout()), number, record).ok());
        return record;
    }
    void putUser(int number, const Record& record) const {
        ASSERT_TRUE(recordfile::write(tb.board->path(userLayout()), number, record).ok());
    }
    template <typename T = QLineEdit> T* child(QWidget* form, const char* name) {
        T* found = form->findChild<T*>(QLatin1String(name));
        EXPECT_NE(found, nullptr) << name;
        return found;
    }
    void type(QWidget* form, const char* name, const QString& text) {
        QLineEdit* box = child(form, name);
        box->clear();
        QTest::keyClicks(box, text);
    }
    QString label(QWidget* form, const char* name) { return child<QLabel>(form, name)->text(); }

    TestBoard tb;
    UserRows rows{*tb.board};
};

// What the form works out from the fields, and a save that keeps what a node wrote meanwhile.
TEST_F(UserFormsTest, TheEditFormShowsWhatItWorksOutAndSavesOverANodesWrite) {
    Record bob = user(2);
    bob.setI16("maxtime", 100);
    bob.setI16("timeused", 40);
    bob.setI16("videomode", 9);
    bob.setI32("totalcalls", 12345);
    bob.setI16("bdaymonth", 3);
    bob.setI16("bdayday", 15);
    bob.setI16("bdayyear", 1990);
    putUser(2, bob);

    UserEditForm form(rows, 1, *tb.board);
    ASSERT_TRUE(form.load());
    EXPECT_EQ(child<QGroupBox>(&form, "fraUser")->title(), "User 2 / 3");
    EXPECT_EQ(child(&form, "timeleft")->text(), "60") << "called today: the minutes not used";
    EXPECT_EQ(label(&form, "lblVideoValue"), "Error");
    EXPECT_EQ(label(&form, "lblCallsValue"), "12,345");
    EXPECT_EQ(label(&form, "lblLastOnValue"), "26.03.14  (YY.MM.DD)");
    EXPECT_EQ(label(&form, "lblratiovalue"), "(Ratio: 0)");
    EXPECT_EQ(label(&form, "lblUserAge"), "(Age: 35)") << "the day before the 36th birthday";
    type(&form, "uploadkb", QStringLiteral("10"));
    type(&form, "downloadkb", QStringLiteral("3"));
    EXPECT_EQ(label(&form, "lblratiovalue"), "(Ratio: 3.3333)");
    type(&form, "bdayday", QStringLiteral("14"));
    EXPECT_EQ(label(&form, "lblUserAge"), "(Age: 36)");

    // The node counts a call while the sysop has the form up.
    Record counted = user(2);
    counted.setI32("totalcalls", 12346);
    putUser(2, counted);
    type(&form, "handle", QStringLiteral("Robert"));
    type(&form, "timeleft", QStringLiteral("70"));
    child<QPushButton>(&form, "cmdOK")->click();
    const Record saved = user(2);
    EXPECT_EQ(saved.str("handle"), "Robert");
    EXPECT_EQ(saved.i16("timeused"), 30);
    EXPECT_EQ(saved.i32("totalcalls"), 12346);
    EXPECT_EQ(saved.i32("uploadkb"), 10);
    const QList<Record> index =
        recordtable::read(tb.board->path(userIndexLayout()), userIndexLayout()).value();
    ASSERT_EQ(index.size(), 3) << "a missing index is made on the first save";
    EXPECT_EQ(index.at(1).str("handle"), "Robert");
}

TEST_F(UserFormsTest, AValidationProfileSetsLevelTimeAndFlagsAndResetTakesThemBack) {
    Record profile(quickValidateLayout());
    profile.setI16("seclevel", 55);
    profile.setI16("timelimit", 90);
    profile.setI32("accflags", 5);
    tb.writeRecord("QUICKVAL.CFG", profile);

    UserEditForm form(rows, 0, *tb.board);
    ASSERT_TRUE(form.load());
    auto* profiles = child<QComboBox>(&form, "quickvalidate");
    EXPECT_EQ(profiles->itemText(2), "SL=55: TL=90  Access Flags=AC");
    profiles->setCurrentIndex(2);
    emit profiles->activated(2);
    EXPECT_EQ(child(&form, "securitylevel")->text(), "55");
    EXPECT_EQ(child(&form, "maxtime")->text(), "90");
    EXPECT_EQ(child(&form, "accflags")->text(), "AC");
    emit profiles->activated(1);
    EXPECT_EQ(child(&form, "securitylevel")->text(), "20");
    EXPECT_EQ(child(&form, "accflags")->text(), "");
}

// Opening the form writes nothing: a missing profile file stays missing, and offers no profile.
// An OK that changes nothing still makes a missing index.
TEST_F(UserFormsTest, OpeningWritesNothingAndOkMakesAMissingIndex) {
    const QString profiles = tb.board->path(quickValidateLayout());
    ASSERT_FALSE(QFile::exists(profiles));
    UserEditForm form(rows, 0, *tb.board);
    ASSERT_TRUE(form.load());
    EXPECT_EQ(child<QComboBox>(&form, "quickvalidate")->count(), 2);
    child<QPushButton>(&form, "cmdOK")->click();
    EXPECT_FALSE(QFile::exists(profiles));
    EXPECT_EQ(recordtable::read(tb.board->path(userIndexLayout()), userIndexLayout())->size(), 3);
}

// Delete asks first and runs away from the event loop; compress is offered only for a free
// last user; the find box jumps to a match as it is typed.
TEST_F(UserFormsTest, TheListDeletesAfterAYesCompressesTheTailAndFinds) {
    const listtables::ListTable& table = listtables::named("USERFILE.DAT");
    UserListForm form(table.rows(*tb.board, 0, {}), *tb.board);
    ASSERT_TRUE(form.load());
    EXPECT_EQ(child<QGroupBox>(&form, "fraUsers")->title(), "Users (3)");
    EXPECT_EQ(form.model().data(form.model().index(1)).toString(),
              "2: Bob                     -  20  26.03.14");
    EXPECT_FALSE(child<QPushButton>(&form, "cmdCompress")->isEnabled());

    auto* list = child<QListView>(&form, "lstUsers");
    list->setCurrentIndex(form.model().index(2));
    tb.dialogs.answers = {false};
    child<QPushButton>(&form, "cmdDelete")->click();
    EXPECT_FALSE(form.passRunning());
    EXPECT_EQ(user(3).i16("securitylevel"), 20);
    EXPECT_EQ(tb.dialogs.shown.back().text, "Are you sure you want to delete this user (Carol)?");

    NotedProgress progress;
    form.setProgressView(&progress);
    QSignalSpy finished(&form, &UserListForm::passFinished);
    tb.dialogs.answers = {true};
    child<QPushButton>(&form, "cmdDelete")->click();
    ASSERT_TRUE(finished.wait(10000));
    EXPECT_EQ(user(3).i16("securitylevel"), 0);
    EXPECT_EQ(progress.noted, QStringList({"show KELD - User Editor", "hide"}));
    EXPECT_EQ(form.selectedRow(), 2);
    EXPECT_TRUE(child<QPushButton>(&form, "cmdCompress")->isEnabled());
    child<QPushButton>(&form, "cmdCompress")->click();
    ASSERT_TRUE(finished.wait(10000));
    EXPECT_EQ(form.model().rowCount(), 2);
    EXPECT_EQ(form.selectedRow(), 0);

    QTest::keyClicks(child(&form, "txtFind"), QStringLiteral("bo"));
    EXPECT_EQ(form.selectedRow(), 1);
}

} // namespace
