#pragma once

#include "data/RecordLayout.h"
#include "data/forms/FormTable.h"

#include <QDialog>

#include <functional>

class QHBoxLayout;
class QLabel;

// A modal settings form built from its table: tabs, frames, labelled controls named after
// their fields, OK and Cancel. It edits nothing by itself; its owner loads a record into it and
// decides on OK what becomes of the stored one.
class TableForm : public QDialog {
    Q_OBJECT
  public:
    TableForm(const formtable::Table& table, const RecordLayout& layout, QWidget* parent = nullptr);

    // Shows the record's values: texts trimmed, numbers in decimal, flags checked when not 0.
    void load(const Record& record);
    // Puts the controls' values into `record`; fields the table does not name keep their bytes.
    // False, with nothing stored, when the table refuses a number too large for its field.
    bool store(Record& record, QString* error) const;

    QWidget* control(std::string_view field) const;
    QLabel* label(std::string_view field) const;
    // Enables a control together with its label.
    void setFieldEnabled(std::string_view field, bool enabled);

    // The browse button of a Path control: "cmd" and the field's name with a capital, "Browse".
    static QString browseButtonName(std::string_view field);
    // The pages (the tab widget, or the one page), for a form that puts them in a frame of its
    // own, and the row of OK and Cancel, for a form with buttons of its own before them.
    QWidget* pages() const { return pages_; }
    QHBoxLayout* buttonRow() const { return buttonRow_; }

    // Runs when a browse button is clicked, with the field it belongs to.
    std::function<void(std::string_view field)> onBrowse;
    // Runs on OK; the form closes when it returns true.
    std::function<bool()> onOk;
    // Runs after a load and after every change of a control: where a form keeps its rules of
    // which controls are enabled.
    std::function<void()> onChange;

  private:
    QWidget* pages_ = nullptr;
    QHBoxLayout* buttonRow_ = nullptr;
    const formtable::Table& table_;
    const RecordLayout& layout_;
};
