#pragma once

#include <QDateTime>

// Every reading of the time of day goes through a Clock so that tests can stand at midnight,
// inside the network period or a second before it.
class Clock {
  public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
};

class SystemClock final : public Clock {
  public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
};
