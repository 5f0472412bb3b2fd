#pragma once

#include <QDate>
#include <QString>

// "h:m" typed by a person -> "hh:mm"; a part out of range becomes "00".
QString normalizeTime(const QString& text);

// A date as a count of days, the way the board's programs compare dates.
int dayNumber(int month, int day, int year);
// Whole years since a birthday, by the board's own reckoning of leap days.
int ageInYears(int month, int day, int year, const QDate& today);
