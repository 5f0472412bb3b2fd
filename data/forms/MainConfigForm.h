#pragma once

#include "data/forms/TableForm.h"

class Board;

// keldmain: MAIN.CFG, the board's own settings, on three pages. It works on the board's memory
// record, read afresh from the file when the form opens; OK writes it back as record 1.
class MainConfigForm : public TableForm {
    Q_OBJECT
  public:
    MainConfigForm(Board& board, QWidget* parent = nullptr);

    // False when MAIN.CFG could not be read; the form has said so and is not to be shown.
    bool loaded() const { return loaded_; }

  private:
    bool save();

    Board& board_;
    bool loaded_ = false;
};
