#pragma once

#include "data/forms/ListEditForm.h"

class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;

// keldusereditoredit: one user, on the tabs of the user table, with what the sysop reads off a
// user beside his fields: his age, his ratio, the time he has left today and his counts. The
// validation profiles set level, time and flags in one go.
class UserEditForm : public ListEditForm {
    Q_OBJECT
  public:
    UserEditForm(TableRows& rows, int row, Board& board, QWidget* parent = nullptr);

    bool load() override;

    // The editor on user `number` by itself, as a node's popup opens it, with rows of its own.
    // Nullptr, after the box, when the user could not be read.
    static UserEditForm* openOn(Board& board, int number, QWidget* parent);

  protected:
    Result<Record> applyEdits(const Record& base) const override;

  private:
    void showComputed();
    void fillProfiles();
    void chooseProfile(int index);

    Board& board_;
    QLineEdit* timeLeft_;
    QComboBox* profiles_;
    QLabel* age_;
    QLabel* ratio_;
    QList<QLabel*> counts_;
    QList<Record> profileRecords_;
    QString timeLeftShown_;
};
