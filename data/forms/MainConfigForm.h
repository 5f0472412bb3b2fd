#pragma once

#include "data/forms/RecordDialog.h"

class Board;

// keldmain: MAIN.CFG, the board's own settings, on three pages, read afresh from the file when
// the form opens.
class MainConfigForm : public RecordDialog {
    Q_OBJECT
  public:
    explicit MainConfigForm(Board& board, QWidget* parent = nullptr);
};
