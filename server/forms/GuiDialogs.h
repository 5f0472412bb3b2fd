#pragma once

#include "platform/Dialogs.h"

#include <QList>
#include <QPointer>

class QMessageBox;
class QWidget;

// Message boxes on the desktop, opened without a loop of their own: the server goes on while
// one is up. A box or question that is already up, word for word, is not opened a second
// time, so a setting that is found wrong once a minute does not pile boxes up while the sysop
// is away; a continuation given for the repeat runs with the first one's answer.
class GuiDialogs final : public Dialogs {
  public:
    explicit GuiDialogs(QWidget* parent = nullptr) : parent_(parent) {}
    void message(const QString& title, const QString& text, MessageIcon icon,
                 Dismissed dismissed = {}) override;
    void ask(const QString& title, const QString& text, bool defaultYes,
             Answered answered) override;
    void openFile(const QString& path) override;

  private:
    QMessageBox* alreadyOpen(const QString& title, const QString& text);
    void show(QMessageBox* box);

    QWidget* parent_;
    QList<QPointer<QMessageBox>> open_;
};
