#pragma once

#include "platform/Result.h"

#include <QString>
#include <QStringList>

class Board;

// Starts the batches the server writes for its unattended duties, and never waits for one.
class BatchRunner {
  public:
    // How the batch's window is shown, where it has one.
    enum class Style { Hidden, Minimized, Normal };

    virtual ~BatchRunner() = default;
    // Starts the batch or program at the DOS path `dosPath`; fails when it could not be
    // started.
    virtual Result<> run(const QString& dosPath, const QStringList& arguments, Style style) = 0;
};

// Runs each batch as a process of its own through the board's DOS runner, in the main
// directory, detached from the server: it outlives a server that goes down meanwhile.
class DetachedBatchRunner final : public BatchRunner {
  public:
    explicit DetachedBatchRunner(const Board& board) : board_(board) {}
    Result<> run(const QString& dosPath, const QStringList& arguments, Style style) override;

  private:
    const Board& board_;
};
