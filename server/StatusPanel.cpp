#include "server/StatusPanel.h"

#include "data/Board.h"
#include "data/FileHelpers.h"
#include "data/RecordFile.h"
#include "data/SystemConfig.h"
#include "data/TextHelpers.h"
#include "data/WaitingMail.h"
#include "platform/FileAccess.h"
#include "platform/FileWrite.h"
#include "server/RunState.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QStorageInfo>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr StatisticsRow kStatisticsRows[] = {
    {"Calls", "callstoday", "callstotal"},
    {"Nets", "netstoday", "netstotal"},
    {"Posts", "poststoday", "poststotal"},
    {"Emails", "emailstoday", "emailstotal"},
    {"Downloads", "downloadstoday", "downloadstotal"},
    {"Uploads", "uploadstoday", "uploadstotal"},
    {"Activity", "activitytoday", "activitytotal"},
};

// There is no Windows directory here: the add-on kit's programs stand beside the board's own.
constexpr std::string_view kAddOnDirectory = "main";

// A menu entry is shown when any one of its files is there.
struct OptionalTool {
    const char* menu;
    std::string_view directory;
    const char* file;
};
constexpr OptionalTool kOptionalTools[] = {
    {"mnuSettingsOrne", kAddOnDirectory, "NNTP.EXE"},
    {"mnuSettingsOrne", kAddOnDirectory, "SMTP.EXE"},
    {"mnuSettingsOrne", kAddOnDirectory, "POP3.EXE"},
    {"mnuSettingsOrne", kAddOnDirectory, "SCHEDULE.EXE"},
    {"mnuSettingsKeldconfigIrc", kAddOnDirectory, "KELDIRC.EXE"},
    {"mnuSettingsKeldconfigIrc", "main", "KELDCHAT.EXE"},
    {"mnuViewKeldmailLog", "main", "KELDMAIL.EXE"},
    {"mnuViewKeldchatLog", "main", "KELDCHAT.EXE"},
    {"mnuViewKeldwebLog", "dat", "KELD-WEB.LOG"},
    {"mnuViewKSyncerLog", "main", "KSYNCER.EXE"},
};

const QString kValidatePrefix = QStringLiteral("VALIDATE.");

// The record as the file holds it; bytes past a short file's end read as zeros, as the node
// programs see them.
Result<Record> readStatisticsFile(const QString& path) {
    Record record(statisticsLayout());
    record.bytes().fill('\0');
    if (Result<> read = recordfile::read(path, 1, record); !read)
        return failureOf(read);
    return record;
}

StatusPanel::DriveSpace storageOf(const QString& directory) {
    const QStorageInfo storage(directory);
    if (!storage.isValid() || !storage.isReady())
        return {};
    // All that is free, as the sysop counts his disk, not what this user may still fill.
    return {storage.bytesTotal(), storage.bytesFree()};
}

} // namespace

std::span<const StatisticsRow> statisticsRows() {
    return kStatisticsRows;
}

QString sizeText(qint64 bytes) {
    if (bytes <= 0)
        return QStringLiteral("0");
    static const char* const kUnits[] = {"B", "KB", "MB", "GB", "TB"};
    int unit = 0;
    while (unit < 4 && bytes >= (qint64(1) << (10 * (unit + 1))))
        ++unit;
    if (unit == 0)
        return QString::number(bytes) + QLatin1Char('B');
    // The amount is kept to four decimals, then shown to two with ties going to the even
    // digit, so 1.125 KB reads 1.12KB and 1.135 KB reads 1.14KB.
    const double amount = double(bytes) / double(qint64(1) << (10 * unit));
    const auto tenThousandths = static_cast<qint64>(std::llround(amount * 10000));
    qint64 hundredths = tenThousandths / 100;
    const qint64 rest = tenThousandths % 100;
    if (rest > 50 || (rest == 50 && hundredths % 2 == 1))
        ++hundredths;
    QString text = QString::number(hundredths / 100);
    if (const qint64 fraction = hundredths % 100) {
        text += QStringLiteral(".%1").arg(fraction, 2, 10, QLatin1Char('0'));
        if (text.endsWith(QLatin1Char('0')))
            text.chop(1);
    }
    return text + QLatin1String(kUnits[unit]);
}

DriveRow driveRow(QChar letter, qint64 totalBytes, qint64 freeBytes) {
    DriveRow row;
    row.letter = letter;
    if (totalBytes <= 0)
        return row;
    row.totalBytes = totalBytes;
    row.freeBytes = freeBytes;
    // Cut, never rounded: 5.9 percent free is still 5 and red.
    row.percent = static_cast<int>(static_cast<__int128>(freeBytes) * 100 / totalBytes);
    row.low = row.percent <= 5;
    row.driveText = QString(letter) + QLatin1Char(':');
    row.totalText = sizeText(totalBytes);
    row.freeText = sizeText(freeBytes);
    row.percentText = QString::number(row.percent) + QLatin1Char('%');
    return row;
}

QString timeZoneText(int biasMinutes) {
    const QChar sign = biasMinutes < 1 ? QLatin1Char('+') : QLatin1Char('-');
    const int minutes = std::abs(biasMinutes);
    return QStringLiteral("%1%2%3")
        .arg(sign)
        .arg(minutes / 60, 2, 10, QLatin1Char('0'))
        .arg(minutes % 60, 2, 10, QLatin1Char('0'));
}

QString mainCaption(const QString& boardName, int nodes) {
    return QStringLiteral("KELDTS - %1 (%2 %3)")
        .arg(boardName.trimmed())
        .arg(nodes)
        .arg(nodes >= 2 ? QStringLiteral("Nodes") : QStringLiteral("Node"));
}

StatusPanel::StatusPanel(Board& board, LogSinks& logs, ConsoleFace& face,
                         std::function<bool()> anyNodeInUse)
    : board_(board), logs_(logs), face_(face), anyNodeInUse_(std::move(anyNodeInUse)),
      probe_(storageOf), reference_(statisticsLayout()) {
    reference_.bytes().fill('\0');
}

QString StatusPanel::statisticsBackup() const {
    return board_.filePath(statisticsLayout().directory, QStringLiteral("STATKBBS.BAK"));
}

void StatusPanel::refresh() {
    readStatistics();
    readDriveList();
    readFeedback();
    readFiles();
    readValidate();
    readPager();
    publish();
}

void StatusPanel::showStatistics() {
    readStatistics();
    publish();
}

void StatusPanel::showDriveList() {
    readDriveList();
    publish();
}

void StatusPanel::showAlertIcons() {
    readFeedback();
    readFiles();
    readValidate();
    publish();
}

void StatusPanel::showPagerState() {
    readPager();
    publish();
}

void StatusPanel::readStatistics() {
    const QString path = board_.path(statisticsLayout());
    Result<Record> read = readStatisticsFile(path);
    if (read)
        view_.statistics = std::move(read).value();
    else if (QFileInfo::exists(path)) // a board with no calls yet has no statistics either
        logs_.reportError(read.error());
}

void StatusPanel::readDriveList() {
    view_.drives = {};
    const QString drives = board_.mainConfig.text("wfcdrives");
    board_.mainConfig.setText("wfcdrives", drives);
    QString letters = drives;
    letters.remove(QLatin1Char(' '));
    const DriveMap& map = board_.platform.drives;
    for (int row = 0; row < std::min<int>(kDriveRows, int(letters.size())); ++row) {
        const QChar letter = letters.at(row);
        // A drive the board does not map is no disk of this machine: its row stays empty.
        const DriveSpace space =
            map.isMapped(letter) ? probe_(map.directoryOf(letter)) : DriveSpace{};
        view_.drives[size_t(row)] = driveRow(letter, space.total, space.free);
    }
}

void StatusPanel::readFeedback() {
    const Result<int> waiting = countWaitingMail(board_, 1);
    if (!waiting)
        logs_.reportError(waiting.error());
    view_.feedback = waiting && waiting.value() >= 1;
}

void StatusPanel::readFiles() {
    view_.files = false;
    // The uploads waiting for review share the mail's layout; "read" there means reviewed.
    static const MailField<qint16> reviewed("mailread");
    const Result<> walked =
        forEachMailRecord(board_.filePath(mailLayout().directory, QStringLiteral("UPLOADS.DAT")),
                          [this](const char* upload) {
                              view_.files = reviewed.of(upload) == 0;
                              return !view_.files;
                          });
    if (!walked)
        logs_.reportError(walked.error());
}

void StatusPanel::readValidate() {
    view_.validate = false;
    const QDir data(board_.directoryPath("dat"));
    QHash<QString, QFileInfo> waiting;
    for (const QFileInfo& file :
         data.entryInfoList({kValidatePrefix + QLatin1Char('*')}, QDir::Files))
        waiting.insert(file.fileName().toUpper(), file);
    const auto pending = [&](const QString& network) {
        return waiting.value(kValidatePrefix + network.toUpper());
    };
    if (pending(QStringLiteral("0")).size() > 0) {
        view_.validate = true;
        return;
    }
    if (waiting.isEmpty())
        return;
    const QString list = caseBlindPath(data.path(), QStringLiteral("NETWORKS.LST"));
    const Result<QByteArray> networks = fileaccess::readSmall(list);
    if (!networks) {
        if (QFileInfo::exists(list))
            logs_.reportError(networks.error());
        return;
    }
    for (const QByteArray& line : networks.value().split('\n')) {
        const qsizetype comma = line.indexOf(',');
        if (comma < 0)
            continue;
        const QFileInfo file = pending(QString::fromLatin1(line.left(comma).trimmed()));
        if (!file.exists())
            continue;
        if (file.size() > 0) {
            view_.validate = true;
            return;
        }
        // What a network's tosser left empty is done with; only the local file is kept.
        QFile::remove(file.filePath());
    }
}

void StatusPanel::readPager() {
    view_.pager = QFileInfo::exists(board_.filePath("main", QStringLiteral("PAGER.FLG")));
}

void StatusPanel::togglePager() {
    const QString flag = board_.filePath("main", QStringLiteral("PAGER.FLG"));
    const bool turnOn = !view_.pager;
    const Result<> done =
        turnOn ? filewrite::replace(flag, "On\r\n") : filehelpers::removeFile(flag);
    if (done)
        logs_.writeDebugPane(
            eventPaneLine(board_.clock.now(), turnOn ? QStringLiteral("SysOp is Available")
                                                     : QStringLiteral("SysOp is Not Available")));
    else
        logs_.reportError(done.error());
    showPagerState();
}

void StatusPanel::guardStatistics() {
    const QString path = board_.path(statisticsLayout());
    Result<Record> read = readStatisticsFile(path);
    if (!read)
        return;
    if (read->i32("callstotal") >= reference_.i32("callstotal")) {
        if (recordfile::write(statisticsBackup(), 1, read.value()).ok())
            reference_ = std::move(read).value();
        return;
    }
    // The total went backwards: something reset the file, and the totals would be lost.
    if (!QFileInfo::exists(statisticsBackup())) {
        logs_.writeEventLog(
            QStringLiteral("STATKBBS.DAT Reset; No backup was available to restore."));
        reference_ = std::move(read).value();
        return;
    }
    const Result<QByteArray> backup = fileaccess::readSmall(statisticsBackup());
    if (!backup) {
        logs_.reportError(backup.error());
        return;
    }
    if (!filewrite::replace(path, backup.value()).ok())
        return;
    logs_.writeEventLog(QStringLiteral("STATKBBS.DAT Reset; Backup was restored."));
    if (Result<Record> restored = readStatisticsFile(path))
        reference_ = std::move(restored).value();
}

void StatusPanel::countIdleMinute() {
    if (board_.clock.now().toString(QStringLiteral("HH:mm")) == QLatin1String("00:00") ||
        anyNodeInUse_())
        return;
    const QString path = board_.path(statisticsLayout());
    Result<Record> read = readStatisticsFile(path);
    if (!read)
        return;
    Record& record = read.value();
    for (std::string_view field : {"idletotal", "idletoday"}) {
        const qint32 minutes = record.i32(field);
        if (minutes == std::numeric_limits<qint32>::max())
            return;
        record.setI32(field, minutes + 1);
    }
    // A node's write in between is lost, as neither side locks the file; a failed write costs
    // one idle minute and no more.
    (void)recordfile::write(path, 1, record);
}

void StatusPanel::countRefreshMinute() {
    const int interval = board_.serverConfig.i16("refreshstatsinterval");
    if (interval <= 0) {
        refreshMinutes_ = 0;
        return;
    }
    if (++refreshMinutes_ >= interval) {
        refresh();
        refreshMinutes_ = 0;
    }
}

void StatusPanel::countMaintenanceSecond() {
    if (maintenanceSeconds_ > 0 && maintenanceSeconds_ < 30)
        ++maintenanceSeconds_;
    if (maintenanceSeconds_ == 30) {
        refresh();
        maintenanceSeconds_ = 0;
        refreshMinutes_ = 0;
    }
}

void StatusPanel::maintenanceStarted() {
    refreshMinutes_ = 0;
    maintenanceSeconds_ = 1;
}

void StatusPanel::watchTimeZone() {
    if (board_.serverConfig.i16("monitortimezone") != 1)
        return;
    // The later minute of each pair catches a tick that a busy second missed.
    static const QStringList kMoments{QStringLiteral("00:00"), QStringLiteral("01:00"),
                                      QStringLiteral("30:00"), QStringLiteral("31:00")};
    if (kMoments.contains(board_.clock.now().toString(QStringLiteral("mm:ss"))))
        updateTimeZone();
}

void StatusPanel::updateTimeZone() {
    const QDateTime now = board_.clock.now();
    const QString text = timeZoneText(-now.offsetFromUtc() / 60);
    if (text == board_.mainConfig.text("timezone"))
        return;
    if (Result<> set = setMainConfigText(board_, "timezone", text); !set) {
        logs_.reportError(set.error());
        return;
    }
    const QString said = QStringLiteral("KELD Timezone Updated (%1)").arg(text);
    logs_.writeDebugPane(eventPaneLine(now, said));
    logs_.writeEventLog(said);
}

void StatusPanel::updateOptionalMenus() {
    QList<std::pair<QString, bool>> menus;
    for (const OptionalTool& tool : kOptionalTools) {
        const QString menu = QLatin1String(tool.menu);
        if (menus.isEmpty() || menus.last().first != menu)
            menus.append({menu, false});
        menus.last().second =
            menus.last().second ||
            QFileInfo::exists(board_.filePath(tool.directory, QLatin1String(tool.file)));
    }
    for (const auto& [menu, visible] : menus)
        face_.setMenuVisible(menu, visible);
}

void StatusPanel::setMainCaption() {
    face_.setCaption(
        mainCaption(board_.mainConfig.text("bbsname"), board_.mainConfig.i16("maxchannelno")));
}

QString StatusPanel::trayTip() const {
    const qint64 up = board_.startTime.secsTo(board_.clock.now());
    const QString tip = QStringLiteral("KELDTS - %1\r\nSysOp Pager: %2\r\nUptime: %3")
                            .arg(modeWord(board_.serverState),
                                 view_.pager ? QStringLiteral("On") : QStringLiteral("Off"),
                                 buildUptimeText(up, true));
    // The notification area takes 63 characters.
    return tip.left(63);
}

QJsonObject StatusPanel::toJson() const {
    QJsonObject statistics;
    for (const StatisticsRow& row : statisticsRows())
        statistics.insert(
            QString::fromLatin1(row.name).toLower(),
            QJsonObject{{QStringLiteral("today"), view_.statistics.i32(row.todayField)},
                        {QStringLiteral("total"), view_.statistics.i32(row.totalField)}});
    QJsonArray drives;
    for (size_t row = 0; row < view_.drives.size(); ++row) {
        const DriveRow& drive = view_.drives[row];
        if (drive.letter.isNull())
            continue;
        drives.append(QJsonObject{{QStringLiteral("row"), int(row) + 1},
                                  {QStringLiteral("letter"), QString(drive.letter)},
                                  {QStringLiteral("totalBytes"), drive.totalBytes},
                                  {QStringLiteral("freeBytes"), drive.freeBytes},
                                  {QStringLiteral("percent"), drive.percent},
                                  {QStringLiteral("low"), drive.low},
                                  {QStringLiteral("total"), drive.totalText},
                                  {QStringLiteral("free"), drive.freeText},
                                  {QStringLiteral("percentText"), drive.percentText}});
    }
    return {{QStringLiteral("caption"),
             mainCaption(board_.mainConfig.text("bbsname"), board_.mainConfig.i16("maxchannelno"))},
            {QStringLiteral("statistics"), statistics},
            {QStringLiteral("drives"), drives},
            {QStringLiteral("alerts"), QJsonObject{{QStringLiteral("feedback"), view_.feedback},
                                                   {QStringLiteral("files"), view_.files},
                                                   {QStringLiteral("validate"), view_.validate},
                                                   {QStringLiteral("pager"), view_.pager}}}};
}
