#pragma once

#include "platform/Dialogs.h"

class QWidget;

// Message boxes on the desktop.
class GuiDialogs final : public Dialogs {
  public:
    explicit GuiDialogs(QWidget* parent = nullptr) : parent_(parent) {}
    void message(const QString& title, const QString& text, MessageIcon icon) override;
    bool askYesNo(const QString& title, const QString& text, bool defaultYes) override;

  private:
    QWidget* parent_;
};
