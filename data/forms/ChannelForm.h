#pragma once

#include "data/forms/TableForm.h"

class Board;
class QGroupBox;
class QScrollBar;

// keldchannel: how each of the hundred nodes reaches its line. It edits CHANNELX.CFG one node
// at a time and keeps CHANNELS.CFG in step for the older node tools. OK saves the shown node
// and leaves the form open, so that a sysop can set up one node after another.
class ChannelForm : public TableForm {
    Q_OBJECT
  public:
    ChannelForm(Board& board, QWidget* parent = nullptr);

    int node() const { return node_; }
    // False once a read or a save failed: the form has said so and closed.
    bool loaded() const { return !failed_; }

  private:
    // Shows a node as CHANNELX.CFG holds it; a node past the end of the file shows empty.
    void showNode(int node);
    void save();
    QString path(const char* name) const;

    Board& board_;
    int node_ = 1;
    QGroupBox* frame_;
    QScrollBar* scroll_;
    bool failed_ = false;
};
