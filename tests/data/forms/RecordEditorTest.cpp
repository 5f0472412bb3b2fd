// The record-and-form core on a table of its own: what every form built on it gets.

#include "data/forms/RecordDialog.h"
#include "support/ScriptedDialogs.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTest>

#include <gtest/gtest.h>

#include <array>

namespace {

using formtable::Control;
using formtable::Keys;
using formtable::Rule;

constexpr std::array kFields{
    Field{"name", 0, FieldType::Str, 10},  Field{"level", 10, FieldType::I16, 2},
    Field{"batch", 12, FieldType::Chr, 1}, Field{"kind", 13, FieldType::I16, 2},
    Field{"time", 15, FieldType::Str, 5},  Field{"home", 20, FieldType::Str, 12},
    Field{"kept", 32, FieldType::Str, 4},
};
const RecordLayout kLayout{"EDIT.DAT", 36, kFields};

const formtable::Table kTable{
    "editform",
    "KELD - Edit Form",
    &kLayout,
    {QStringLiteral("&First"), QStringLiteral("&Second")},
    {
        {"name", "&Name:", 0, "Who", Control::Text, {}, Keys::Capitals},
        {"level", "&Level:", 0, "Who", Control::Number},
        {"batch", "&Batch Only", 0, "Who", Control::Flag},
        {"kind", "&Kind:", 1, nullptr, Control::Combo, {"Soft", "Hard"}, Keys::Any, {}, {0, 7}},
        {"time", "&Time:", 1, nullptr, Control::Text, {}, Keys::Any, Rule::Time},
        {"home", "&Home:", 1, nullptr, Control::Path, {}, Keys::Path, Rule::Directory},
    },
    true};

Record sample() {
    Record r(kLayout);
    r.setStr("name", "ALPHA");
    r.setI16("level", 10);
    r.setI16("kind", 7);
    r.setStr("time", "01:02");
    r.setStr("kept", "\x01\x02\x03\x04");
    return r;
}

// A source over one record in memory, with switches for its failures.
class MemorySource : public RecordSource {
  public:
    Result<Record> load() override {
        if (unreadable)
            return readFailure(QStringLiteral("entry"), 3);
        return stored;
    }
    Result<> save(const Edit& edit) override {
        if (unwritable)
            return saveFailure(QStringLiteral("entry"), 3);
        Result<Record> edited = edit(stored);
        if (edited)
            stored = edited.value();
        return edited ? Result<>() : Result<>(failureOf(edited));
    }
    bool closesAfterFailedSave() const override { return closes; }

    Record stored = sample();
    bool unreadable = false, unwritable = false, closes = true;
};

template <typename T> T* find(QWidget& form, const char* name) {
    T* found = form.findChild<T*>(QLatin1String(name));
    EXPECT_NE(found, nullptr) << name;
    return found;
}

void retype(QWidget& form, const char* field, const QString& text) {
    auto* box = find<QLineEdit>(form, field);
    box->clear();
    QTest::keyClicks(box, text);
}

TEST(RecordEditor, TheTableBuildsNamedControlsThatTakeOnlyTheirKeys) {
    RecordEditor editor(kTable);
    editor.load(sample());
    auto* tabs = find<QTabWidget>(editor, "tabPages");
    ASSERT_EQ(tabs->count(), 2);
    EXPECT_TRUE(tabs->widget(1)->isAncestorOf(editor.control("kind")));
    EXPECT_EQ(editor.label("level")->buddy(), editor.control("level"));
    QWidget* next = editor.control("batch")->nextInFocusChain();
    while (!(next->focusPolicy() & Qt::TabFocus))
        next = next->nextInFocusChain();
    EXPECT_EQ(next, editor.control("kind"));
    QSignalSpy browse(&editor, &RecordEditor::browseRequested);
    find<QPushButton>(editor, "cmdHomeBrowse")->click();
    EXPECT_EQ(browse.value(0).value(0).toString(), "home");

    EXPECT_EQ(find<QComboBox>(editor, "kind")->currentText(), "Hard");
    retype(editor, "level", QStringLiteral("1a2.5-"));
    EXPECT_EQ(find<QLineEdit>(editor, "level")->text(), "12.5");
    find<QLineEdit>(editor, "level")->insert(QStringLiteral("x"));
    EXPECT_EQ(find<QLineEdit>(editor, "level")->text(), "12.5") << "a paste the box refuses";
    retype(editor, "name", QStringLiteral("bravo"));
    EXPECT_EQ(find<QLineEdit>(editor, "name")->text(), "BRAVO");
    retype(editor, "time", QStringLiteral("7:5"));
    emit find<QLineEdit>(editor, "time")->editingFinished();
    EXPECT_EQ(find<QLineEdit>(editor, "time")->text(), "07:05");
}

// Only what the sysop changed goes into the record as it stands at the save, so a field that
// a node program changed meanwhile keeps the node's value.
TEST(RecordEditor, ChangesApplyToTheRecordAsItStandsAndRefusalsChangeNothing) {
    RecordEditor editor(kTable);
    editor.load(sample());
    retype(editor, "level", QStringLiteral("20"));
    find<QCheckBox>(editor, "batch")->setChecked(true);
    Record meanwhile = sample();
    meanwhile.setStr("name", "NODE");
    meanwhile.setStr("time", "23:00");
    const Result<Record> edited = editor.applyTo(meanwhile);
    ASSERT_TRUE(edited.ok());
    Record expected = meanwhile;
    expected.setI16("level", 20);
    expected.setChr("batch", 1);
    EXPECT_EQ(edited.value().bytes(), expected.bytes());

    retype(editor, "level", QStringLiteral("40000"));
    const Result<Record> refused = editor.applyTo(meanwhile);
    ASSERT_FALSE(refused.ok());
    EXPECT_EQ(refused.error(), "Overflow: level cannot hold 40000");
}

class RecordDialogTest : public ::testing::Test {
  protected:
    RecordDialog& open() {
        auto owned = std::make_unique<MemorySource>();
        source = owned.get();
        source->unreadable = unreadable;
        dialog = std::make_unique<RecordDialog>(kTable, std::move(owned), dialogs);
        return *dialog;
    }
    void ok() { find<QPushButton>(*dialog, "cmdOK")->click(); }

    ScriptedDialogs dialogs;
    MemorySource* source = nullptr;
    std::unique_ptr<RecordDialog> dialog;
    bool unreadable = false;
};

TEST_F(RecordDialogTest, OkSavesThroughTheSourceAndCloses) {
    RecordDialog& form = open();
    QSignalSpy saved(&form, &RecordDialog::saved);
    ASSERT_TRUE(form.start());
    retype(form, "home", QStringLiteral("c:\\keld\\\\"));
    ok();
    EXPECT_EQ(source->stored.text("home"), "C:\\KELD");
    EXPECT_EQ(source->stored.str("kept"), QByteArray("\x01\x02\x03\x04"));
    EXPECT_EQ(saved.count(), 1);
    EXPECT_EQ(form.result(), QDialog::Accepted);
    EXPECT_TRUE(dialogs.shown.empty());
}

TEST_F(RecordDialogTest, ARefusedValueOrAFailedSaveIsSaidAndNothingIsStored) {
    RecordDialog& form = open();
    ASSERT_TRUE(form.start());
    retype(form, "level", QStringLiteral("70000"));
    ok();
    EXPECT_TRUE(form.isVisible()) << "a refused value closed the form";
    ASSERT_EQ(dialogs.shown.size(), 1u);
    EXPECT_EQ(dialogs.shown[0].text, "Overflow: level cannot hold 70000");
    EXPECT_EQ(source->stored.i16("level"), 10);

    retype(form, "level", QStringLiteral("5"));
    source->unwritable = true;
    source->closes = false;
    ok();
    EXPECT_TRUE(form.isVisible()) << "a settings form closed as if saved";
    source->closes = true;
    ok();
    EXPECT_FALSE(form.isVisible());
    EXPECT_NE(form.result(), QDialog::Accepted);
    ASSERT_EQ(dialogs.shown.size(), 3u);
    EXPECT_EQ(dialogs.shown[2].text, "Error saving entry 3, closing configuration.");
    EXPECT_EQ(source->stored.i16("level"), 10);
}

TEST_F(RecordDialogTest, ARecordThatCannotBeReadIsNeverShown) {
    unreadable = true;
    RecordDialog& form = open();
    EXPECT_FALSE(form.start());
    EXPECT_FALSE(form.isVisible());
    ASSERT_EQ(dialogs.shown.size(), 1u);
    EXPECT_EQ(dialogs.shown[0].text, "Error reading entry 3, closing configuration.");
}

} // namespace
