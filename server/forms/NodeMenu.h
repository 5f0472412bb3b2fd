#pragma once

#include <QMenu>

class Dialogs;
class NodeCommands;

// mnuNode "Node Information", the node list's popup. Which entries it offers depends on the
// node under the pointer and on the board's settings, decided anew each time it opens.
class NodeMenu : public QMenu {
    Q_OBJECT
  public:
    NodeMenu(NodeCommands& commands, Dialogs& dialogs, QWidget* parent = nullptr);

    // Shows exactly the entries that suit `node` (0: no node under the pointer) and makes
    // them act on it.
    void prepare(int node);
    // "Show Node Window", the node list's double click.
    void showNode(int node);

  private:
    NodeCommands& commands_;
    Dialogs& dialogs_;
    int node_ = 0;
};
