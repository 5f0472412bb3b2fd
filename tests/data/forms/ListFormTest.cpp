// The list editor and its edit form on a table of their own, then what some tables add.

#include "data/ListEditTables.h"
#include "data/RecordFileRows.h"
#include "data/forms/FunctionBlockForm.h"
#include "data/forms/ListEditForm.h"
#include "data/forms/TextSectionsForm.h"
#include "data/records/BoardFiles.h"
#include "support/TestBoard.h"

#include <QCheckBox>
#include <QDir>
#include <QGroupBox>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include <array>

namespace {

constexpr std::array kFields{
    Field{"note", 0, FieldType::Str, 8},
    Field{"level", 8, FieldType::I16, 2},
};
const RecordLayout kLayout{"NOTES.CFG", 10, kFields};

using formtable::Control;

const formtable::Table& noteForm() {
    static const formtable::Table form{
        "notesedit",
        "KELD - Note",
        &kLayout,
        {},
        {{"note", "&Note:", 0, listedit::kFrame, Control::Text, {}, formtable::Keys::Capitals},
         {"level", "&Level:", 0, listedit::kFrame, Control::Number}}};
    return form;
}

const listtables::ListTable kNotes{
    "NOTES.CFG",
    "notes",
    "lstNotes",
    "KELD - Notes",
    "Notes (",
    "Note ",
    "note",
    &noteForm,
    [](const Board& board, int, const QString&) -> std::unique_ptr<TableRows> {
        return std::make_unique<RecordFileRows>(
            board, RecordFileRows::Table{&kLayout, "note", 3, [](Record& r) {
                                             r.setText("note", QStringLiteral("NEW"));
                                         }});
    },
    [](const Record& r) { return r.text("note"); }};

QByteArray notes(std::initializer_list<const char*> texts) {
    QByteArray bytes;
    for (const char* text : texts) {
        Record r(kLayout);
        r.setStr("note", text);
        bytes += r.bytes();
    }
    return bytes;
}

class ListFormTest : public ::testing::Test {
  protected:
    void SetUp() override { tb.loadSettings(); }

    template <typename T = QPushButton> T* child(QWidget* form, const char* name) {
        T* found = form->findChild<T*>(QLatin1String(name));
        EXPECT_NE(found, nullptr) << name;
        return found;
    }
    QStringList rows(ListForm& form) {
        QStringList all;
        for (int row = 0; row < form.model().rowCount(); ++row)
            all << form.model().data(form.model().index(row)).toString();
        return all;
    }
    void click(QWidget* form, const char* name) { child(form, name)->click(); }
    void selectRow(ListForm& form, int row) {
        child<QListView>(&form, "lstNotes")->setCurrentIndex(form.model().index(row));
    }

    TestBoard tb;
};

// Insert to the limit, move and delete, each on the file at once, and the selection and the
// buttons after each command.
TEST_F(ListFormTest, CommandsChangeTheFileAndKeepASensibleSelection) {
    ListForm form(kNotes, kNotes.rows(*tb.board, 0, {}), *tb.board);
    ASSERT_TRUE(form.load());
    EXPECT_TRUE(QFile::exists(tb.file("NOTES.CFG")));
    EXPECT_EQ(child<QGroupBox>(&form, "fraList")->title(), "Notes (0)");
    EXPECT_FALSE(child(&form, "cmdEdit")->isEnabled() || child(&form, "cmdDelete")->isEnabled());
    for (int i = 0; i < 4; ++i)
        click(&form, "cmdInsert");
    EXPECT_EQ(tb.read("NOTES.CFG"), notes({"NEW", "NEW", "NEW"}));
    EXPECT_TRUE(tb.dialogs.shown.empty()) << "an insert at the limit does nothing and says nothing";
    EXPECT_EQ(form.selectedRow(), 2);
    EXPECT_TRUE(child(&form, "cmdMoveUp")->isEnabled());

    tb.write("NOTES.CFG", notes({"A", "B", "C"}));
    ASSERT_TRUE(form.load());
    EXPECT_EQ(rows(form), QStringList({"1: A", "2: B", "3: C"}));
    EXPECT_EQ(form.selectedRow(), 0);
    click(&form, "cmdMoveUp");
    EXPECT_EQ(form.selectedRow(), 0) << "the first row cannot go up";
    click(&form, "cmdMoveDown");
    EXPECT_EQ(tb.read("NOTES.CFG"), notes({"B", "A", "C"}));
    EXPECT_EQ(form.selectedRow(), 1);

    selectRow(form, 2);
    click(&form, "cmdDelete");
    EXPECT_EQ(tb.read("NOTES.CFG"), notes({"B", "A"}));
    EXPECT_EQ(form.selectedRow(), 1) << "the new last row";
    click(&form, "cmdDelete");
    EXPECT_EQ(tb.read("NOTES.CFG"), notes({"B"}));
    EXPECT_EQ(form.selectedRow(), 0);
    click(&form, "cmdDelete");
    EXPECT_EQ(tb.read("NOTES.CFG"), QByteArray());
    EXPECT_EQ(form.selectedRow(), -1);
    EXPECT_FALSE(child(&form, "cmdEdit")->isEnabled() || child(&form, "cmdMoveDown")->isEnabled());
}

// The edit form opens on the selected row, the list stays busy while it is up, and the saved
// row is read back and stays selected.
TEST_F(ListFormTest, TheEditFormChangesTheSelectedRowWhileTheListWaits) {
    tb.write("NOTES.CFG", notes({"A", "B"}));
    ListForm form(kNotes, kNotes.rows(*tb.board, 0, {}), *tb.board);
    ASSERT_TRUE(form.load());
    form.show();
    QSignalSpy opened(&form, &ListForm::formOpened);
    selectRow(form, 1);
    QListView* list = child<QListView>(&form, "lstNotes");
    const QRect second = list->visualRect(form.model().index(1));
    QTest::mousePress(list->viewport(), Qt::LeftButton, {}, second.center());
    QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, second.center());
    ASSERT_EQ(opened.count(), 1);
    auto* edit = qobject_cast<ListEditForm*>(opened.first().first().value<QDialog*>());
    ASSERT_NE(edit, nullptr);
    EXPECT_EQ(edit->findChild<QGroupBox*>()->title(), "Note 2 / 2");
    EXPECT_TRUE(form.busy());
    click(&form, "cmdInsert");
    EXPECT_EQ(form.model().rowCount(), 2) << "commands wait while the edit form is up";

    QLineEdit* note = child<QLineEdit>(edit, "note");
    note->setText(QStringLiteral("changed"));
    click(edit, "cmdOK");
    EXPECT_EQ(tb.read("NOTES.CFG"), notes({"A", "CHANGED"}));
    EXPECT_FALSE(form.busy());
    EXPECT_EQ(rows(form).last(), "2: CHANGED");
    EXPECT_EQ(form.selectedRow(), 1);
}

// OK on a row the sysop did not change writes nothing: a line as a DOS editor spelt it stays.
TEST_F(ListFormTest, AnUnchangedRowIsNotWritten) {
    const QByteArray line = "IRC.Example.NET   6667  8\r\n";
    tb.write("IRC-S.CFG", line);
    const listtables::ListTable& irc = listtables::named("IRC-S.CFG");
    const std::unique_ptr<TableRows> lines = irc.rows(*tb.board, 0, {});
    ListEditForm edit(irc, *lines, 0, *tb.board);
    ASSERT_TRUE(edit.load());
    click(&edit, "cmdOK");
    EXPECT_EQ(tb.read("IRC-S.CFG"), line);
}

// A trigger that deletes whatever its wildcard matches is stored only after a Yes.
TEST_F(ListFormTest, AWildcardDeletionIsStoredOnlyAfterAYes) {
    const listtables::ListTable& triggers = listtables::named("KELDTSTR.DAT");
    ListForm form(triggers, triggers.rows(*tb.board, 0, {}), *tb.board);
    ASSERT_TRUE(form.load());
    EXPECT_EQ(form.findChild<QPushButton*>("cmdMoveUp"), nullptr);
    click(&form, "cmdInsert");
    QSignalSpy opened(&form, &ListForm::formOpened);
    click(&form, "cmdEdit");
    ASSERT_EQ(opened.count(), 1);
    auto* edit = opened.first().first().value<QDialog*>();
    child<QLineEdit>(edit, "trigger")->setText(QStringLiteral("C:\\IN\\*.FLG"));
    child<QCheckBox>(edit, "deletetrigger")->setChecked(true);
    tb.dialogs.answers = {false, true};
    click(edit, "cmdOK");
    EXPECT_TRUE(form.busy()) << "No leaves the edit form open";
    EXPECT_TRUE(tb.read("KELDTSTR.DAT").startsWith("trigger "));
    click(edit, "cmdOK");
    EXPECT_TRUE(tb.read("KELDTSTR.DAT").startsWith("C:\\IN\\*.FLG "));
    EXPECT_FALSE(form.busy());
}

TEST_F(ListFormTest, ATableThatCannotBeReadIsSaidAndNotShown) {
    ASSERT_TRUE(QDir().mkdir(tb.file("NOTES.CFG")));
    ListForm form(kNotes, kNotes.rows(*tb.board, 0, {}), *tb.board);
    EXPECT_FALSE(form.load());
    ASSERT_EQ(tb.dialogs.shown.size(), 1u);
    EXPECT_EQ(tb.dialogs.shown.front().text, "An error occurred; closing configuration.");
}

// A section's bulletins open from its row, and only from a row that names a section.
TEST_F(ListFormTest, BulletinsOpenForANamedSection) {
    Record named(textSectionLayout());
    named.setText("textsectdesc", QStringLiteral("Files"));
    tb.write("TEXTSECT.CFG", Record(textSectionLayout()).bytes() + named.bytes());
    TextSectionsForm form(*tb.board);
    ASSERT_TRUE(form.load());
    QPushButton* bulletins = child(&form, "cmdBulletins");
    EXPECT_FALSE(bulletins->isEnabled());
    child<QListView>(&form, "lstTextSect")->setCurrentIndex(form.model().index(1));
    ASSERT_TRUE(bulletins->isEnabled());
    QSignalSpy opened(&form, &ListForm::formOpened);
    bulletins->click();
    ASSERT_EQ(opened.count(), 1);
    QDialog* list = opened.first().first().value<QDialog*>();
    click(list, "cmdInsert");
    EXPECT_EQ(QFileInfo(tb.board->path(bulletinLayout(), 2)).size(), 44);
}

TEST_F(ListFormTest, AFunctionBlockHeadIsSavedWithItsLines) {
    tb.write("SCRIPT/SYSOP.FB", "OLDMENU\r\n\r\nG 010 1 GOODBYE\r\n");
    FunctionBlockForm form(*tb.board, QStringLiteral("SYSOP.FB"));
    ASSERT_TRUE(form.loadAll());
    EXPECT_EQ(child<QGroupBox>(&form, "fraList")->title(), "Function Block (1) [SYSOP.FB]");
    child<QLineEdit>(&form, "fbMenu")->setText(QStringLiteral("main"));
    child<QLineEdit>(&form, "fbDb")->setText(QStringLiteral("ab"));
    click(&form, "cmdSave");
    EXPECT_EQ(tb.read("SCRIPT/SYSOP.FB"), "MAIN\r\nAB\r\nG 010 1 GOODBYE\r\n");
}

} // namespace
