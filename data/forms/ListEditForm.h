#pragma once

#include "data/ListTables.h"
#include "data/forms/FolderBrowse.h"
#include "data/forms/RecordDialog.h"

class Board;
class TableRowSource;

// The edit form of one row of a list table, the same for every table: the table's controls in
// one frame, captioned with the row's number and the row count.
class ListEditForm : public RecordDialog {
    Q_OBJECT
  public:
    ListEditForm(const listtables::ListTable& table, TableRows& rows, int row, Board& board,
                 QWidget* parent = nullptr);

    // Reads the row and shows it. False, after the box, when it could not be read.
    virtual bool load();

    // The folder picker of the browse buttons; a real file dialog unless replaced.
    folderbrowse::Picker pickFolder;

  private:
    const listtables::ListTable& table_;
    TableRows& rows_;
    int row_;
    TableRowSource* source_;
};
