#pragma once

#include "data/forms/ListForm.h"

// keldtextsect: the text sections, with a button to the bulletins of the selected one.
class TextSectionsForm : public ListForm {
    Q_OBJECT
  public:
    explicit TextSectionsForm(Board& board, QWidget* parent = nullptr);

  protected:
    void updateButtons() override;

  private:
    void openBulletins();

    QPushButton* bulletins_;
};
