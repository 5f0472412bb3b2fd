#pragma once

#include "server/BatchRunner.h"

#include <QDateTime>
#include <QString>

#include <functional>

class Board;
class Dialogs;
class LogSinks;

// The board's unattended duties: daily maintenance, the sysop's KTSEVNT.BAT, the scheduled
// events of EVENTS.CFG, the network toss and the database clean-up. The server does none of the
// work itself: it writes a batch into the main directory that ends by deleting itself, starts
// it and forgets it. The dates that say a duty is done are written before the batch runs, so a
// batch that fails is not tried again that day.
class ScheduledWork {
  public:
    ScheduledWork(Board& board, LogSinks& logs, BatchRunner& runner,
                  std::function<bool()> anyNodeInUse);

    // What a stop left behind: the generated batches (never KTSSWEEP.FLG). Failures are ignored.
    void removeLeftoverBatches();

    // The one-second timer's duties, in their order, each behind its guard. True when daily
    // maintenance was started.
    bool secondTick();
    // The one-minute timer's: the toss, when network tossing is on.
    void minuteTick();
    // Once at start-up, whatever the settings say: a toss, then the events due now.
    void startUp();

    Result<> runDailyMaintenance();
    Result<> runEventBatch();
    // Ends silently on a failure: the events that were due are lost for the day.
    void runScheduledEvents();
    Result<> runTossBatch();

    // The database clean-up, unless one runs (KTSSWEEP.FLG). With a node in use `answers` is
    // asked whether to force it. `done` gets what came of it, in a few words.
    void sweep(Dialogs& answers, std::function<void(const QString& outcome)> done);

  private:
    QString mainDos() const;
    QString mainPath(const QString& name) const;
    // Writes the batch `name` into the main directory and starts it.
    Result<> writeAndRun(const QString& name, const QByteArray& text, BatchRunner::Style style);
    // The style of maintenance and toss windows: minimised when event windows are shown.
    BatchRunner::Style eventWindowStyle() const;
    void reportDaily(const QString& text);

    Board& board_;
    LogSinks& logs_;
    BatchRunner& runner_;
    std::function<bool()> anyNodeInUse_;
};
