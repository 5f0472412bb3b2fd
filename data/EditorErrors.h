#pragma once

#include "platform/Dialogs.h"

#include <QString>

// The three boxes with which the board's record editors give up. Each is followed by the form
// closing; nothing is retried and the file stays as the failed operation left it.
namespace editorerrors {

// A list form could not load its table.
void listLoadFailed(Dialogs& dialogs);
// An edit form could not read or save record `number`; `kind` is one word such as "door".
void readFailed(Dialogs& dialogs, const QString& kind, int number);
void saveFailed(Dialogs& dialogs, const QString& kind, int number);

} // namespace editorerrors
