#include "platform/PlatformSettings.h"

#include "platform/FileAccess.h"

#include <QFileInfo>

namespace {

QString stripComment(const QString& line) {
    // A ';' starts a comment at the start of a line or after a blank; inside a value it is kept.
    for (qsizetype i = 0; i < line.size(); ++i) {
        if (line.at(i) == QLatin1Char(';') && (i == 0 || line.at(i - 1).isSpace()))
            return line.left(i);
    }
    return line;
}

// The settings that are taken as they are written.
const struct {
    const char* section;
    const char* key;
    QString PlatformSettings::*member;
} kTextKeys[] = {
    {"dos", "run", &PlatformSettings::dosRun},
    {"nodes", "viewer", &PlatformSettings::viewer},
    {"server", "listen", &PlatformSettings::listenAddress},
    {"services", "bbsfinder", &PlatformSettings::bbsFinder},
    {"services", "updater", &PlatformSettings::updater},
    {"services", "contact", &PlatformSettings::contact},
    {"services", "sysinfo", &PlatformSettings::sysInfo},
    {"orne", "directory", &PlatformSettings::orneDirectory},
};

QString* textSetting(PlatformSettings& settings, const QString& section, const QString& key) {
    for (const auto& entry : kTextKeys) {
        if (section == QLatin1String(entry.section) &&
            key.compare(QLatin1String(entry.key), Qt::CaseInsensitive) == 0)
            return &(settings.*entry.member);
    }
    return nullptr;
}

} // namespace

PlatformSettings readPlatformSettings(const QString& iniPath) {
    PlatformSettings settings;
    if (!QFileInfo::exists(iniPath) && !QFileInfo(iniPath).isSymLink()) {
        settings.missing = QStringLiteral("there is no %1").arg(iniPath);
        return settings;
    }
    const Result<QByteArray> text = fileaccess::readSmall(iniPath);
    if (!text) {
        settings.unreadable = text.error();
        return settings;
    }
    QString section;
    int lineNumber = 0;
    for (const QByteArray& raw : text.value().split('\n')) {
        ++lineNumber;
        const QString line = stripComment(QString::fromUtf8(raw)).trimmed();
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
        bool number = false;
        if (eq < 0) {
            settings.problems << where;
        } else if (QString* setting = textSetting(settings, section, key)) {
            *setting = value;
        } else if (section == QLatin1String("drives")) {
            if (key.size() == 1 && key.at(0).isLetter() && !value.isEmpty())
                settings.drives.map(key.at(0), value);
            else
                settings.problems << where;
        } else if (section == QLatin1String("nodes") &&
                   key.compare(QLatin1String("host"), Qt::CaseInsensitive) == 0) {
            settings.nodeHost = value.toLower();
        } else if (section == QLatin1String("callers") &&
                   key.compare(QLatin1String("nodes-per-address"), Qt::CaseInsensitive) == 0 &&
                   value.toUInt(&number) < 100 && number) {
            settings.nodesPerAddress = value.toInt();
        } else if (section == QLatin1String("callers") &&
                   key.compare(QLatin1String("press-esc"), Qt::CaseInsensitive) == 0 &&
                   (value.toLower() == QLatin1String("yes") ||
                    value.toLower() == QLatin1String("no"))) {
            settings.pressEsc = value.toLower() == QLatin1String("yes");
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
                          "viewer=\n"
                          "[Server]\n"
                          "listen=\n"
                          "[Callers]\n"
                          "nodes-per-address=0\n"
                          "press-esc=no\n"
                          "[Services]\n"
                          "bbsfinder=%2\n"
                          "updater=\n"
                          "contact=%3\n"
                          "sysinfo=\n")
        .arg(cDrive, PlatformSettings().bbsFinder, PlatformSettings().contact)
        .toUtf8();
}
