#include "server/forms/StatusBarForm.h"

#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

StatusBarForm::StatusBarForm(QWidget* parent)
    : QDialog(parent), label_(new QLabel(this)), bar_(new QProgressBar(this)) {
    setObjectName(QStringLiteral("frmStatusBar"));
    label_->setObjectName(QStringLiteral("Label1"));
    bar_->setObjectName(QStringLiteral("ProgressBar1"));
    bar_->setRange(0, 100);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(label_);
    layout->addWidget(bar_);
    setMinimumWidth(360);
    setProgress(0, ProgressSteps::caption(0));
}

void StatusBarForm::showProgress(const QString& title) {
    setWindowTitle(title);
    setProgress(0, ProgressSteps::caption(0));
    show();
}

void StatusBarForm::setProgress(int percent, const QString& caption) {
    label_->setText(caption);
    bar_->setValue(percent);
}

void StatusBarForm::hideProgress() {
    setProgress(0, ProgressSteps::caption(0));
    hide();
}
