#pragma once

#include <QObject>

class QWidget;

// A list form that failed to load shows its box and then goes away the moment it would come
// to the front. Arm it on that form; it closes the form on its next activation or show.
class CloseOnActivate : public QObject {
    Q_OBJECT
  public:
    explicit CloseOnActivate(QWidget* form);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    QWidget* form_;
};
