#pragma once

#include <QObject>
#include <QTimer>

// Whether the server's timer Timer<number> is running.
inline bool timerRuns(const QObject& server, int number) {
    const auto* timer = server.findChild<QTimer*>(QStringLiteral("Timer%1").arg(number));
    return timer && timer->isActive();
}
