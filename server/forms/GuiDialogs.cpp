#include "server/forms/GuiDialogs.h"

#include <QMessageBox>

namespace {
QMessageBox::Icon toIcon(MessageIcon icon) {
    switch (icon) {
    case MessageIcon::Information:
        return QMessageBox::Information;
    case MessageIcon::Exclamation:
        return QMessageBox::Warning;
    case MessageIcon::Question:
        return QMessageBox::Question;
    case MessageIcon::Stop:
        return QMessageBox::Critical;
    }
    return QMessageBox::NoIcon;
}
} // namespace

void GuiDialogs::message(const QString& title, const QString& text, MessageIcon icon) {
    QMessageBox box(toIcon(icon), title, text, QMessageBox::Ok, parent_);
    box.exec();
}

bool GuiDialogs::askYesNo(const QString& title, const QString& text, bool defaultYes) {
    QMessageBox box(QMessageBox::Question, title, text, QMessageBox::Yes | QMessageBox::No,
                    parent_);
    box.setDefaultButton(defaultYes ? QMessageBox::Yes : QMessageBox::No);
    return box.exec() == QMessageBox::Yes;
}
