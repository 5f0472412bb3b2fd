#pragma once

#include "data/Progress.h"

#include <QList>
#include <QStringList>

// Notes what a progress box was told: its showing and hiding, and each percentage.
class NotedProgress final : public ProgressView {
  public:
    void showProgress(const QString& title) override { noted << QStringLiteral("show ") + title; }
    void setProgress(int percent, const QString&) override { percents << percent; }
    void hideProgress() override { noted << QStringLiteral("hide"); }

    QStringList noted;
    QList<int> percents;
};
