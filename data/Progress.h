#pragma once

#include <QString>

#include <functional>

// How far a long pass has come: what it does now ("Purging EMAIL.DAT") and the percentage of
// that step. Called on the thread that runs the pass.
using PassProgress = std::function<void(const QString& step, int percent)>;

// The progress box of the passes that take a while: a title, a caption "Please wait... (n%
// Complete)" and a bar. The desktop shows it; without a display nobody does.
class ProgressView {
  public:
    virtual ~ProgressView() = default;
    virtual void showProgress(const QString& title) = 0;
    virtual void setProgress(int percent, const QString& caption) = 0;
    virtual void hideProgress() = 0;
};

// Counts a pass's steps for its progress box. A pass that goes over its steps twice (once per
// file) steps with divisor 2, so the box fills once over both.
class ProgressSteps {
  public:
    explicit ProgressSteps(ProgressView* view) : view_(view) {}

    void begin(const QString& title, int total);
    // One step more; the percentage is the steps over the total over the divisor, cut to a
    // whole number and never above 100.
    void step(int divisor);
    // For a second round over the same steps.
    void halve() { done_ /= 2; }
    void end();

    static QString caption(int percent);

  private:
    ProgressView* view_;
    qint16 total_ = 0;
    qint16 done_ = 0;
};
