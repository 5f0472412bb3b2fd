#pragma once

#include "console/DebugPane.h"
#include "data/Board.h"

// The server's three sinks: the debug pane, KELDTS.LOG in the main directory (rotated to
// KELDTS.OLD beyond `maxlogsize`) and BBS.LOG in the data directory.
class BoardLogs final : public LogSinks {
  public:
    explicit BoardLogs(DebugPane& pane) : pane_(pane) {}

    // The logs learn where the board lies once it exists; until then only the pane is written.
    void attach(const Board* board) { board_ = board; }

    void writeDebugPane(const QString& line) override;
    // Never fails to its caller: a failure is reported to the pane and logged once.
    void writeEventLog(const QString& message) override;
    // Appends one line to BBS.LOG. The caller decides what a failure means.
    bool writeBbsLog(const QString& line);

    // "hh:nn:ss" of now: the head of every event-style pane line.
    QString paneTime() const;

  private:
    bool appendEventLog(const QString& message);

    DebugPane& pane_;
    const Board* board_ = nullptr;
    bool reportingFailure_ = false;
};
