#pragma once

#include <QSet>
#include <QString>

class Board;
class BatchRunner;
class LogSinks;
class NodeServices;

// Files that other programs, or the sysop, drop to steer the server: KILLNODE.n closes node n,
// and each trigger of KELDTSTR.DAT starts its program while its file lies there.
class FileTriggers {
  public:
    FileTriggers(Board& board, LogSinks& logs, NodeServices& nodes, BatchRunner& runner);

    // Once a minute. What goes wrong ends the poll quietly; the next minute tries again. A
    // program that cannot be started is reported once.
    void poll();

  private:
    void closeRequestedNodes();
    void fireTriggers();

    Board& board_;
    LogSinks& logs_;
    NodeServices& nodes_;
    BatchRunner& runner_;
    QSet<QString> reported_;
};
