#pragma once

#include <QString>

// "h:m" typed by a person -> "hh:mm"; a part out of range becomes "00".
QString normalizeTime(const QString& text);
