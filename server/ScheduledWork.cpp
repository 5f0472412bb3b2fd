#include "server/ScheduledWork.h"

#include "data/Board.h"
#include "data/FileHelpers.h"
#include "data/RecordFile.h"
#include "data/RecordTable.h"
#include "data/SystemConfig.h"
#include "data/records/BoardFiles.h"
#include "platform/FileWrite.h"
#include "platform/Wildcard.h"
#include "server/NodeFiles.h"

#include <QDir>
#include <QFileInfo>

using nodefiles::backToMain;

namespace {

QString yymmdd(const QDateTime& when) {
    return when.toString(QStringLiteral("yyMMdd"));
}

} // namespace

ScheduledWork::ScheduledWork(Board& board, LogSinks& logs, BatchRunner& runner,
                             std::function<bool()> anyNodeInUse)
    : board_(board), logs_(logs), runner_(runner), anyNodeInUse_(std::move(anyNodeInUse)) {}

QString ScheduledWork::mainDos() const {
    return board_.sysPaths.text("main");
}

QString ScheduledWork::mainPath(const QString& name) const {
    return board_.filePath("main", name);
}

BatchRunner::Style ScheduledWork::eventWindowStyle() const {
    return board_.serverConfig.i16("showeventwindow") != 0 ? BatchRunner::Style::Minimized
                                                           : BatchRunner::Style::Hidden;
}

Result<> ScheduledWork::writeAndRun(const QString& name, const QByteArray& text,
                                    BatchRunner::Style style) {
    return writeAndRunBatch(board_, runner_, name, text, style);
}

void ScheduledWork::reportDaily(const QString& text) {
    logs_.writeDebugPane(dailyPaneLine(board_.clock.now(), text));
    logs_.writeEventLog(text);
}

void ScheduledWork::removeLeftoverBatches() {
    const QDir main(board_.directoryPath("main"));
    const QStringList files = main.entryList(QDir::Files);
    for (const char* pattern : {"KTSDMNT.BAT", "KTSTOSS.BAT", "KTSLLGN.BAT", "KTSN???.BAT",
                                "EVNT????.BAT", "KTSSWEEP.BAT"}) {
        for (const QString& name : files) {
            if (matchesDosWildcard(QLatin1String(pattern), name))
                QFile::remove(main.filePath(name));
        }
    }
}

bool ScheduledWork::secondTick() {
    const Record& cfg = board_.serverConfig;
    const QDateTime now = board_.clock.now();
    const QString today = yymmdd(now);
    bool maintained = false;
    if (cfg.i16("dailymaint") == 1 && board_.mainConfig.text("lastdailymaint") != today) {
        if (!logs_.reported(runDailyMaintenance()))
            return false;
        maintained = true;
    }
    if (cfg.i16("eventbatch") == 1 && cfg.text("eventbatchdate") != today &&
        now.time().msecsSinceStartOfDay() >= 60 * 1000 && !logs_.reported(runEventBatch()))
        return maintained;
    if (cfg.i16("keldevents") == 1)
        runScheduledEvents();
    return maintained;
}

void ScheduledWork::minuteTick() {
    if (board_.serverConfig.i16("networktossing") == 1)
        logs_.reported(runTossBatch());
}

void ScheduledWork::startUp() {
    logs_.reported(runTossBatch());
    runScheduledEvents();
}

Result<> ScheduledWork::runDailyMaintenance() {
    if (board_.serverConfig.i16("dailymaint") != 1)
        return {};
    const QDateTime now = board_.clock.now();
    // The date goes to disk first, so a batch that fails is not tried again today.
    if (Result<> dated = setMainConfigText(board_, "lastdailymaint", yymmdd(now)); !dated)
        return dated;

    const QString m = mainDos();
    QStringList lines = nodefiles::batchHead(m, now);
    lines << QStringLiteral("KSWEEP.EXE /DAILY")
          << QStringLiteral("DEL %1\\*.FDX > NUL.").arg(board_.sysPaths.text("fdx"))
          << backToMain(m) << QStringLiteral("DEL %1\\KTSDMNT.BAT > NUL.").arg(m)
          << QStringLiteral("EXIT");
    if (Result<> ran = writeAndRun(QStringLiteral("KTSDMNT.BAT"), nodefiles::crlfLines(lines),
                                   eventWindowStyle());
        !ran)
        return ran;
    reportDaily(QStringLiteral("Daily Maintenance Performed"));
    return {};
}

Result<> ScheduledWork::runEventBatch() {
    if (!QFileInfo(mainPath(QStringLiteral("KTSEVNT.BAT"))).isFile()) {
        reportDaily(QStringLiteral("KTSEVNT.BAT is Missing"));
        return {};
    }
    board_.serverConfig.setText("eventbatchdate", yymmdd(board_.clock.now()));
    if (Result<> saved = writeServerConfig(board_, board_.serverConfig); !saved)
        return saved;
    if (Result<> ran = runner_.run(mainDos() + QStringLiteral("\\KTSEVNT.BAT"), {},
                                   BatchRunner::Style::Minimized);
        !ran)
        return ran;
    reportDaily(QStringLiteral("KTSEVNT.BAT was Executed"));
    return {};
}

void ScheduledWork::runScheduledEvents() {
    const QDateTime now = board_.clock.now();
    const QString name = QStringLiteral("EVNT%1.BAT").arg(now.toString(QStringLiteral("HHmm")));
    const QString minute = now.toString(QStringLiteral("HH:mm"));
    const QString today = yymmdd(now);
    const QString events = board_.path(eventsLayout());
    if (!filehelpers::touchFile(events, false).ok())
        return;
    const Result<qint16> count = recordtable::count(events, eventsLayout());
    if (!count)
        return;
    // Read once a second: nothing beyond the reading happens unless an event is due.
    QStringList commands;
    for (int number = 1; number <= count.value(); ++number) {
        Record event(eventsLayout());
        if (!recordfile::read(events, number, event).ok())
            return;
        if (event.text("evtdate") == today || event.text("evttime") != minute)
            continue;
        const QString command = event.text("evtcommand").trimmed().toUpper();
        const bool batch = command.section(QLatin1Char(' '), 0, 0).endsWith(QLatin1String(".BAT"));
        commands << (batch ? QStringLiteral("CALL ") + command : command);
        // Written at once: the event has had its day even if its batch never runs.
        event.setText("evtdate", today);
        if (!recordfile::write(events, number, event).ok())
            return;
    }
    if (commands.isEmpty())
        return;
    const QString m = mainDos();
    const QStringList lines =
        nodefiles::batchHead(m, now) + commands + backToMain(m) +
        QStringList{QStringLiteral("DEL %1\\%2").arg(m, name), QStringLiteral("EXIT")};
    // The batch is printed whole, and the print ends with a line end of its own.
    if (!writeAndRun(name, nodefiles::crlfLines(lines) + "\r\n", BatchRunner::Style::Minimized)
             .ok())
        return;
    const QString executed = QStringLiteral("%1 Event(s) Executed").arg(commands.size());
    logs_.writeDebugPane(eventPaneLine(now, executed));
    logs_.writeEventLog(executed);
}

Result<> ScheduledWork::runTossBatch() {
    const auto dat = [this](const char* name) {
        return board_.filePath("dat", QLatin1String(name));
    };
    // An empty trigger is a toss that was cancelled.
    for (const char* trigger : {"LOCAL.NET", "DISTRIB.NET", "SPOOL.NET"}) {
        const QFileInfo file(dat(trigger));
        if (file.isFile() && file.size() == 0)
            QFile::remove(file.filePath());
    }
    bool wanted = false;
    for (const char* trigger : {"SPOOL?.NET", "SPOOL.NET", "DISTRIB.NET", "LOCAL.NET"})
        wanted = wanted || filehelpers::fileExists(dat(trigger));
    if (!wanted)
        return {};
    const QString m = mainDos();
    QStringList lines = nodefiles::batchHead(m, board_.clock.now());
    lines << QStringLiteral("KTOSS.EXE 0 /TOSS") << QStringLiteral("ECHO @ECHO OFF > POLL.BAT")
          << QStringLiteral("FOR %%T IN (POLL?.NET) DO COPY POLL.BAT+%%T")
          << QStringLiteral("DEL POLL?.NET > NUL.") << QStringLiteral("CALL POLL.BAT")
          << QStringLiteral("DEL POLL.BAT > NUL.") << backToMain(m)
          << QStringLiteral("DEL %1\\KTSTOSS.BAT > NUL.").arg(m) << QStringLiteral("EXIT");
    return writeAndRun(QStringLiteral("KTSTOSS.BAT"), nodefiles::crlfLines(lines),
                       eventWindowStyle());
}

void ScheduledWork::sweep(Dialogs& answers, std::function<void(const QString& outcome)> done) {
    if (QFileInfo::exists(mainPath(QStringLiteral("KTSSWEEP.FLG")))) {
        done(QStringLiteral("a clean-up is running (KTSSWEEP.FLG)"));
        return;
    }
    const auto start = [this, done](bool forced) {
        const QString m = mainDos();
        QStringList lines = nodefiles::batchHead(m, board_.clock.now());
        lines << QStringLiteral("ECHO KTSSWEEP > KTSSWEEP.FLG")
              << (forced ? QStringLiteral("KSWEEP.EXE /SUPERCLEAN /OVERRIDE")
                         : QStringLiteral("KSWEEP.EXE /SUPERCLEAN"))
              << backToMain(m) << QStringLiteral("DEL KTSSWEEP.FLG > NUL.")
              << QStringLiteral("DEL %1\\KTSSWEEP.BAT > NUL.").arg(m) << QStringLiteral("EXIT");
        const Result<> ran = writeAndRun(QStringLiteral("KTSSWEEP.BAT"),
                                         nodefiles::crlfLines(lines), BatchRunner::Style::Normal);
        if (!logs_.reported(ran)) {
            done(ran.error());
            return;
        }
        done(forced ? QStringLiteral("started, forced") : QStringLiteral("started"));
    };
    if (!anyNodeInUse_()) {
        start(false);
        return;
    }
    answers.ask(QStringLiteral("KELD - Database Cleaning"),
                QStringLiteral("The BBS is currently active. Do you want to force this action?"),
                false, [start, done](bool yes) {
                    if (yes)
                        start(true);
                    else
                        done(QStringLiteral("not started: the BBS is currently active"));
                });
}
