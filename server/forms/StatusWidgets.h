#pragma once

#include "server/StatusView.h"

#include <QFrame>
#include <QWidget>

#include <array>

class QLabel;

// The statistics table and the drive list: the part of the main form that folds away.
class StatusPanelWidget : public QFrame {
    Q_OBJECT
  public:
    explicit StatusPanelWidget(QWidget* parent = nullptr);
    void showView(const StatusPanelView& view);
    // A line of the form's own at the foot of the panel, in the panel's colours.
    void addFooter(QWidget* widget);

  private:
    struct Figures {
        QLabel* today;
        QLabel* total;
    };
    std::vector<Figures> figures_;
    std::array<std::array<QLabel*, 4>, kDriveRows> drives_{};
};

// The four alerts, each a lit picture and a grey one in the same place. A double click on
// either pager picture asks for the pager to be turned over.
class AlertIcons : public QWidget {
    Q_OBJECT
  public:
    explicit AlertIcons(QWidget* parent = nullptr);
    void showView(const StatusPanelView& view);

  signals:
    void pagerDoubleClicked();

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    struct Pair {
        QLabel* lit;
        QLabel* grey;
        void show(bool on) const;
    };
    Pair feedback_, files_, validate_, pager_;
};

// The small arrow that folds the statistics away (`shrink`) or brings them back.
QPixmap foldArrow(bool shrink);
