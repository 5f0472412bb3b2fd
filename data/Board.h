#pragma once

#include "data/RecordLayout.h"
#include "data/SettingsRecords.h"
#include "platform/Clock.h"
#include "platform/Dialogs.h"
#include "platform/PlatformSettings.h"
#include "platform/Result.h"

#include <QDate>
#include <QDateTime>
#include <QHash>
#include <QSet>
#include <QString>

// Where the server reports what it does: the debug pane and the event log. The console
// provides the real sinks; the board's logic only words the lines.
class LogSinks {
  public:
    virtual ~LogSinks() = default;
    virtual void writeDebugPane(const QString& line) = 0;
    virtual void writeEventLog(const QString& message) = 0;
    // "Error: " + text to the pane, the text alone to the event log.
    void reportError(const QString& text) {
        writeDebugPane(QStringLiteral("Error: ") + text);
        writeEventLog(text);
    }
    // Reports a failed `result`; whether it succeeded.
    bool reported(const Result<>& result) {
        if (!result)
            reportError(result.error());
        return result.ok();
    }
};

// The pane's two line styles: "hh:nn:ss : text" for events, and the daily style that adds the
// date, "hh:nn:ss : mm/dd/yyyy : text".
inline QString eventPaneLine(const QDateTime& now, const QString& text) {
    return now.toString(QStringLiteral("HH:mm:ss")) + QStringLiteral(" : ") + text;
}
inline QString dailyPaneLine(const QDateTime& now, const QString& text) {
    return eventPaneLine(now,
                         now.toString(QStringLiteral("MM/dd/yyyy")) + QStringLiteral(" : ") + text);
}

// Run states of the server.
enum ServerState : qint16 {
    StateStarting = -2,
    StateShuttingDown = -1,
    StateStopped = 0,
    StateOnline = 1,
    StateOffline = 2,
};

// Everything that lives as long as the server does: the settings images, where the board lies
// on this machine, and the run state. Passed to whoever needs it; there are no globals.
class Board {
  public:
    static constexpr const char* kVersion = "2.6.060524";

    Board(const Clock& clock, Dialogs& dialogs, LogSinks& logs, PlatformSettings platform)
        : clock(clock), dialogs(dialogs), logs(logs), platform(std::move(platform)) {}

    // A directory field of SYSPATHS.CFG (trimmed) joined with a file name, resolved to a native
    // path through the drive map. Relative paths are taken from the current directory.
    QString filePath(std::string_view directoryField, const QString& name) const;
    QString directoryPath(std::string_view directoryField) const;
    // Where a record file lies, by its declaration; `number` fills in a numbered file's name.
    QString path(const RecordLayout& file, int number = 0) const {
        return filePath(file.directory, file.nameOf(number));
    }
    // Where a change to several files at once is noted while it is under way, so that an
    // interrupted one is finished or undone before anything else is changed.
    QString journalPath() const { return filePath("main", QStringLiteral("KELDTS.JNL")); }

    const Clock& clock;
    Dialogs& dialogs;
    LogSinks& logs;
    PlatformSettings platform;

    Record sysPaths{sysPathsLayout()};
    Record mainConfig{mainConfigLayout()};
    Record serverConfig{serverConfigLayout()};
    Record windowState{windowStateLayout()};

    qint16 serverState = StateStarting;
    // The nodes that callers are being admitted to, with their calling addresses: in use, though
    // no node program runs there yet.
    QHash<int, QString> admitting;
    QDateTime startTime;
    QDate displayDate;
    // The length of a short MAIN.CFG the sysop has been told of; -1 for none.
    qint64 shortMainConfigReported = -1;
    // The lines of the IPv6 address list the sysop has been told the filter cannot read.
    QSet<QString> badV6LinesReported;
};
