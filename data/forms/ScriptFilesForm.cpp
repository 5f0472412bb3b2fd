#include "data/forms/ScriptFilesForm.h"

#include "data/Board.h"
#include "data/ScriptFiles.h"
#include "data/forms/FunctionBlockForm.h"
#include "data/forms/KeyFilterValidator.h"

#include <QDesktopServices>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

namespace {

struct Words {
    const char* objectName;
    const char* caption;
    const char* extension;
    const char* title; // of the list's frame, before the count
    const char* nameBox;
    const char* exists;
    const char* createTitle;
    const char* noun; // of the delete question
};

const Words kFunctionBlocks{"keldfbeditor",
                            "KELDTS - Function Block Editor",
                            "FB",
                            "Function Block Files (",
                            "newfb",
                            "The function block already exists!",
                            "KELD - Create New Function Block",
                            "function block"};
const Words kScripts{"keldscripteditor",
                     "KELDTS - Script Editor",
                     "V",
                     "Script Files (",
                     "newScript",
                     "The script already exists!",
                     "KELD - Create New Script",
                     "script"};

const Words& wordsOf(ScriptFilesForm::Kind kind) {
    return kind == ScriptFilesForm::Kind::FunctionBlocks ? kFunctionBlocks : kScripts;
}

// The new name takes what a DOS file name may hold, without an extension.
const formtable::Entry kBareName{
    "newName", "", 0, nullptr, formtable::Control::Text, {}, formtable::Keys::BareName};

} // namespace

ScriptFilesForm::ScriptFilesForm(Board& board, Kind kind, QWidget* parent)
    : QDialog(parent), openInEditor([](const QString& path) {
          QDesktopServices::openUrl(QUrl::fromLocalFile(path));
      }),
      board_(board), kind_(kind), frame_(new QGroupBox(this)), files_(new QListWidget(frame_)),
      newName_(new QLineEdit(this)) {
    const Words& words = wordsOf(kind);
    setObjectName(QLatin1String(words.objectName));
    setWindowTitle(QLatin1String(words.caption));
    files_->setObjectName(QStringLiteral("lstFiles"));
    (new QVBoxLayout(frame_))->addWidget(files_);
    newName_->setObjectName(QLatin1String(words.nameBox));
    newName_->setMaxLength(8);
    newName_->setValidator(new KeyFilterValidator(kBareName, newName_));

    auto* buttons = new QVBoxLayout;
    const auto add = [this, buttons](const char* name, const QString& text, auto slot) {
        auto* button = new QPushButton(text, this);
        button->setObjectName(QLatin1String(name));
        connect(button, &QPushButton::clicked, this, slot);
        buttons->addWidget(button);
        return button;
    };
    add("cmdOpen", QStringLiteral("&Open"), &ScriptFilesForm::openSelected);
    add("cmdDelete", QStringLiteral("&Delete"), &ScriptFilesForm::remove);
    buttons->addStretch();
    buttons->addWidget(newName_);
    add("cmdNew", QStringLiteral("&New"), &ScriptFilesForm::create);
    add("cmdCancel", QStringLiteral("Close"), &QDialog::reject);

    auto* layout = new QHBoxLayout(this);
    layout->addWidget(frame_, 1);
    layout->addLayout(buttons);
    connect(files_, &QListWidget::itemDoubleClicked, this, &ScriptFilesForm::openSelected);
    refresh();
}

QString ScriptFilesForm::selected() const {
    const QListWidgetItem* item = files_->currentItem();
    return item && item->isSelected() ? item->text() : QString();
}

void ScriptFilesForm::refresh() {
    const QStringList names = scriptfiles::list(board_, QLatin1String(wordsOf(kind_).extension));
    files_->clear();
    files_->addItems(names);
    frame_->setTitle(
        QStringLiteral("%1%2)").arg(QLatin1String(wordsOf(kind_).title)).arg(names.size()));
}

void ScriptFilesForm::create() {
    const QString base = newName_->text().trimmed();
    if (base.isEmpty())
        return;
    const Words& words = wordsOf(kind_);
    const QString name = base + QLatin1Char('.') + QLatin1String(words.extension);
    if (scriptfiles::exists(board_, name)) {
        board_.dialogs.message(QLatin1String(words.createTitle), QLatin1String(words.exists),
                               MessageIcon::Exclamation);
        return;
    }
    if (Result<> made = scriptfiles::create(board_, name); !made)
        board_.dialogs.message(QLatin1String(words.createTitle), made.error(), MessageIcon::Stop);
    refresh();
}

void ScriptFilesForm::remove() {
    const QString name = selected();
    if (name.isEmpty())
        return;
    board_.dialogs.ask(QStringLiteral("KELD - Delete Confirmation"),
                       QStringLiteral("Are you sure you want to delete this %1 (%2)?")
                           .arg(QLatin1String(wordsOf(kind_).noun), name),
                       false, [this, form = QPointer<ScriptFilesForm>(this), name](bool yes) {
                           if (!yes || !form)
                               return;
                           if (Result<> removed = scriptfiles::remove(board_, name); !removed)
                               board_.dialogs.message(QStringLiteral("KELDTS - Error"),
                                                      removed.error(), MessageIcon::Stop);
                           refresh();
                       });
}

void ScriptFilesForm::openSelected() {
    const QString name = selected();
    if (name.isEmpty())
        return;
    if (kind_ == Kind::Scripts) {
        openInEditor(scriptfiles::path(board_, name));
        return;
    }
    auto* form = new FunctionBlockForm(board_, name, this);
    if (!form->loadAll()) {
        delete form;
        return;
    }
    form->setAttribute(Qt::WA_DeleteOnClose);
    connect(form, &QDialog::finished, this, &ScriptFilesForm::refresh);
    form->open();
    emit formOpened(form);
}
