#pragma once

#include "server/ConsoleFace.h"

// The server without a window: it has nowhere to show itself, so it only remembers where a
// window would stand, which keeps KELDTS.DAT meaningful for the next desktop start.
class HeadlessFace : public ConsoleFace {
  public:
    ScreenGeometry geometry() const override { return {{1024, 768}, {kFullFormWidth, 480}}; }
    QPoint position() const override { return position_; }
    void place(const WindowPlacement& placement) override { position_ = placement.topLeft; }
    void setMinimized(bool) override {}
    void applyRunState(const RunStateView&) override {}
    void trayAdd(const QString&, int) override {}
    void trayModify(const QString&, int) override {}
    void trayRemove() override {}
    void setBanner(const QString&) override {}
    void showForm() override {}
    void bringToFront() override {}
    void hideForm() override {}
    void beep() override {}

  private:
    QPoint position_;
};
