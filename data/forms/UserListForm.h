#pragma once

#include "data/Progress.h"
#include "data/forms/ListForm.h"

#include <functional>

class QLineEdit;
class QThread;

// keldusereditor: the board's users, a row a user number. A board may have tens of thousands,
// so the list is a view of the file and a find box jumps to a handle or a name. Inserts,
// deletes and compress clear what a number carried across the mail bases, which can take a
// while on a big board: they run away from the event loop, with their progress shown, and the
// form is busy until they are done.
class UserListForm : public ListForm {
    Q_OBJECT
  public:
    UserListForm(std::unique_ptr<TableRows> rows, Board& board, QWidget* parent = nullptr);
    ~UserListForm() override;

    // Where a long change shows how far it has come; nowhere unless set.
    void setProgressView(ProgressView* view) { progressView_ = view; }
    // Whether a long change is running.
    bool passRunning() const { return pass_ != nullptr; }

  signals:
    // A long change has ended and the list shows the file again.
    void passFinished();

  protected:
    void updateButtons() override;
    ListEditForm* editForm(int row) override;
    void reject() override;

  private:
    void insert();
    void remove();
    void compress();
    void findNext(bool fromCurrent);
    // Runs `change` on the rows on a thread of its own, then selects `row` (-1: the last).
    void runPass(std::function<Result<>(TableRows& rows)> change, int row);

    QLineEdit* find_;
    QPushButton* insert_;
    QPushButton* delete_;
    QPushButton* compress_;
    ProgressView* progressView_ = nullptr;
    QThread* pass_ = nullptr;
};
