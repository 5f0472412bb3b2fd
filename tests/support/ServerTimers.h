#pragma once

#include <QObject>
#include <QSignalSpy>
#include <QTimer>

// Whether the server's timer Timer<number> is running.
inline bool timerRuns(const QObject& server, int number) {
    const auto* timer = server.findChild<QTimer*>(QStringLiteral("Timer%1").arg(number));
    return timer && timer->isActive();
}

// Lets the server's first second go by at once: until its first tick the server takes no
// caller, as it always has at start.
inline void passFirstSecond(QObject& server) {
    auto* lock = server.findChild<QTimer*>(QStringLiteral("Timer1"));
    QSignalSpy ticked(lock, &QTimer::timeout);
    lock->start(1);
    ticked.wait(2000);
    lock->start(1000);
}
