#pragma once

#include "data/RecordLayout.h"

#include <QDate>
#include <QString>

// The user editor's rule for the time a user has left today, which is no field of his record
// but the daily time less the time used. The edit form and the command line both go through
// here, so a sysop setting it either way stores the same.
namespace userrules {

// The minutes the user has left today: his daily time less what he used, when his last call
// was today; all of it on any other day.
qint16 timeLeft(const Record& user, QDate today);

// Puts the time left the sysop gave (`typed`, a number box's text) into `edited` as the time
// used: the daily time less it, in 16 bits. Left as it was shown (`shown`), with the daily time
// as in `current`, the time used stays as a node counted it meanwhile.
void setTimeLeft(const Record& current, Record& edited, const QString& shown, const QString& typed);

} // namespace userrules
