#include "data/forms/UserListForm.h"

#include "data/Board.h"
#include "data/ListTables.h"
#include "data/UserAccounts.h"
#include "data/UserRows.h"
#include "data/forms/UserEditForm.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPointer>
#include <QPushButton>
#include <QThread>
#include <QVBoxLayout>

#include <limits>

UserListForm::UserListForm(std::unique_ptr<TableRows> rows, Board& board, QWidget* parent)
    : ListForm(listtables::named("USERFILE.DAT"), std::move(rows), board, parent),
      find_(new QLineEdit(this)), insert_(new QPushButton(QStringLiteral("&Insert"), this)),
      delete_(new QPushButton(QStringLiteral("&Delete"), this)),
      compress_(new QPushButton(QStringLiteral("C&ompress"), this)) {
    // Tens of thousands of rows are laid out a screenful at a time, so the list paints at once.
    auto* list = findChild<QListView*>();
    list->setLayoutMode(QListView::Batched);
    list->setBatchSize(256);
    auto* findRow = new QWidget(this);
    auto* line = new QHBoxLayout(findRow);
    line->setContentsMargins(0, 0, 0, 0);
    auto* findLabel = new QLabel(QStringLiteral("&Find:"), findRow);
    findLabel->setBuddy(find_);
    find_->setObjectName(QStringLiteral("txtFind"));
    find_->setPlaceholderText(QStringLiteral("handle or name; Enter for the next"));
    line->addWidget(findLabel);
    line->addWidget(find_, 1);
    addAbove(findRow);
    connect(find_, &QLineEdit::textEdited, this, [this] { findNext(true); });
    connect(find_, &QLineEdit::returnPressed, this, [this] { findNext(false); });

    for (auto [button, name, slot] : {std::tuple{insert_, "cmdInsert", &UserListForm::insert},
                                      {delete_, "cmdDelete", &UserListForm::remove},
                                      {compress_, "cmdCompress", &UserListForm::compress}}) {
        button->setObjectName(QLatin1String(name));
        button->setAutoDefault(false);
        connect(button, &QPushButton::clicked, this, slot);
        addButton(button);
    }
}

UserListForm::~UserListForm() {
    // The pass works on this form's rows; it ends before they go.
    if (pass_)
        pass_->wait();
}

void UserListForm::reject() {
    if (!pass_)
        ListForm::reject();
}

ListEditForm* UserListForm::editForm(int row) {
    return new UserEditForm(model().rows(), row, board(), this);
}

void UserListForm::updateButtons() {
    ListForm::updateButtons();
    const int count = model().rowCount();
    delete_->setEnabled(count > 0);
    compress_->setEnabled(count > 0 && useraccounts::isCompressible(model().record(count - 1)));
}

void UserListForm::findNext(bool fromCurrent) {
    const QList<int> found = useraccounts::find(model().records(), find_->text());
    if (found.isEmpty())
        return;
    // As the sysop types, the selected user stays while he still matches; Enter goes on.
    const int start = std::max(selectedRow(), 0) + (fromCurrent ? 0 : 1);
    for (int number : found) {
        if (number - 1 >= start) {
            select(number - 1);
            return;
        }
    }
    select(found.first() - 1);
}

void UserListForm::insert() {
    if (busy() || model().rowCount() >= useraccounts::kMostUsers)
        return;
    runPass(
        [](TableRows& rows) -> Result<> {
            const Result<int> inserted = rows.insertNew();
            return inserted ? Result<>() : Result<>(failureOf(inserted));
        },
        -1);
}

void UserListForm::remove() {
    const int row = selectedRow();
    if (busy() || row < 0)
        return;
    const std::optional<Question> question = table().removal(model().record(row));
    board().dialogs.ask(question->title, question->text, false,
                        [form = QPointer<UserListForm>(this), row](bool yes) {
                            if (form && yes && !form->busy())
                                form->runPass([row](TableRows& rows) { return rows.remove(row); },
                                              row);
                        });
}

void UserListForm::compress() {
    if (busy())
        return;
    runPass([](TableRows& rows) { return rows.compress(); }, 0);
}

void UserListForm::runPass(std::function<Result<>(TableRows& rows)> change, int row) {
    setBusy(true);
    for (QPushButton* button : findChildren<QPushButton*>())
        button->setEnabled(false);
    if (progressView_)
        progressView_->showProgress(QStringLiteral("KELD - User Editor"));
    // The pass resolves its paths on a thread of its own while the minute tick may rewrite the
    // board's paths here: it works on a copy of the board taken before it starts.
    auto pinned = std::make_shared<const Board>(board());
    auto rows = std::make_shared<UserRows>(*pinned);
    rows->setProgress([form = QPointer<UserListForm>(this)](const QString& step, int percent) {
        QMetaObject::invokeMethod(
            form,
            [form, step, percent] {
                if (form->progressView_)
                    form->progressView_->setProgress(percent, step + QStringLiteral(": ") +
                                                                  ProgressSteps::caption(percent));
            },
            Qt::QueuedConnection);
    });
    auto outcome = std::make_shared<Result<>>();
    pass_ = QThread::create(
        [pinned, rows, change = std::move(change), outcome] { *outcome = change(*rows); });
    connect(pass_, &QThread::finished, this, [this, outcome, row] {
        pass_->deleteLater();
        pass_ = nullptr;
        if (progressView_)
            progressView_->hideProgress();
        setBusy(false);
        for (QPushButton* button : findChildren<QPushButton*>())
            button->setEnabled(true);
        // Reading the file again selects the row asked for, or the last for -1.
        const int wanted = row < 0 ? std::numeric_limits<int>::max() : row;
        if (outcome->ok())
            reload(wanted);
        else
            report(*outcome, wanted);
        emit passFinished();
    });
    pass_->start();
}
