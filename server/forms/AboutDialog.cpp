#include "server/forms/AboutDialog.h"

#include "data/Board.h"
#include "server/AboutText.h"
#include "server/ProjectLinks.h"

#include <QDesktopServices>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

namespace {

QLabel* line(const char* name, const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setObjectName(QLatin1String(name));
    return label;
}

} // namespace

AboutDialog::AboutDialog(const Board& board, QWidget* parent) : QDialog(parent), board_(board) {
    setObjectName(QStringLiteral("frmAbout"));
    setWindowTitle(QStringLiteral("KELDTS - About"));
    QLabel* title = line("lblTitle", QStringLiteral("KELDTS"), this);
    QFont big = title->font();
    big.setPointSizeF(big.pointSizeF() * 2);
    big.setBold(true);
    title->setFont(big);
    QLabel* disclaimer = line("lblDisclaimer", about::disclaimerText(board), this);
    disclaimer->setWordWrap(true);
    webLink_ = line("lblWebLink", QLatin1String(links::kHomePage), this);
    webLink_->setStyleSheet(QStringLiteral("color: palette(link); text-decoration: underline"));
    webLink_->setCursor(Qt::PointingHandCursor);
    webLink_->setToolTip(QStringLiteral("Double-click to open the KELDTS home page."));
    webLink_->installEventFilter(this);

    auto* sysInfo = new QPushButton(QStringLiteral("System Info..."), this);
    sysInfo->setObjectName(QStringLiteral("cmdSysInfo"));
    sysInfo->setEnabled(!about::sysInfoCommand(board).isEmpty());
    auto* ok = new QPushButton(QStringLiteral("OK"), this);
    ok->setObjectName(QStringLiteral("cmdOK"));
    ok->setDefault(true);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(title);
    layout->addWidget(line("lblVersion", about::versionText(), this));
    layout->addSpacing(8);
    layout->addWidget(line("lblUptime", about::uptimeText(board), this));
    layout->addWidget(line("lblMemoryUsage", about::memoryText(ownMemoryUse()), this));
    layout->addSpacing(8);
    layout->addWidget(disclaimer);
    layout->addWidget(webLink_);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(sysInfo);
    buttons->addWidget(ok);
    layout->addSpacing(8);
    layout->addLayout(buttons);
    setMinimumWidth(420);

    connect(ok, &QPushButton::clicked, this, &QDialog::accept);
    connect(sysInfo, &QPushButton::clicked, this, [this] {
        // Looked up again: the program may have gone since the box opened.
        const QStringList command = about::sysInfoCommand(board_);
        if (command.isEmpty() || !QProcess::startDetached(command.first(), command.mid(1)))
            board_.logs.reportError(QStringLiteral("Cannot run the system information program %1")
                                        .arg(board_.platform.sysInfo));
    });
}

bool AboutDialog::eventFilter(QObject* watched, QEvent* event) {
    if (watched == webLink_ && event->type() == QEvent::MouseButtonDblClick) {
        QDesktopServices::openUrl(QUrl(QLatin1String(links::kHomePage)));
        return true;
    }
    return QDialog::eventFilter(watched, event);
}
