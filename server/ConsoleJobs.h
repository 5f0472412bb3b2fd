#pragma once

#include "data/Progress.h"
#include "platform/Result.h"
#include "server/BatchRunner.h"

#include <QString>

#include <functional>

class Board;
class Dialogs;
class LogSinks;

// The small jobs of the Tools and Settings menus that are neither a form nor scheduled: a
// session at the console on node 0, and the channel records of every telnet node set up for
// this server. The desktop and `keldts ctl` both start them here.
class ConsoleJobs {
  public:
    using Done = std::function<void(const QString& outcome)>;

    ConsoleJobs(Board& board, LogSinks& logs, BatchRunner& runner)
        : board_(board), logs_(logs), runner_(runner) {}

    // Where the progress box of a long job shows; nowhere unless set.
    void setProgressView(ProgressView* view) { progressView_ = view; }

    // Starts the board on node 0 in a window of its own, unless someone is on node 0.
    void localLogin(Dialogs& answers, Done done = {});
    // Writes the channel records of the telnet nodes as this server needs them, after a
    // question.
    void autoNodeSetup(Dialogs& answers, Done done = {});

  private:
    [[nodiscard]] Result<> writeNodeChannels();

    Board& board_;
    LogSinks& logs_;
    BatchRunner& runner_;
    ProgressView* progressView_ = nullptr;
};
