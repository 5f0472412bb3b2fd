#include "server/CommandLine.h"

#include <QStringList>

QString getCommandSwitch(const QString& commandLine, const QString& name) {
    const QString wanted = name.trimmed().toUpper();
    const QStringList pieces = commandLine.trimmed().toUpper().split(QLatin1Char(' '));
    for (const QString& raw : pieces) {
        const QString piece = raw.trimmed();
        if (piece.isEmpty())
            continue;
        const qsizetype eq = piece.indexOf(QLatin1Char('='));
        const QString key = eq < 0 ? piece : piece.left(eq);
        if (key != wanted)
            continue;
        const QString value = eq < 0 ? QString() : piece.mid(eq + 1).trimmed();
        return value.isEmpty() ? QStringLiteral("1") : value;
    }
    return {};
}
