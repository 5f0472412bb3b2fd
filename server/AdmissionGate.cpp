#include "server/AdmissionGate.h"

#include <QStringList>

namespace {
constexpr int kLockMs = 1000;

const char* nameOf(AdmissionGate::Drop why) {
    switch (why) {
    case AdmissionGate::Drop::Stopped:
        return "server stopped";
    case AdmissionGate::Drop::Starting:
        return "server starting";
    case AdmissionGate::Drop::AddressBusy:
        return "address called within the second";
    case AdmissionGate::Drop::TooMany:
        return "too many callers at once";
    }
    return "";
}
} // namespace

std::optional<AdmissionGate::Drop> AdmissionGate::enter(const QString& address, bool accepting) {
    std::optional<Drop> why;
    const auto lock = locked_.constFind(address);
    if (!accepting)
        why = Drop::Stopped;
    else if (!started_)
        why = Drop::Starting;
    else if (lock != locked_.constEnd() && !lock->hasExpired())
        why = Drop::AddressBusy;
    else if (admitting_ >= mostAtOnce_)
        why = Drop::TooMany;
    if (why) {
        ++dropped_[*why];
        return why;
    }
    locked_.insert(address, QDeadlineTimer(QDeadlineTimer::Forever));
    ++admitting_;
    return std::nullopt;
}

void AdmissionGate::leave(const QString& address) {
    locked_.insert(address, QDeadlineTimer(kLockMs));
    --admitting_;
}

QString AdmissionGate::tick() {
    locked_.removeIf([](const auto& lock) { return lock.value().hasExpired(); });
    if (dropped_.isEmpty())
        return {};
    int total = 0;
    QStringList reasons;
    for (auto it = dropped_.cbegin(); it != dropped_.cend(); ++it) {
        total += it.value();
        reasons << QStringLiteral("%1 %2").arg(it.value()).arg(QLatin1String(nameOf(it.key())));
    }
    dropped_.clear();
    return QStringLiteral("%1 Connection%2 Dropped [%3]")
        .arg(total)
        .arg(total == 1 ? QString() : QStringLiteral("s"))
        .arg(reasons.join(QStringLiteral(", ")));
}
