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
    else if (admitting() >= mostAtOnce_ && !makeRoom())
        why = Drop::TooMany;
    if (why) {
        ++dropped_[*why];
        return why;
    }
    locked_.insert(address, QDeadlineTimer(QDeadlineTimer::Forever));
    admitting_.insert(address);
    return std::nullopt;
}

void AdmissionGate::leave(const QString& address) {
    lock(address);
}

void AdmissionGate::lock(const QString& address) {
    locked_.insert(address, QDeadlineTimer(kLockMs));
    admitting_.remove(address);
    silent_.remove(address);
}

void AdmissionGate::awaitKey(const QString& address, std::function<void()> drop) {
    Silent& silent = silent_[address];
    silent.since.start();
    silent.drop = std::move(drop);
}

void AdmissionGate::keyHeard(const QString& address) {
    silent_.remove(address);
}

bool AdmissionGate::makeRoom() {
    auto longest = silent_.end();
    for (auto it = silent_.begin(); it != silent_.end(); ++it) {
        if (it->since.hasExpired(silentGraceMs_) &&
            (longest == silent_.end() || it->since < longest->since))
            longest = it;
    }
    if (longest == silent_.end())
        return false;
    // The place is free from here on; the admission's own end comes later and changes nothing.
    const std::function<void()> drop = std::move(longest->drop);
    const QString address = longest.key();
    lock(address);
    drop();
    return true;
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
