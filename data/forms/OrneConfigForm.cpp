#include "data/forms/OrneConfigForm.h"

#include "data/Board.h"
#include "data/OrneSettings.h"
#include "data/RecordSource.h"
#include "data/forms/KeyFilterValidator.h"

#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

const QString kErrorTitle = QStringLiteral("KELDTS - Error");

// The kit's directories take what a DOS path may hold, in capitals.
const formtable::Entry kPathKeys{
    "path", "", 0, nullptr, formtable::Control::Path, {}, formtable::Keys::Path};

// The frames of the form and the first key of each; the gmtoffset box stands below them.
const struct {
    const char* title;
    const char* firstKey;
} kFrames[] = {{"SMTP", "SMTP"}, {"POP3", "POP3"}, {"NNTP", "NEWS"}};

// The browse button of each directory box.
const struct {
    const char* key;
    const char* button;
} kBrowseButtons[] = {{"SMTPPATH", "cmdSmtpPathBrowse"},
                      {"POP3PATH", "cmdPopPathBrowse"},
                      {"NEWSINPATH", "cmdNntpInPathBrowse"},
                      {"NEWSOUTPATH", "cmdNntpOutPathBrowse"}};

const char* browseButtonOf(const orne::Field& field) {
    for (const auto& entry : kBrowseButtons) {
        if (qstrcmp(entry.key, field.key) == 0)
            return entry.button;
    }
    return nullptr;
}

} // namespace

OrneConfigForm::OrneConfigForm(Board& board, QWidget* parent)
    : QDialog(parent), pickFolder(folderbrowse::fileDialog(this)), board_(board) {
    setObjectName(QStringLiteral("orneconfig"));
    setWindowTitle(QStringLiteral("ORNE - Configuration"));
    auto* layout = new QVBoxLayout(this);
    QFormLayout* rows = nullptr;
    for (const orne::Field& field : orne::fields()) {
        for (const auto& frame : kFrames) {
            if (qstrcmp(frame.firstKey, field.key) != 0)
                continue;
            auto* box = new QGroupBox(QLatin1String(frame.title), this);
            layout->addWidget(box);
            rows = new QFormLayout(box);
        }
        if (qstrcmp(field.key, "GMTOFFSET") == 0) {
            rows = new QFormLayout;
            layout->addLayout(rows);
        }
        auto* edit = new QLineEdit(this);
        edit->setObjectName(QLatin1String(field.control));
        boxes_.emplace_back(&field, edit);
        const char* button = browseButtonOf(field);
        if (!button) {
            rows->addRow(QLatin1String(field.label), edit);
            continue;
        }
        edit->setValidator(new KeyFilterValidator(kPathKeys, edit));
        auto* browse = new QPushButton(QStringLiteral("..."), this);
        browse->setObjectName(QLatin1String(button));
        auto* line = new QHBoxLayout;
        line->addWidget(edit, 1);
        line->addWidget(browse);
        rows->addRow(QLatin1String(field.label), line);
        connect(browse, &QPushButton::clicked, this,
                [this, edit] { folderbrowse::browse(board_, edit, pickFolder); });
        normal_ = edit->palette().color(QPalette::Base);
        connect(edit, &QLineEdit::textChanged, this,
                [this, edit] { folderbrowse::markMissing(board_, edit, normal_); });
    }
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    auto* ok = new QPushButton(QStringLiteral("&OK"), this);
    ok->setObjectName(QStringLiteral("cmdOK"));
    ok->setDefault(true);
    auto* cancel = new QPushButton(QStringLiteral("&Cancel"), this);
    cancel->setObjectName(QStringLiteral("cmdCancel"));
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    layout->addLayout(buttons);
    connect(ok, &QPushButton::clicked, this, &OrneConfigForm::save);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
}

QDialog* OrneConfigForm::open(Board& board, QWidget* parent) {
    auto* form = new OrneConfigForm(board, parent);
    if (form->load())
        return form;
    delete form;
    return nullptr;
}

bool OrneConfigForm::load() {
    const Result<QString> path = orne::iniPath(board_);
    iniPath_ = path ? path.value() : QString();
    for (const auto& [field, edit] : boxes_) {
        const Result<QString> value =
            path ? orne::value(iniPath_, QLatin1String(field->key)) : failureOf(path);
        if (!value) {
            board_.dialogs.message(kErrorTitle, listLoadFailure().reason, MessageIcon::Stop);
            return false;
        }
        edit->setText(value.value());
        // An empty box does not change and needs its colour all the same.
        if (browseButtonOf(*field))
            folderbrowse::markMissing(board_, edit, normal_);
    }
    return true;
}

void OrneConfigForm::save() {
    QList<std::pair<QString, QString>> values;
    for (const auto& [field, edit] : boxes_)
        values.append({QLatin1String(field->key), orne::stored(*field, edit->text())});
    if (Result<> written = orne::setValues(iniPath_, values); !written) {
        board_.dialogs.message(kErrorTitle, written.error(), MessageIcon::Stop);
        return;
    }
    accept();
}
