#include "platform/Dialogs.h"

#include <cstdio>

namespace {
void printBox(const QString& prefix, const QString& title, const QString& text) {
    QString flat = text;
    flat.replace(QLatin1String("\r\n"), QLatin1String(" ")).replace(QLatin1Char('\n'), ' ');
    const QByteArray line = (prefix + title + QLatin1String(": ") + flat + '\n').toUtf8();
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stdout);
    std::fflush(stdout);
}
} // namespace

void DefaultAnswerDialogs::message(const QString& title, const QString& text, MessageIcon,
                                   Dismissed dismissed) {
    printBox(prefix_, title, text);
    if (dismissed)
        dismissed();
}

void DefaultAnswerDialogs::ask(const QString& title, const QString& text, bool defaultYes,
                               Answered answered) {
    printBox(prefix_, title,
             text + (defaultYes ? QLatin1String(" [Yes]") : QLatin1String(" [No]")));
    answered(defaultYes);
}
