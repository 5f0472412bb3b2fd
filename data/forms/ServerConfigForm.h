#pragma once

#include "data/forms/TableForm.h"

class Board;

// keldtsconfig: every setting of KELDTS.CFG. OK caps the node count, writes the file and loads
// the board's settings again, so the load's corrections apply to what was typed.
class ServerConfigForm : public TableForm {
    Q_OBJECT
  public:
    // With a node in use the telnet port stays as it is: a live caller is on it.
    ServerConfigForm(Board& board, bool nodeInUse, QWidget* parent = nullptr);

  private:
    Board& board_;
};
