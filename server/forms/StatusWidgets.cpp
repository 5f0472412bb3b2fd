#include "server/forms/StatusWidgets.h"

#include <QEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>

namespace {

// The pictures are drawn on a grid of 22 and scaled to fit the menu bar they sit in.
constexpr int kIconSize = 18;
constexpr double kGrid = 22;
const QColor kGrey(150, 150, 150);
const QColor kDriveGood(82, 255, 82);
const QColor kDriveLow(255, 85, 82);

enum class Alert { Feedback, Files, Validate, Pager };

// The alert pictures are drawn here, one shape each, in colour when lit and in grey when not.
QPixmap alertPicture(Alert alert, bool lit) {
    QPixmap pixmap(kIconSize, kIconSize);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.scale(kIconSize / kGrid, kIconSize / kGrid);
    const QColor ink = lit ? QColor(40, 40, 40) : kGrey.darker(130);
    p.setPen(QPen(ink, 1.5));
    switch (alert) {
    case Alert::Feedback: {
        p.setBrush(lit ? QColor(255, 220, 80) : kGrey.lighter(130));
        const QRectF envelope(2.5, 5.5, 17, 12);
        p.drawRect(envelope);
        p.drawPolyline(QPolygonF({envelope.topLeft(), QPointF(11, 12.5), envelope.topRight()}));
        break;
    }
    case Alert::Files: {
        p.setBrush(lit ? QColor(120, 200, 255) : kGrey.lighter(130));
        p.drawPolygon(QPolygonF({{5.5, 2.5}, {13.5, 2.5}, {17.5, 6.5}, {17.5, 19.5}, {5.5, 19.5}}));
        p.drawPolyline(QPolygonF({{13.5, 2.5}, {13.5, 6.5}, {17.5, 6.5}}));
        for (double y : {10.5, 13.5, 16.5})
            p.drawLine(QPointF(8, y), QPointF(15, y));
        break;
    }
    case Alert::Validate: {
        p.setBrush(lit ? QColor(255, 255, 255) : kGrey.lighter(130));
        p.drawRoundedRect(QRectF(3.5, 3.5, 15, 15), 2, 2);
        p.setPen(QPen(lit ? QColor(20, 160, 40) : ink, 2.5));
        p.drawPolyline(QPolygonF({{6.5, 11}, {10, 14.5}, {16, 6.5}}));
        break;
    }
    case Alert::Pager: {
        p.setBrush(lit ? QColor(90, 220, 90) : kGrey.lighter(130));
        p.drawRoundedRect(QRectF(5.5, 2.5, 11, 17), 2, 2);
        p.setBrush(lit ? QColor(20, 60, 20) : kGrey.darker(110));
        p.drawRect(QRectF(7.5, 5, 7, 5));
        p.drawEllipse(QPointF(11, 15), 1.8, 1.8);
        break;
    }
    }
    return pixmap;
}

QLabel* alertLabel(const char* name, Alert alert, bool lit, const char* tip, QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setObjectName(QLatin1String(name));
    label->setPixmap(alertPicture(alert, lit));
    label->setToolTip(QLatin1String(tip));
    label->setVisible(!lit);
    return label;
}

QLabel* named(const QString& name, const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setObjectName(name);
    return label;
}

} // namespace

QPixmap foldArrow(bool shrink) {
    QPixmap pixmap(10, int(kGrid));
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(90, 90, 90));
    const double tip = shrink ? 2 : 8;
    const double base = shrink ? 8 : 2;
    p.drawPolygon(QPolygonF({{base, 5}, {tip, 11}, {base, 17}}));
    return pixmap;
}

StatusPanelWidget::StatusPanelWidget(QWidget* parent) : QFrame(parent) {
    setObjectName(QStringLiteral("fraStatus"));
    // The look of a board's waiting-for-caller screen: light figures on black.
    setAutoFillBackground(true);
    QPalette dark = palette();
    dark.setColor(QPalette::Window, Qt::black);
    dark.setColor(QPalette::WindowText, QColor(200, 200, 200));
    setPalette(dark);
    setFrameShape(QFrame::StyledPanel);

    auto* grid = new QGridLayout(this);
    grid->setHorizontalSpacing(10);
    grid->setVerticalSpacing(2);
    QFont heading = font();
    heading.setBold(true);
    const auto head = [&](const char* name, const char* text, int column) {
        QLabel* label = named(QLatin1String(name), QLatin1String(text), this);
        label->setFont(heading);
        label->setAlignment(Qt::AlignRight);
        grid->addWidget(label, 0, column);
    };
    head("lblStatsToday", "Today", 1);
    head("lblStatsTotal", "Total", 2);
    int line = 1;
    for (const StatisticsRow& row : statisticsRows()) {
        const QString base = QStringLiteral("lblStats") + QLatin1String(row.name);
        grid->addWidget(named(base, QLatin1String(row.name), this), line, 0);
        Figures shown{named(base + QStringLiteral("Today"), QStringLiteral("0"), this),
                      named(base + QStringLiteral("Total"), QStringLiteral("0"), this)};
        for (QLabel* figure : {shown.today, shown.total}) {
            figure->setAlignment(Qt::AlignRight);
            figure->setStyleSheet(QStringLiteral("color: rgb(120, 220, 255)"));
        }
        grid->addWidget(shown.today, line, 1);
        grid->addWidget(shown.total, line, 2);
        figures_.push_back(shown);
        ++line;
    }
    grid->setRowMinimumHeight(line++, 10);
    QLabel* drivesHead = named(QStringLiteral("lblHdHeading"), QStringLiteral("Drives"), this);
    drivesHead->setFont(heading);
    grid->addWidget(drivesHead, line++, 0);
    auto* driveGrid = new QGridLayout;
    driveGrid->setHorizontalSpacing(8);
    driveGrid->setVerticalSpacing(1);
    for (int row = 0; row < kDriveRows; ++row) {
        int column = 0;
        for (const char* part : {"lblHdDrive", "lblHdTotal", "lblHdFree", "lblHdPct"}) {
            QLabel* label = named(QLatin1String(part) + QString::number(row + 1), {}, this);
            label->setAlignment(column == 0 ? Qt::AlignLeft : Qt::AlignRight);
            driveGrid->addWidget(label, row, column);
            drives_[size_t(row)][size_t(column++)] = label;
        }
    }
    grid->addLayout(driveGrid, line++, 0, 1, 3);
    grid->setRowStretch(line, 1);
}

void StatusPanelWidget::addFooter(QWidget* widget) {
    auto* grid = static_cast<QGridLayout*>(layout());
    grid->addWidget(widget, grid->rowCount(), 0, 1, 3);
}

void StatusPanelWidget::showView(const StatusPanelView& view) {
    const auto rows = statisticsRows();
    for (size_t i = 0; i < figures_.size(); ++i) {
        figures_[i].today->setText(QString::number(view.statistics.i32(rows[i].todayField)));
        figures_[i].total->setText(QString::number(view.statistics.i32(rows[i].totalField)));
    }
    for (size_t row = 0; row < drives_.size(); ++row) {
        const DriveRow& drive = view.drives[row];
        const QString texts[] = {drive.driveText, drive.totalText, drive.freeText,
                                 drive.percentText};
        const QColor colour = drive.low ? kDriveLow : kDriveGood;
        for (size_t column = 0; column < 4; ++column) {
            QLabel* label = drives_[row][column];
            label->setText(texts[column]);
            label->setStyleSheet(drive.shown() ? QStringLiteral("color: %1").arg(colour.name())
                                               : QString());
        }
    }
}

AlertIcons::AlertIcons(QWidget* parent) : QWidget(parent) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(4);
    const auto pair = [&](Pair& made, const char* lit, const char* grey, Alert alert,
                          const char* litTip, const char* greyTip) {
        made = {alertLabel(lit, alert, true, litTip, this),
                alertLabel(grey, alert, false, greyTip, this)};
        // One place for both pictures: exactly one of them is visible.
        auto* place = new QWidget(this);
        auto* stack = new QGridLayout(place);
        stack->setContentsMargins(0, 0, 0, 0);
        made.lit->setParent(place);
        made.grey->setParent(place);
        stack->addWidget(made.lit, 0, 0);
        stack->addWidget(made.grey, 0, 0);
        row->addWidget(place);
    };
    pair(feedback_, "imgMailIcon", "imgMailIcon_Disabled", Alert::Feedback,
         "You Have New Feedback!", "No New Feedback");
    pair(files_, "imgFileIcon", "imgFileIcon_Disabled", Alert::Files, "New Files to Review!",
         "No Files to Review");
    pair(validate_, "imgValidateIcon", "imgValidateIcon_Disabled", Alert::Validate,
         "There are Messages to Validate", "No Messages to Validate");
    pair(pager_, "imgPager", "imgPager_Disabled", Alert::Pager, "SysOp is Available",
         "SysOp is Not Available");
    pager_.lit->installEventFilter(this);
    pager_.grey->installEventFilter(this);
}

void AlertIcons::Pair::show(bool on) const {
    lit->setVisible(on);
    grey->setVisible(!on);
}

void AlertIcons::showView(const StatusPanelView& view) {
    feedback_.show(view.feedback);
    files_.show(view.files);
    validate_.show(view.validate);
    pager_.show(view.pager);
}

bool AlertIcons::eventFilter(QObject* watched, QEvent* event) {
    if ((watched == pager_.lit || watched == pager_.grey) &&
        event->type() == QEvent::MouseButtonDblClick) {
        emit pagerDoubleClicked();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}
