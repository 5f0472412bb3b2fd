#pragma once

#include "platform/Result.h"

#include <QByteArray>

#include <QString>
#include <QStringList>

class Board;
class LogSinks;
class NodeHost;

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

// Writes the batch `name` into the main directory and starts it from there.
Result<> writeAndRunBatch(const Board& board, BatchRunner& runner, const QString& name,
                          const QByteArray& text, BatchRunner::Style style);

// Runs each batch through the board's DOS runner, in the main directory: a hidden one as a
// process of its own, detached from the server, the others in a window of the node host, where
// the sysop can look at them as at a node. Either outlives a server that goes down meanwhile.
class BoardBatchRunner final : public BatchRunner {
  public:
    BoardBatchRunner(const Board& board, LogSinks& logs) : board_(board), logs_(logs) {}
    // Where windows come from; without a host every batch runs hidden.
    void setHost(NodeHost* host) { host_ = host; }
    Result<> run(const QString& dosPath, const QStringList& arguments, Style style) override;

  private:
    const Board& board_;
    LogSinks& logs_;
    NodeHost* host_ = nullptr;
};
