#pragma once

#include "app/HeadlessFace.h"

#include <QMap>

// A window that is not there, noting what the server asked of it.
class FakeFace final : public HeadlessFace {
  public:
    void beep() override { ++beeps; }
    void showStatusPanel(const StatusPanelView&) override { ++panelsShown; }
    void setMenuVisible(const QString& name, bool visible) override { menus[name] = visible; }

    int beeps = 0;
    int panelsShown = 0;
    QMap<QString, bool> menus;
};
