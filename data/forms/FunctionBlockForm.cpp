#include "data/forms/FunctionBlockForm.h"

#include "data/Board.h"
#include "data/ListEditTables.h"
#include "data/forms/RecordEditor.h"

#include <QPushButton>

FunctionBlockForm::FunctionBlockForm(Board& board, const QString& fileName, QWidget* parent)
    : ListForm(listtables::named("*.FB"), listtables::named("*.FB").rows(board, 0, fileName), board,
               parent),
      head_(new RecordEditor(listedit::fbHead(), this)) {
    addAbove(head_);
    auto* save = new QPushButton(QStringLiteral("&Save"), this);
    save->setObjectName(QStringLiteral("cmdSave"));
    addButton(save);
    connect(save, &QPushButton::clicked, this, &FunctionBlockForm::saveHead);
}

bool FunctionBlockForm::loadAll() {
    const Result<Record> head = model().rows().readHead();
    if (!head) {
        sayLoadFailed();
        return false;
    }
    head_->load(head.value());
    return load();
}

void FunctionBlockForm::saveHead() {
    if (busy())
        return;
    const Result<Record> typed = head_->applyTo(head_->loaded());
    const Result<> saved = typed ? model().rows().editHead([this](const Record& current) {
        return head_->applyTo(current);
    })
                                 : Result<>(failureOf(typed));
    if (!saved) {
        board().dialogs.message(QStringLiteral("KELDTS - Error"), saved.error(), MessageIcon::Stop);
        return;
    }
    if (const Result<Record> head = model().rows().readHead())
        head_->load(head.value());
    reload(selectedRow());
}
