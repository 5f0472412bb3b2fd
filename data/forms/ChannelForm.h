#pragma once

#include "data/forms/RecordDialog.h"

class Board;
class ChannelSource;
class QGroupBox;
class QScrollBar;

// keldchannel: how each of the hundred nodes reaches its line, one node at a time, from node 1.
// OK saves the shown node and leaves the form open, so that a sysop can set up one node after
// another.
class ChannelForm : public RecordDialog {
    Q_OBJECT
  public:
    explicit ChannelForm(Board& board, QWidget* parent = nullptr);

    int node() const;

  private:
    // Makes `node` the one the form works on.
    void selectNode(int node);
    // Shows a node as CHANNELX.CFG holds it; a node past the end of the file shows empty.
    void showNode(int node);

    ChannelSource& channels_;
    QGroupBox* frame_;
    QScrollBar* scroll_;
};
