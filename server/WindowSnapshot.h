#pragma once

#include "platform/NodeHost.h"

#include <optional>

// Answers the node table's questions about windows from one look at the host per watchdog
// round, so that a round over a hundred nodes asks the host once, not a hundred times. Each
// round also asks the host for a fresh look, which a host that has to ask tmux takes in when it
// comes and shows from the next round on. Outside a round every question goes to the host.
class WindowSnapshot final : public NodeHost {
  public:
    explicit WindowSnapshot(NodeHost& host) : host_(host) {}

    void beginRound() {
        host_.requestWindows();
        windows_ = host_.windows();
    }
    void endRound() { windows_.reset(); }
    // A window the round itself has made or lost is no longer what the snapshot says.
    void forget() { windows_.reset(); }

    QList<Window> windows() override { return windows_ ? *windows_ : host_.windows(); }
    qint64 findWindow(const QString& title) override;
    bool isWindow(qint64 handle) override;
    void requestWindows() override { host_.requestWindows(); }
    bool stalled() const override { return host_.stalled(); }
    void launch(const Launch& request, std::function<void(const Started&)> done) override {
        host_.launch(request, std::move(done));
    }
    Result<QString> show(qint64 handle, Show how) override { return host_.show(handle, how); }
    Result<> sendKeys(qint64 handle, const QList<KeyStroke>& keys) override {
        return host_.sendKeys(handle, keys);
    }

  private:
    NodeHost& host_;
    std::optional<QList<Window>> windows_;
};
