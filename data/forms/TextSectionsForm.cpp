#include "data/forms/TextSectionsForm.h"

#include "data/Board.h"

#include <QPushButton>

TextSectionsForm::TextSectionsForm(Board& board, QWidget* parent)
    : ListForm(listtables::named("TEXTSECT.CFG"),
               listtables::named("TEXTSECT.CFG").rows(board, 0, {}), board, parent),
      bulletins_(new QPushButton(QStringLiteral("&Bulletins"), this)) {
    bulletins_->setObjectName(QStringLiteral("cmdBulletins"));
    addButton(bulletins_);
    connect(bulletins_, &QPushButton::clicked, this, &TextSectionsForm::openBulletins);
}

void TextSectionsForm::updateButtons() {
    ListForm::updateButtons();
    // Bulletins belong to a section that has a name.
    const int row = selectedRow();
    bulletins_->setEnabled(row >= 0 && !model().record(row).text("textsectdesc").isEmpty());
}

void TextSectionsForm::openBulletins() {
    const int row = selectedRow();
    if (busy() || row < 0)
        return;
    const listtables::ListTable& bulletins = listtables::named("TEXTn.DAT");
    auto* form = new ListForm(bulletins, bulletins.rows(board(), model().rows().numberOf(row), {}),
                              board(), this);
    if (!form->load()) {
        delete form;
        return;
    }
    openForm(form, [this, row] { reload(row); });
}
