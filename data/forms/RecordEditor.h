#pragma once

#include "data/FormTable.h"
#include "platform/Result.h"

#include <QWidget>

class QLabel;

// The controls of one record, built from its form table: tabs, frames, labelled controls named
// after their fields, in the table's tab order. It holds a working copy of the record it was
// given and never touches a file; a dialog shell or a list form decides what becomes of it.
class RecordEditor : public QWidget {
    Q_OBJECT
  public:
    explicit RecordEditor(const formtable::Table& table, QWidget* parent = nullptr);

    const formtable::Table& table() const { return table_; }

    // Shows the record: texts trimmed, numbers in decimal, flags checked when not 0, combos on
    // the item of the stored code (none when no item has it).
    void load(const Record& record);
    const Record& loaded() const { return loaded_; }
    // Puts the record's values into the controls as if the sysop had typed them.
    void fill(const Record& record);
    // What the sysop changed, put into `base` by the table's rules; fields whose controls still
    // show what was loaded keep `base`'s bytes. Fails with the first value the rules refuse.
    Result<Record> applyTo(const Record& base) const;

    QWidget* control(std::string_view field) const;
    QLabel* label(std::string_view field) const;
    // Enables a control together with its label.
    void setFieldEnabled(std::string_view field, bool enabled);
    // The value a control holds, in the form the field codec takes it.
    QString value(const formtable::Entry& entry) const;

    // The browse button of a Path control: "cmd" and the field's name with a capital, "Browse".
    static QString browseButtonName(std::string_view field);

  signals:
    // After a load and after every change of a control: where a form keeps its rules of which
    // controls are enabled.
    void changed();
    void browseRequested(const QString& field);

  private:
    QWidget* build(const formtable::Entry& entry, QWidget* page);

    const formtable::Table& table_;
    Record loaded_;
};
