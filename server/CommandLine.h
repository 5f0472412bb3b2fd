#pragma once

#include <QString>

// The value of switch `name` on `commandLine`: "" when absent, "1" when given without a value.
// Case-blind; pieces are split at blanks and at their first "=".
QString getCommandSwitch(const QString& commandLine, const QString& name);
