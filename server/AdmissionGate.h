#pragma once

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QHash>
#include <QMap>
#include <QSet>
#include <QString>

#include <functional>
#include <optional>

// Who may start an admission now. One admission at a time per calling address, and that
// address stays locked for a second after its admission ends, as the board has always taken
// one call a second; callers from other addresses go side by side, up to a bound, so that a
// client connecting and closing in a loop shuts out only itself. Every connection turned away
// here is counted, and the count is told at most once a second.
//
// A caller asked for keys who has typed nothing holds a place that a crowd of silent clients
// could fill for good. Once such a caller has been silent for a moment, its place goes to the
// next connection that finds every place taken: the longest silent is let go for it.
class AdmissionGate {
  public:
    enum class Drop { Stopped, Starting, AddressBusy, TooMany };

    explicit AdmissionGate(int mostAtOnce = 32, int silentGraceMs = 2000)
        : mostAtOnce_(mostAtOnce), silentGraceMs_(silentGraceMs) {}

    // Lets a connection from `address` begin its admission, or says why not and counts it.
    [[nodiscard]] std::optional<Drop> enter(const QString& address, bool accepting);
    // Its admission has ended: the address stays locked for one more second.
    void leave(const QString& address);
    // The admission from `address` waits for its caller's first key; `drop` ends it when its
    // place is wanted. Telnet commands are no keys: only typing calls keyHeard().
    void awaitKey(const QString& address, std::function<void()> drop);
    void keyHeard(const QString& address);
    // The lock held from the start of the server until its first second has passed.
    void open() { started_ = true; }

    // Once a second: forgets locks that have run out, and words what was dropped since the
    // last time ("" when nothing was).
    QString tick();
    int admitting() const { return int(admitting_.size()); }

  private:
    struct Silent {
        QElapsedTimer since;
        std::function<void()> drop;
    };
    // Lets the longest silent caller go, if one has been silent past the grace.
    bool makeRoom();
    void lock(const QString& address);

    const int mostAtOnce_;
    const int silentGraceMs_;
    bool started_ = false;
    QSet<QString> admitting_;
    QHash<QString, Silent> silent_;
    // An address under admission has no deadline; one whose admission ended, its release.
    QHash<QString, QDeadlineTimer> locked_;
    QMap<Drop, int> dropped_;
};
