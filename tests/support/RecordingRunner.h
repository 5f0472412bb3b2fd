#pragma once

#include "server/BatchRunner.h"

#include <vector>

// Takes note of every batch it is asked to start.
class RecordingRunner final : public BatchRunner {
  public:
    Result<> run(const QString& dosPath, const QStringList& arguments, Style style) override {
        runs.push_back({dosPath, style});
        this->arguments = arguments;
        if (!refusal.isEmpty())
            return Failure{refusal};
        return {};
    }
    struct Run {
        QString path;
        Style style;
        bool operator==(const Run&) const = default;
    };
    std::vector<Run> runs;
    QStringList arguments; // of the last run
    QString refusal;       // what makes every run fail when set
};
