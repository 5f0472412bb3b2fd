#include "data/forms/RecordDialog.h"

#include "platform/Dialogs.h"

#include <QHBoxLayout>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
const QString kErrorTitle = QStringLiteral("KELDTS - Error");
}

RecordDialog::RecordDialog(const formtable::Table& table, std::unique_ptr<RecordSource> source,
                           Dialogs& dialogs, QWidget* parent)
    : QDialog(parent), editor_(new RecordEditor(table, this)), source_(std::move(source)),
      dialogs_(dialogs) {
    setObjectName(QLatin1String(table.objectName));
    setWindowTitle(QString::fromLatin1(table.caption));
    auto* outer = new QVBoxLayout(this);
    outer->addWidget(editor_);
    buttonRow_ = new QHBoxLayout;
    buttonRow_->addStretch();
    auto* ok = new QPushButton(QStringLiteral("&OK"), this);
    ok->setObjectName(QStringLiteral("cmdOK"));
    ok->setDefault(true);
    auto* cancel = new QPushButton(QStringLiteral("&Cancel"), this);
    cancel->setObjectName(QStringLiteral("cmdCancel"));
    buttonRow_->addWidget(ok);
    buttonRow_->addWidget(cancel);
    outer->addLayout(buttonRow_);
    if (!table.entries.empty())
        setTabOrder(editor_->control(table.entries.back().field), ok);
    setTabOrder(ok, cancel);
    connect(ok, &QPushButton::clicked, this, &RecordDialog::save);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
}

bool RecordDialog::loadRecord() {
    const Result<Record> record = source_->load();
    if (!record) {
        failed(record.error());
        return false;
    }
    editor_->load(record.value());
    return true;
}

bool RecordDialog::start() {
    if (!loadRecord())
        return false;
    open();
    return true;
}

void RecordDialog::failed(const QString& text) {
    dialogs_.message(kErrorTitle, text, MessageIcon::Stop);
    reject();
}

void RecordDialog::save() {
    // What the rules refuse is found before anything is written, and the form stays as typed.
    Result<Record> edited = applyEdits(editor_->loaded());
    Result<> acceptable = edited ? source_->check(edited.value()) : Result<>(failureOf(edited));
    if (!acceptable) {
        dialogs_.message(kErrorTitle, acceptable.error(), MessageIcon::Information);
        return;
    }
    if (const std::optional<Question> question = source_->confirmation(edited.value())) {
        dialogs_.ask(question->title, question->text, false,
                     [form = QPointer<RecordDialog>(this)](bool yes) {
                         if (form && yes)
                             form->store();
                     });
        return;
    }
    store();
}

void RecordDialog::store() {
    const Result<> stored =
        source_->save([this](const Record& current) { return applyEdits(current); });
    if (!stored) {
        if (source_->closesAfterFailedSave())
            failed(stored.error());
        else
            dialogs_.message(kErrorTitle, stored.error(), MessageIcon::Stop);
        return;
    }
    emit saved();
    if (closesAfterSave_)
        accept();
    else
        loadRecord();
}
