#include "server/forms/KtsUpdateDialog.h"

#include <QComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

KtsUpdateDialog::KtsUpdateDialog(std::function<void(int type)> start, QWidget* parent)
    : QDialog(parent) {
    setObjectName(QStringLiteral("frmKtsUpdate"));
    setWindowTitle(QStringLiteral("Kts Update"));
    auto* frame = new QGroupBox(QStringLiteral("Update Type"), this);
    frame->setObjectName(QStringLiteral("fraUpdate"));
    type_ = new QComboBox(frame);
    type_->setObjectName(QStringLiteral("updatetype"));
    type_->setToolTip(QStringLiteral("Choose the type of update you want to scan for."));
    type_->addItems({QStringLiteral("Latest Build"),
                     QStringLiteral("Unofficial and Official Releases"),
                     QStringLiteral("Official Releases")});
    type_->setCurrentIndex(2);
    (new QVBoxLayout(frame))->addWidget(type_);

    auto* ok = new QPushButton(QStringLiteral("OK"), this);
    ok->setObjectName(QStringLiteral("cmdOk"));
    ok->setDefault(true);
    auto* cancel = new QPushButton(QStringLiteral("Cancel"), this);
    cancel->setObjectName(QStringLiteral("cmdCancel"));
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(frame);
    layout->addLayout(buttons);

    // The places of the list are the kinds of KELDTS.CFG's `updatetype` less one.
    connect(ok, &QPushButton::clicked, this, [this, start = std::move(start)] {
        start(type_->currentIndex() + 1);
        accept();
    });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
}
