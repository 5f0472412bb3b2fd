#include "data/forms/ListEditForm.h"

#include "data/Board.h"
#include "data/TableRowSource.h"

#include <QGroupBox>
#include <QLineEdit>

ListEditForm::ListEditForm(const listtables::ListTable& table, TableRows& rows, int row,
                           Board& board, QWidget* parent)
    : RecordDialog(table.form(),
                   std::make_unique<TableRowSource>(rows, row, QLatin1String(table.kind),
                                                    table.confirmation),
                   board.dialogs, parent),
      pickFolder(folderbrowse::fileDialog(this)), table_(table), rows_(rows), row_(row),
      source_(static_cast<TableRowSource*>(&source())) {
    connect(editor(), &RecordEditor::browseRequested, this, [this, &board](const QString& field) {
        folderbrowse::browse(board, static_cast<QLineEdit*>(editor()->control(field.toStdString())),
                             pickFolder);
    });
}

bool ListEditForm::load() {
    if (!loadRecord())
        return false;
    if (auto* frame = findChild<QGroupBox*>())
        frame->setTitle(
            listtables::frameCaption(table_, rows_.numberOf(row_), source_->count(), rows_.name()));
    return true;
}
