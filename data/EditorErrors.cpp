#include "data/EditorErrors.h"

namespace editorerrors {

namespace {
void stop(Dialogs& dialogs, const QString& text) {
    dialogs.message(QStringLiteral("KELDTS - Error"), text, MessageIcon::Stop);
}
} // namespace

void listLoadFailed(Dialogs& dialogs) {
    stop(dialogs, QStringLiteral("An error occurred; closing configuration."));
}

void readFailed(Dialogs& dialogs, const QString& kind, int number) {
    stop(dialogs,
         QStringLiteral("Error reading %1 %2, closing configuration.").arg(kind).arg(number));
}

void saveFailed(Dialogs& dialogs, const QString& kind, int number) {
    stop(dialogs,
         QStringLiteral("Error saving %1 %2, closing configuration.").arg(kind).arg(number));
}

} // namespace editorerrors
