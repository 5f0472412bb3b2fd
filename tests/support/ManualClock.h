#pragma once

#include "platform/Clock.h"

// A clock that stands where the test puts it.
class ManualClock final : public Clock {
  public:
    explicit ManualClock(QDateTime at = QDateTime(QDate(2026, 3, 14), QTime(12, 0, 0)))
        : now_(at) {}
    QDateTime now() const override { return now_; }
    void set(const QDateTime& at) { now_ = at; }

  private:
    QDateTime now_;
};
