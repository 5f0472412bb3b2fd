#include "data/forms/FolderBrowse.h"

#include "data/Board.h"
#include "data/SettingsSources.h"

#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QPointer>

namespace folderbrowse {

Picker fileDialog(QWidget* parent) {
    return [parent](const QString& start, std::function<void(const QString&)> chosen) {
        auto* dialog = new QFileDialog(parent, QStringLiteral("Please select a folder."), start);
        dialog->setFileMode(QFileDialog::Directory);
        dialog->setOption(QFileDialog::ShowDirsOnly);
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        QObject::connect(dialog, &QFileDialog::fileSelected, dialog, std::move(chosen));
        dialog->open();
    };
}

namespace {

void take(const Board& board, QLineEdit* box, const QString& picked) {
    const QString chosen = picked.trimmed();
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

} // namespace

void browse(const Board& board, QLineEdit* box, const Picker& pick) {
    const ResolvedPath current =
        resolveDosPath(board.platform.drives, box->text(), QDir::currentPath());
    const QString start =
        isExistingDirectory(board, box->text()) ? current.path : QDir::currentPath();
    pick(start, [&board, box = QPointer<QLineEdit>(box)](const QString& chosen) {
        if (box)
            take(board, box, chosen);
    });
}

void markMissing(const Board& board, QLineEdit* box, const QColor& normal) {
    QPalette palette = box->palette();
    palette.setColor(QPalette::Base,
                     isExistingDirectory(board, box->text()) ? normal : kMissingColour);
    box->setPalette(palette);
}

} // namespace folderbrowse
