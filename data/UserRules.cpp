#include "data/UserRules.h"

#include "data/TextHelpers.h"

namespace userrules {

qint16 timeLeft(const Record& user, QDate today) {
    // The time used counts for the day of the last call only.
    if (user.text("laston") != today.toString(QStringLiteral("yyMMdd")))
        return user.i16("maxtime");
    return static_cast<qint16>(user.i16("maxtime") - user.i16("timeused"));
}

void setTimeLeft(const Record& current, Record& edited, const QString& shown,
                 const QString& typed) {
    if (typed == shown && edited.i16("maxtime") == current.i16("maxtime"))
        return;
    edited.setI16("timeused", static_cast<qint16>(edited.i16("maxtime") - toInt16(typed)));
}

} // namespace userrules
