#include "data/forms/FolderBrowse.h"

#include "data/Board.h"
#include "data/SettingsSources.h"

#include <QDir>
#include <QFileDialog>
#include <QLineEdit>

namespace folderbrowse {

Picker fileDialog(QWidget* parent) {
    return [parent](const QString& start) {
        return QFileDialog::getExistingDirectory(parent, QStringLiteral("Please select a folder."),
                                                 start);
    };
}

void browse(const Board& board, QLineEdit* box, const Picker& pick) {
    const ResolvedPath current =
        resolveDosPath(board.platform.drives, box->text(), QDir::currentPath());
    const QString start =
        isExistingDirectory(board, box->text()) ? current.path : QDir::currentPath();
    const QString chosen = pick(start).trimmed();
    if (chosen.isEmpty())
        return;
    const QString dos = dosPathOf(board.platform.drives, chosen);
    const QString title = QStringLiteral("KELDTS - Error");
    if (dos.isEmpty()) {
        board.dialogs.message(
            title,
            QStringLiteral("%1 is on no mapped drive! The node programs can only reach it "
                           "through a drive letter: add a line such as \"D=%1\" to the [Drives] "
                           "section of KELDTS.INI.")
                .arg(QDir::cleanPath(chosen)),
            MessageIcon::Information);
        return;
    }
    if (dos.size() > box->maxLength()) {
        board.dialogs.message(
            title,
            QStringLiteral("%1 is longer than %2 characters and cannot be stored.")
                .arg(dos)
                .arg(box->maxLength()),
            MessageIcon::Information);
        return;
    }
    box->setText(dos);
}

void markMissing(const Board& board, QLineEdit* box, const QColor& normal) {
    QPalette palette = box->palette();
    palette.setColor(QPalette::Base,
                     isExistingDirectory(board, box->text()) ? normal : kMissingColour);
    box->setPalette(palette);
}

} // namespace folderbrowse
