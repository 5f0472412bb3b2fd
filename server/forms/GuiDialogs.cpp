#include "server/forms/GuiDialogs.h"

#include <QDesktopServices>
#include <QMessageBox>
#include <QUrl>

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

QMessageBox* GuiDialogs::alreadyOpen(const QString& title, const QString& text) {
    open_.removeAll(nullptr);
    for (QMessageBox* box : std::as_const(open_)) {
        if (box->isVisible() && box->windowTitle() == title && box->text() == text)
            return box;
    }
    return nullptr;
}

void GuiDialogs::show(QMessageBox* box) {
    box->setAttribute(Qt::WA_DeleteOnClose);
    open_.append(box);
    box->open();
}

void GuiDialogs::message(const QString& title, const QString& text, MessageIcon icon,
                         Dismissed dismissed) {
    QMessageBox* box = alreadyOpen(title, text);
    if (!box) {
        box = new QMessageBox(toIcon(icon), title, text, QMessageBox::Ok, parent_);
        show(box);
    }
    if (dismissed)
        QObject::connect(box, &QMessageBox::finished, box, [dismissed](int) { dismissed(); });
}

void GuiDialogs::ask(const QString& title, const QString& text, bool defaultYes,
                     Answered answered) {
    QMessageBox* box = alreadyOpen(title, text);
    if (!box) {
        box = new QMessageBox(QMessageBox::Question, title, text,
                              QMessageBox::Yes | QMessageBox::No, parent_);
        box->setDefaultButton(defaultYes ? QMessageBox::Yes : QMessageBox::No);
        box->setEscapeButton(QMessageBox::No);
        show(box);
    }
    QObject::connect(box, &QMessageBox::finished, box, [box, answered](int) {
        answered(box->clickedButton() == box->button(QMessageBox::Yes));
    });
}

void GuiDialogs::openFile(const QString& path) {
    QDesktopServices::openUrl(QUrl::fromLocalFile(path));
}
