#pragma once

#include <QDeadlineTimer>
#include <QHash>
#include <QMap>
#include <QString>

#include <optional>

// Who may start an admission now. One admission at a time per calling address, and that
// address stays locked for a second after its admission ends, as the board has always taken
// one call a second; callers from other addresses go side by side, up to a bound, so that a
// client connecting and closing in a loop shuts out only itself. Every connection turned away
// here is counted, and the count is told at most once a second.
class AdmissionGate {
  public:
    enum class Drop { Stopped, Starting, AddressBusy, TooMany };

    explicit AdmissionGate(int mostAtOnce = 32) : mostAtOnce_(mostAtOnce) {}

    // Lets a connection from `address` begin its admission, or says why not and counts it.
    std::optional<Drop> enter(const QString& address, bool accepting);
    // Its admission has ended: the address stays locked for one more second.
    void leave(const QString& address);
    // The lock held from the start of the server until its first second has passed.
    void open() { started_ = true; }

    // Once a second: forgets locks that have run out, and words what was dropped since the
    // last time ("" when nothing was).
    QString tick();
    int admitting() const { return admitting_; }

  private:
    const int mostAtOnce_;
    bool started_ = false;
    int admitting_ = 0;
    // An address under admission has no deadline; one whose admission ended, its release.
    QHash<QString, QDeadlineTimer> locked_;
    QMap<Drop, int> dropped_;
};
