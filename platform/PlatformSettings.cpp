#include "platform/PlatformSettings.h"

#include <QFile>

namespace {

QString stripComment(const QString& line) {
    // A ';' starts a comment at the start of a line or after a blank; inside a value it is kept.
    for (qsizetype i = 0; i < line.size(); ++i) {
        if (line.at(i) == QLatin1Char(';') && (i == 0 || line.at(i - 1).isSpace()))
            return line.left(i);
    }
    return line;
}

} // namespace

PlatformSettings readPlatformSettings(const QString& iniPath) {
    PlatformSettings settings;
    QFile file(iniPath);
    if (!file.open(QIODevice::ReadOnly))
        return settings;
    QString section;
    int lineNumber = 0;
    while (!file.atEnd()) {
        ++lineNumber;
        const QString line = stripComment(QString::fromUtf8(file.readLine(4096))).trimmed();
        if (line.isEmpty())
            continue;
        if (line.startsWith(QLatin1Char('[')) && line.endsWith(QLatin1Char(']'))) {
            section = line.mid(1, line.size() - 2).trimmed().toLower();
            continue;
        }
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        const QString key = eq < 0 ? line : line.left(eq).trimmed();
        const QString value = eq < 0 ? QString() : line.mid(eq + 1).trimmed();
        const QString where = QStringLiteral("KELDTS.INI line %1: %2").arg(lineNumber).arg(line);
        if (eq < 0) {
            settings.problems << where;
        } else if (section == QLatin1String("drives")) {
            if (key.size() == 1 && key.at(0).isLetter() && !value.isEmpty())
                settings.drives.map(key.at(0), value);
            else
                settings.problems << where;
        } else if (section == QLatin1String("dos") &&
                   key.compare(QLatin1String("run"), Qt::CaseInsensitive) == 0) {
            settings.dosRun = value;
        } else if (section == QLatin1String("nodes") &&
                   key.compare(QLatin1String("host"), Qt::CaseInsensitive) == 0) {
            settings.nodeHost = value.toLower();
        } else if (section == QLatin1String("nodes") &&
                   key.compare(QLatin1String("viewer"), Qt::CaseInsensitive) == 0) {
            settings.viewer = value;
        } else {
            settings.problems << where;
        }
    }
    return settings;
}

QByteArray platformSettingsText(const QString& cDrive) {
    return QStringLiteral("[Drives]\n"
                          "C=%1\n"
                          "[Dos]\n"
                          "run=\n"
                          "[Nodes]\n"
                          "host=tmux\n"
                          "viewer=\n")
        .arg(cDrive)
        .toUtf8();
}
