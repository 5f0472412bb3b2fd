#pragma once

#include "data/RecordSource.h"
#include "data/forms/RecordEditor.h"

#include <QDialog>

#include <memory>

class Dialogs;
class QHBoxLayout;

// A record editor in a dialog with OK and Cancel. The record comes from its source and goes
// back through it; what the source or the table's rules refuse is said in a box, and the form
// then closes or stays as the source decides. A form that could not read its record is never
// shown.
class RecordDialog : public QDialog {
    Q_OBJECT
  public:
    RecordDialog(const formtable::Table& table, std::unique_ptr<RecordSource> source,
                 Dialogs& dialogs, QWidget* parent = nullptr);

    // Reads the record and shows it. False, after the box, when it could not be read.
    bool loadRecord();
    // Loads and opens the form window-modal, without a loop of its own. False, after the box,
    // when the record could not be read; the form is then not shown.
    bool start();

    RecordEditor* editor() const { return editor_; }
    RecordSource& source() const { return *source_; }
    // The row of buttons, for a form with buttons of its own before OK and Cancel.
    QHBoxLayout* buttonRow() const { return buttonRow_; }
    // Whether OK closes the form after a save; a form that edits one record after another stays.
    void setClosesAfterSave(bool closes) { closesAfterSave_ = closes; }
    // Saves as OK does, then closes or shows the record as saved. What went wrong is said in a
    // box.
    void save();

  signals:
    void saved();

  protected:
    void failed(const QString& text);
    // What the sysop changed, put into `base`: the table's rules, and a form's own after them.
    virtual Result<Record> applyEdits(const Record& base) const { return editor_->applyTo(base); }

  private:
    // Writes what the sysop changed and closes, or says why not.
    void store();

    RecordEditor* editor_;
    std::unique_ptr<RecordSource> source_;
    Dialogs& dialogs_;
    QHBoxLayout* buttonRow_;
    bool closesAfterSave_ = true;
};
