#include "server/forms/TextDisplay.h"

#include <QFontDatabase>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

TextDisplay::TextDisplay(const QString& title, const QString& text, QWidget* parent)
    : QDialog(parent), view_(new QPlainTextEdit(this)) {
    setObjectName(QStringLiteral("frmTextDisplay"));
    view_->setObjectName(QStringLiteral("txtDisplay"));
    view_->setReadOnly(true);
    view_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    view_->setLineWrapMode(QPlainTextEdit::NoWrap);
    setContent(title, text);
    view_->setMinimumSize(view_->fontMetrics().horizontalAdvance(QLatin1Char('M')) * 82,
                          view_->fontMetrics().height() * 30);
    auto* close = new QPushButton(QStringLiteral("Close"), this);
    close->setObjectName(QStringLiteral("cmdClose"));
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(view_);
    layout->addWidget(close, 0, Qt::AlignRight);
}

void TextDisplay::setContent(const QString& title, const QString& text) {
    setWindowTitle(title);
    // The reports end their lines DOS-fashion.
    view_->setPlainText(QString(text).remove(QLatin1Char('\r')));
}

QString TextDisplay::text() const {
    return view_->toPlainText();
}
