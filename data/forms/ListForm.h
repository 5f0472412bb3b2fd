#pragma once

#include "data/ListTables.h"
#include "data/TableModel.h"
#include "data/forms/FolderBrowse.h"

#include <QDialog>

class Board;
class ListEditForm;
class QGroupBox;
class QListView;
class QPushButton;
class QVBoxLayout;

// A list editor: the rows of one table, and commands that change the file at once (edit,
// insert, delete, move). Every table's list form is this one, given the table's declaration; a
// table with more to it adds its own buttons. While it loads, and while a form it opened is up,
// it is busy and every command returns at once.
class ListForm : public QDialog {
    Q_OBJECT
  public:
    ListForm(const listtables::ListTable& table, std::unique_ptr<TableRows> rows, Board& board,
             QWidget* parent = nullptr);

    // Reads the rows and selects the first. False, after the box, when the file could not be
    // read; the form is then not to be shown.
    bool load();

    bool busy() const { return busy_; }
    // The selected row, -1 for none.
    int selectedRow() const;
    TableModel& model() const { return *model_; }

    // The folder picker of the edit forms' browse buttons; a real file dialog unless replaced.
    folderbrowse::Picker pickFolder;

  signals:
    // A form this one opened is up, for whoever drives the forms.
    void formOpened(QDialog* form);

  protected:
    const listtables::ListTable& table() const { return table_; }
    Board& board() const { return board_; }
    // A table's own controls above the list.
    void addAbove(QWidget* widget);
    // Where a table's own buttons go, above Close.
    void addButton(QPushButton* button);
    // Opens `form` window-modal over this one, busy until it closes; `closed` runs then.
    void openForm(QDialog* form, std::function<void()> closed);
    // Reads the rows again and selects `row`, or the last row when there are fewer.
    void reload(int row);
    // The box of a list that could not be read.
    void sayLoadFailed();
    // Says what went wrong and reads the rows again.
    void report(const Result<>& result, int row);
    // After every change of the selection and of the rows.
    virtual void updateButtons();
    // The edit form of a row, not yet loaded.
    virtual ListEditForm* editForm(int row);
    void setBusy(bool busy) { busy_ = busy; }
    // Selects `row`, or the nearest there is.
    void select(int row);

  private:
    void edit();
    void insert();
    void remove();
    void moveUp();
    void moveDown();
    void move(bool up);
    QPushButton* button(const char* name, const QString& text, void (ListForm::*slot)());

    const listtables::ListTable& table_;
    Board& board_;
    TableModel* model_;
    QGroupBox* frame_;
    QListView* list_;
    QVBoxLayout* buttons_;
    QPushButton* edit_;
    QPushButton* insert_ = nullptr;
    QPushButton* delete_ = nullptr;
    QPushButton* moveUp_ = nullptr;
    QPushButton* moveDown_ = nullptr;
    bool busy_ = false;
};
