#pragma once

#include <QString>
#include <QStringList>

class Board;
class BatchRunner;
class LogSinks;

// Starts the update program that KELDTS.INI names ([Services] updater=), on the schedule of
// KELDTS.CFG or when the sysop asks. What the program finds is its own business: the server
// never waits for it.
class UpdateLauncher {
  public:
    UpdateLauncher(Board& board, LogSinks& logs, BatchRunner& runner)
        : board_(board), logs_(logs), runner_(runner) {}

    // Whether there is a program to start.
    bool installed() const { return !program().isEmpty(); }
    // The once-a-minute check: starts the program quietly when a check is due, and notes the
    // day in KELDTS.CFG.
    void checkTick();
    // The sysop's own check for updates of `type`, 1 to 3 as in `updatetype`.
    void start(int type);

  private:
    // What the runner is to start: the setting, or where a bare program name was found on the
    // search path; empty while there is nothing to start.
    QString program() const;
    void run(const QStringList& arguments);

    Board& board_;
    LogSinks& logs_;
    BatchRunner& runner_;
};

// The box's text for a check by hand with no update program installed.
QString updaterMissingText();
