#pragma once

#include "data/RecordLayout.h"
#include "data/records/BoardFiles.h"

#include <QString>

#include <array>
#include <span>
#include <string_view>

// One row of the statistics table. Its labels are "lblStats" + name + "Today" and "Total".
struct StatisticsRow {
    const char* name;
    std::string_view todayField;
    std::string_view totalField;
};
std::span<const StatisticsRow> statisticsRows();

// One row of the drive list. A row with no letter, or whose drive could not be read, shows
// nothing at all.
struct DriveRow {
    QChar letter;
    qint64 totalBytes = 0;
    qint64 freeBytes = 0;
    int percent = 0;
    // 5 percent free or less: the row turns red, otherwise green.
    bool low = false;
    QString driveText, totalText, freeText, percentText;
    bool shown() const { return !driveText.isEmpty(); }
};

inline constexpr int kDriveRows = 5;

// What the status panel shows: the board's own figures, the drives and the alerts.
struct StatusPanelView {
    Record statistics{statisticsLayout()};
    std::array<DriveRow, kDriveRows> drives;
    bool feedback = false;
    bool files = false;
    bool validate = false;
    bool pager = false;
};
