#include "data/forms/CloseOnActivate.h"

#include <QEvent>
#include <QTimer>
#include <QWidget>

CloseOnActivate::CloseOnActivate(QWidget* form) : QObject(form), form_(form) {
    form->installEventFilter(this);
}

bool CloseOnActivate::eventFilter(QObject* watched, QEvent* event) {
    if (watched == form_ &&
        (event->type() == QEvent::WindowActivate || event->type() == QEvent::Show)) {
        form_->removeEventFilter(this);
        QTimer::singleShot(0, form_, &QWidget::close);
    }
    return QObject::eventFilter(watched, event);
}
