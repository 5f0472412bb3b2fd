#include "data/forms/PathsForm.h"

#include "data/Board.h"
#include "data/SettingsSources.h"
#include "data/SettingsTables.h"

#include <QDir>
#include <QFileDialog>
#include <QLineEdit>

namespace {

QLineEdit* box(const RecordEditor& form, std::string_view field) {
    return static_cast<QLineEdit*>(form.control(field));
}

} // namespace

PathsForm::PathsForm(Board& board, QWidget* parent)
    : RecordDialog(sysPathsTable(), std::make_unique<SysPathsSource>(board), board.dialogs, parent),
      board_(board) {
    pickFolder = [this](const QString& start) {
        return QFileDialog::getExistingDirectory(this, QStringLiteral("Please select a folder."),
                                                 start);
    };
    RecordEditor* form = editor();
    connect(form, &RecordEditor::browseRequested, this, &PathsForm::browse);
    const QColor normal = box(*form, "main")->palette().color(QPalette::Base);
    connect(form, &RecordEditor::changed, this, [this, form, normal] {
        for (std::string_view field : sysPathDirectoryFields()) {
            QLineEdit* edit = box(*form, field);
            QPalette palette = edit->palette();
            palette.setColor(QPalette::Base,
                             isExistingDirectory(board_, edit->text()) ? normal : kMissingColour);
            edit->setPalette(palette);
        }
    });
}

void PathsForm::browse(const QString& field) {
    QLineEdit* edit = box(*editor(), field.toStdString());
    const ResolvedPath current =
        resolveDosPath(board_.platform.drives, edit->text(), QDir::currentPath());
    const QString start =
        isExistingDirectory(board_, edit->text()) ? current.path : QDir::currentPath();
    const QString chosen = pickFolder(start).trimmed();
    if (chosen.isEmpty())
        return;
    const QString dos = dosPathOf(board_.platform.drives, chosen);
    const QString title = QStringLiteral("KELDTS - Error");
    if (dos.isEmpty()) {
        board_.dialogs.message(
            title,
            QStringLiteral("%1 is on no mapped drive! The node programs can only reach it "
                           "through a drive letter: add a line such as \"D=%1\" to the [Drives] "
                           "section of KELDTS.INI.")
                .arg(QDir::cleanPath(chosen)),
            MessageIcon::Information);
        return;
    }
    if (dos.size() > edit->maxLength()) {
        board_.dialogs.message(
            title,
            QStringLiteral("%1 is longer than %2 characters and cannot be stored.")
                .arg(dos)
                .arg(edit->maxLength()),
            MessageIcon::Information);
        return;
    }
    edit->setText(dos);
}
