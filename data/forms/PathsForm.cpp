#include "data/forms/PathsForm.h"

#include "data/Board.h"
#include "data/SettingsSources.h"
#include "data/SettingsTables.h"
#include "data/forms/FolderBrowse.h"

#include <QLineEdit>

namespace {

QLineEdit* box(const RecordEditor& form, std::string_view field) {
    return static_cast<QLineEdit*>(form.control(field));
}

} // namespace

PathsForm::PathsForm(Board& board, QWidget* parent)
    : RecordDialog(sysPathsTable(), std::make_unique<SysPathsSource>(board), board.dialogs, parent),
      board_(board) {
    pickFolder = folderbrowse::fileDialog(this);
    RecordEditor* form = editor();
    connect(form, &RecordEditor::browseRequested, this, &PathsForm::browse);
    const QColor normal = box(*form, "main")->palette().color(QPalette::Base);
    connect(form, &RecordEditor::changed, this, [this, form, normal] {
        for (std::string_view field : sysPathDirectoryFields())
            folderbrowse::markMissing(board_, box(*form, field), normal);
    });
}

void PathsForm::browse(const QString& field) {
    folderbrowse::browse(board_, box(*editor(), field.toStdString()), pickFolder);
}
