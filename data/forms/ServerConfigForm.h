#pragma once

#include "data/forms/RecordDialog.h"

class Board;

// keldtsconfig: every setting of KELDTS.CFG. Whoever opens it loads the settings again after a
// save, so that the load's corrections apply to what was typed.
class ServerConfigForm : public RecordDialog {
    Q_OBJECT
  public:
    // With a node in use the telnet port stays as it is: a live caller is on it.
    ServerConfigForm(Board& board, bool nodeInUse, QWidget* parent = nullptr);
};
