#include "data/forms/PathsForm.h"

#include "data/Board.h"
#include "data/EditorErrors.h"
#include "data/FileHelpers.h"
#include "data/SystemConfig.h"

#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QPushButton>

namespace {

using formtable::Control;
using formtable::Keys;

const formtable::Table& table() {
    static const formtable::Table form{
        "keldpaths",
        "KELD - Paths Configuration",
        {},
        {
            {"main", "&Main Directory:", 0, nullptr, Control::Path, {}, Keys::Path},
            {"script", "&Scripts Directory:", 0, nullptr, Control::Path, {}, Keys::Path},
            {"dat", "&Data Directory:", 0, nullptr, Control::Path, {}, Keys::Path},
            {"txt", "&Text Directory:", 0, nullptr, Control::Path, {}, Keys::Path},
            {"control", "Co&ntrol Directory:", 0, nullptr, Control::Path, {}, Keys::Path},
            {"temp", "Tem&porary Directory:", 0, nullptr, Control::Path, {}, Keys::Path},
            {"db", "Data&base Directory:", 0, nullptr, Control::Path, {}, Keys::Path},
            {"sysop", "&Upload/Email Directory:", 0, nullptr, Control::Path, {}, Keys::Path},
            {"fdx", "&FDX Database Directory:", 0, nullptr, Control::Path, {}, Keys::Path},
        }};
    return form;
}

QLineEdit* box(const TableForm& form, std::string_view field) {
    return static_cast<QLineEdit*>(form.control(field));
}

} // namespace

PathsForm::PathsForm(Board& board, QWidget* parent)
    : TableForm(table(), sysPathsLayout(), parent), board_(board) {
    pickFolder = [this](const QString& start) {
        return QFileDialog::getExistingDirectory(this, QStringLiteral("Please select a folder."),
                                                 start);
    };
    onBrowse = [this](std::string_view field) { browse(field); };
    onOk = [this] { return save(); };
    if (!filehelpers::touchFile(board_.filePath("main", QStringLiteral("SYSPATHS.CFG")), false)) {
        editorerrors::listLoadFailed(board_.dialogs);
        return;
    }
    normalColour_ = box(*this, "main")->palette().color(QPalette::Base);
    onChange = [this] {
        for (std::string_view field : sysPathDirectoryFields()) {
            QLineEdit* edit = box(*this, field);
            QPalette palette = edit->palette();
            palette.setColor(QPalette::Base, exists(edit->text()) ? normalColour_ : kMissingColour);
            edit->setPalette(palette);
        }
    };
    load(board_.sysPaths);
    loaded_ = true;
}

bool PathsForm::exists(const QString& dosPath) const {
    const ResolvedPath resolved =
        resolveDosPath(board_.platform.drives, dosPath, QDir::currentPath());
    return !dosPath.trimmed().isEmpty() && resolved.ok() && filehelpers::dirExists(resolved.path);
}

void PathsForm::browse(std::string_view field) {
    QLineEdit* edit = box(*this, field);
    const ResolvedPath current =
        resolveDosPath(board_.platform.drives, edit->text(), QDir::currentPath());
    const QString start = exists(edit->text()) ? current.path : QDir::currentPath();
    const QString chosen = pickFolder(start).trimmed();
    if (chosen.isEmpty())
        return;
    const QString dos = dosPathOf(board_.platform.drives, chosen);
    if (dos.isEmpty()) {
        board_.dialogs.message(
            QStringLiteral("KELDTS - Error"),
            QStringLiteral("%1 is on no mapped drive! The node programs can only reach it "
                           "through a drive letter: add a line such as \"D=%1\" to the [Drives] "
                           "section of KELDTS.INI.")
                .arg(QDir::cleanPath(chosen)),
            MessageIcon::Information);
        return;
    }
    if (dos.size() > edit->maxLength()) {
        board_.dialogs.message(
            QStringLiteral("KELDTS - Error"),
            QStringLiteral("%1 is longer than %2 characters and cannot be stored.")
                .arg(dos)
                .arg(edit->maxLength()),
            MessageIcon::Information);
        return;
    }
    edit->setText(dos);
}

bool PathsForm::save() {
    Record edited = board_.sysPaths;
    bool allExist = true;
    for (std::string_view field : sysPathDirectoryFields()) {
        QString text = box(*this, field)->text().trimmed().toUpper();
        while (text.endsWith(QLatin1Char('\\')))
            text.chop(1);
        edited.setText(field, text);
        allExist = allExist && exists(text);
    }
    if (!allExist) {
        board_.dialogs.message(
            QStringLiteral("KELDTS - Error"),
            QStringLiteral("A path is invalid or missing! Paths will not be saved."),
            MessageIcon::Information);
        return false;
    }
    QString error;
    if (!putSysPaths(board_, edited, &error)) {
        editorerrors::saveFailed(board_.dialogs, QStringLiteral("node"), 1);
        return true;
    }
    loadSystemConfig(board_);
    return true;
}
