#pragma once

#include "server/ConsoleFace.h"
#include "server/StatusView.h"

#include <QJsonObject>
#include <QString>

#include <functional>

class Board;
class LogSinks;

// The amount in the largest unit that keeps it at 1 or more, to two decimals with no trailing
// zeros, and the unit behind it: "512B", "1.5KB", "2GB". Nothing at all for 0.
QString sizeText(qint64 bytes);
// A drive's row from its letter and its sizes; a drive without a size shows nothing.
DriveRow driveRow(QChar letter, qint64 totalBytes, qint64 freeBytes);
// "+0100" for a time zone an hour east of Greenwich, whose bias (UTC minus local time, in
// minutes) is -60; "-0500" for a bias of 300.
QString timeZoneText(int biasMinutes);
// "KELDTS - <board> (<n> Node)" or "... Nodes)".
QString mainCaption(const QString& boardName, int nodes);

// The main form's picture of the board: the figures the node programs count in STATKBBS.DAT,
// the free space of the sysop's drives, the four alerts and the title. It is all read from the
// board's files at each refresh, since the nodes change them from other processes. The
// server's own part in the figures is the idle minutes and keeping STATKBBS.DAT from being
// reset. Nothing here fails loudly: a file that cannot be read leaves what was shown.
class StatusPanel {
  public:
    struct DriveSpace {
        qint64 total = 0;
        qint64 free = 0;
    };
    // The size of the file system that holds a directory; zeros when it cannot be told.
    using DriveProbe = std::function<DriveSpace(const QString& directory)>;

    StatusPanel(Board& board, LogSinks& logs, ConsoleFace& face,
                std::function<bool()> anyNodeInUse);

    const StatusPanelView& view() const { return view_; }
    // What `keldts ctl status --json` tells of the panel.
    QJsonObject toJson() const;
    void setDriveProbe(DriveProbe probe) { probe_ = std::move(probe); }

    // Everything read again and shown.
    void refresh();
    void showStatistics();
    void showDriveList();
    // Feedback, files to review and messages to validate; not the pager.
    void showAlertIcons();
    void showPagerState();
    // Turns the pager to the other state from the one shown, and says so in the pane.
    void togglePager();

    void guardStatistics();
    void countIdleMinute();
    // The one-minute timer's count towards the next refresh, by `refreshstatsinterval`.
    void countRefreshMinute();
    // The one-second timer's count after daily maintenance: the statistics are read again
    // once the maintenance has had time to roll the day's figures over.
    void countMaintenanceSecond();
    void maintenanceStarted();
    // Four times an hour, when `monitortimezone` is on.
    void watchTimeZone();
    // MAIN.CFG's `timezone` follows this machine's offset from UTC, for the node programs.
    void updateTimeZone();

    // Menu entries only for the add-on tools that are installed.
    void updateOptionalMenus();
    void setMainCaption();
    // The tray icon's tool tip: run state, pager and uptime.
    QString trayTip() const;

  private:
    void readStatistics();
    void readDriveList();
    void readFeedback();
    void readFiles();
    void readValidate();
    void readPager();
    void publish() { face_.showStatusPanel(view_); }
    QString statisticsBackup() const;

    Board& board_;
    LogSinks& logs_;
    ConsoleFace& face_;
    std::function<bool()> anyNodeInUse_;
    DriveProbe probe_;
    StatusPanelView view_;
    // The last record that passed the guard; zeros until the first pass.
    Record reference_;
    int refreshMinutes_ = 0;
    int maintenanceSeconds_ = 0;
};
