#include "data/forms/ListForm.h"

#include "data/Board.h"
#include "data/forms/ListEditForm.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QListView>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

const QString kErrorTitle = QStringLiteral("KELDTS - Error");

// Commands wait for the form to be free, and leave it free again however they end.
class BusyGuard {
  public:
    explicit BusyGuard(bool& busy) : busy_(busy) { busy_ = true; }
    ~BusyGuard() { busy_ = false; }
    BusyGuard(const BusyGuard&) = delete;
    BusyGuard& operator=(const BusyGuard&) = delete;

  private:
    bool& busy_;
};

} // namespace

ListForm::ListForm(const listtables::ListTable& table, std::unique_ptr<TableRows> rows,
                   Board& board, QWidget* parent)
    : QDialog(parent), pickFolder(folderbrowse::fileDialog(this)), table_(table), board_(board),
      model_(new TableModel(
          std::move(rows),
          [&table](const Record& record, int number, int count) {
              return listtables::rowText(table, record, number, count);
          },
          this)),
      frame_(new QGroupBox(this)), list_(new QListView(frame_)), buttons_(new QVBoxLayout) {
    setObjectName(QLatin1String(table.listForm));
    setWindowTitle(QLatin1String(table.caption));
    frame_->setObjectName(QLatin1String(table.listFrame));
    list_->setObjectName(QLatin1String(table.list));
    list_->setModel(model_);
    list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list_->setSelectionMode(QAbstractItemView::SingleSelection);
    list_->setUniformItemSizes(true);
    QFont fixed(QStringLiteral("Monospace"));
    fixed.setStyleHint(QFont::TypeWriter);
    list_->setFont(fixed);
    list_->setMinimumWidth(list_->fontMetrics().horizontalAdvance(QLatin1Char('M')) * 64);
    (new QVBoxLayout(frame_))->addWidget(list_);

    edit_ = button("cmdEdit", QStringLiteral("&Edit"), &ListForm::edit);
    if (table.inserts)
        insert_ = button("cmdInsert", QStringLiteral("&Insert"), &ListForm::insert);
    if (table.removes)
        delete_ = button("cmdDelete", QStringLiteral("&Delete"), &ListForm::remove);
    if (table.moves) {
        moveUp_ = button("cmdMoveUp", QStringLiteral("Move &Up"), &ListForm::moveUp);
        moveDown_ = button("cmdMoveDown", QStringLiteral("Move Do&wn"), &ListForm::moveDown);
    }
    buttons_->addStretch();
    auto* close = new QPushButton(QStringLiteral("Close"), this);
    close->setObjectName(QStringLiteral("cmdCancel"));
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    buttons_->addWidget(close);

    auto* outer = new QVBoxLayout(this);
    auto* row = new QHBoxLayout;
    row->addWidget(frame_, 1);
    row->addLayout(buttons_);
    outer->addLayout(row);

    connect(list_, &QListView::doubleClicked, this, &ListForm::edit);
    connect(list_->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &ListForm::updateButtons);
}

QPushButton* ListForm::button(const char* name, const QString& text, void (ListForm::*slot)()) {
    auto* button = new QPushButton(text, this);
    button->setObjectName(QLatin1String(name));
    connect(button, &QPushButton::clicked, this, slot);
    buttons_->addWidget(button);
    return button;
}

void ListForm::addAbove(QWidget* widget) {
    static_cast<QVBoxLayout*>(layout())->insertWidget(0, widget);
}

void ListForm::addButton(QPushButton* button) {
    // Above the stretch and Close.
    buttons_->insertWidget(buttons_->count() - 2, button);
}

bool ListForm::load() {
    BusyGuard busy(busy_);
    if (!model_->reload().ok()) {
        sayLoadFailed();
        return false;
    }
    select(0);
    return true;
}

void ListForm::sayLoadFailed() {
    board_.dialogs.message(kErrorTitle, listLoadFailure().reason, MessageIcon::Stop);
}

int ListForm::selectedRow() const {
    const QModelIndex current = list_->currentIndex();
    return current.isValid() && list_->selectionModel()->isSelected(current) ? current.row() : -1;
}

void ListForm::select(int row) {
    const int count = model_->rowCount();
    if (count == 0) {
        list_->clearSelection();
        list_->setCurrentIndex({});
    } else {
        list_->setCurrentIndex(model_->index(std::clamp(row, 0, count - 1)));
    }
    updateButtons();
}

void ListForm::updateButtons() {
    const int count = model_->rowCount();
    frame_->setTitle(listtables::listCaption(table_, count, model_->rows().name()));
    edit_->setEnabled(count > 0);
    if (delete_)
        delete_->setEnabled(count > 0);
    for (QPushButton* move : {moveUp_, moveDown_}) {
        if (move)
            move->setEnabled(count > 1);
    }
}

void ListForm::reload(int row) {
    if (!model_->reload().ok()) {
        sayLoadFailed();
        reject();
        return;
    }
    select(row);
}

void ListForm::report(const Result<>& result, int row) {
    if (result) {
        select(row);
        return;
    }
    // A change that could not finish is worth a line in the pane and the log as well: the box
    // goes when the sysop closes it.
    board_.logs.reportError(result.error());
    board_.dialogs.message(kErrorTitle, result.error(), MessageIcon::Stop);
    reload(row);
}

void ListForm::openForm(QDialog* form, std::function<void()> closed) {
    busy_ = true;
    form->setAttribute(Qt::WA_DeleteOnClose);
    connect(form, &QDialog::finished, this, [this, closed = std::move(closed)] {
        busy_ = false;
        closed();
    });
    form->open();
    emit formOpened(form);
}

void ListForm::edit() {
    const int row = selectedRow();
    if (busy_ || row < 0)
        return;
    ListEditForm* form = editForm(row);
    form->pickFolder = [this](const QString& start, std::function<void(const QString&)> chosen) {
        pickFolder(start, std::move(chosen));
    };
    if (!form->load()) {
        delete form;
        reload(row);
        return;
    }
    openForm(form, [this, row] { reload(row); });
}

ListEditForm* ListForm::editForm(int row) {
    return new ListEditForm(table_, model_->rows(), row, board_, this);
}

void ListForm::insert() {
    if (busy_ || model_->rowCount() >= model_->rows().limit())
        return;
    BusyGuard busy(busy_);
    const Result<> inserted = model_->insertNew();
    report(inserted, model_->rowCount() - 1);
}

void ListForm::remove() {
    const int row = selectedRow();
    if (busy_ || row < 0)
        return;
    BusyGuard busy(busy_);
    report(model_->remove(row), row);
}

void ListForm::moveUp() {
    move(true);
}

void ListForm::moveDown() {
    move(false);
}

void ListForm::move(bool up) {
    const int row = selectedRow();
    if (busy_ || row < 0)
        return;
    BusyGuard busy(busy_);
    const int neighbour = up ? row - 1 : row + 1;
    if (neighbour < 0 || neighbour >= model_->rowCount())
        return;
    report(model_->move(row, up), neighbour);
}
