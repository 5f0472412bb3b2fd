#include "data/PathDiagnostics.h"

#include "data/Board.h"
#include "data/DosReach.h"
#include "data/FileHelpers.h"
#include "data/RecordFile.h"
#include "data/RecordTable.h"
#include "data/SettingsSources.h"
#include "data/records/BoardFiles.h"
#include "platform/FileAccess.h"

#include <QStringList>
#include <QtEndian>

namespace {

const QString kCrLf = QStringLiteral("\r\n");

const char* const kStockColors =
    "1,6,0,1,3,0,0,5,0,1,7,4,1,2,0,1,1,0,1,4,0,0,3,0,0,6,0,0,2,0,1,5,0,1,7,1,1,3,1,1,6,1,0,7,1,1,"
    "4,2,1,1,3,1,4,3,1,3,4,1,6,4,0,7,4,1,7,5,0,0,6,0,0,7,0,1,7,0,4,7,1,7,7,1,1,7,1,4,7,1,7,0,0,0,"
    "1,0,0,4,0,0,5,1,7,2,1,7,6";

const char* const kModifiedColors[] = {
    "COLOR.CFG - You are using a modified color configuration. While locally this",
    "does not pose any problems, you may experience color errors with networked",
    "databases. Colors sent by other BBSs may display differently on your BBS and",
    "colors sent by your BBS may display differently on other BBSs.",
    "",
    "If you wish to revert back to the default color configuration, then extract",
    "COLOR.CFG from the original KELD installation archive and copy it to your",
    "main KELD directory.",
};

QString heading(const QString& title) {
    return title + kCrLf + QString(title.size(), QLatin1Char('-')) + kCrLf;
}

// COLOR.CFG's numbers joined by commas: three 16-bit numbers a record.
Result<QString> colorNumbers(const Board& board) {
    const QString path = board.filePath("main", QStringLiteral("COLOR.CFG"));
    if (Result<> touched = filehelpers::touchFile(path, false); !touched)
        return failureOf(touched);
    const Result<QByteArray> bytes = fileaccess::readSmall(path);
    if (!bytes)
        return failureOf(bytes);
    QStringList numbers;
    for (qsizetype record = 0; record + 6 <= bytes->size(); record += 6) {
        for (qsizetype at = record; at < record + 6; at += 2)
            numbers << QString::number(qFromLittleEndian<qint16>(bytes->constData() + at));
    }
    return numbers.join(QLatin1Char(','));
}

} // namespace

QByteArray stockColorConfig() {
    QByteArray bytes;
    for (const QByteArray& number : QByteArray(kStockColors).split(',')) {
        char value[2];
        qToLittleEndian<qint16>(qint16(number.toInt()), value);
        bytes.append(value, 2);
    }
    return bytes;
}

Result<PathReport> runPathDiagnostics(const Board& board) {
    PathReport report;
    const auto row = [&](const QString& dosPath) {
        const bool there = isExistingDirectory(board, dosPath);
        report.missing += there ? 0 : 1;
        report.text += QStringLiteral("Testing ") +
                       dosPath.trimmed().toUpper().leftJustified(40, QLatin1Char('.')) +
                       (there ? QStringLiteral(" OK") : QStringLiteral(" Path Missing!")) + kCrLf;
    };
    report.text = heading(QStringLiteral("KELD Path Diagnostics")) + kCrLf +
                  heading(QStringLiteral("System Paths"));
    Record paths(sysPathsLayout());
    if (Result<> read = recordfile::read(board.path(sysPathsLayout()), 1, paths); !read)
        return failureOf(read);
    for (std::string_view field : sysPathDirectoryFields())
        row(paths.text(field));

    // What the start-up notice tests, for a board whose notice has been shown long ago.
    report.text += kCrLf + heading(QStringLiteral("DOS Programs"));
    for (const QString& line : checkDosReach(board, paths.text("main")).checked)
        report.text += line + kCrLf;

    report.text += kCrLf + heading(QStringLiteral("Database Paths"));
    const QString databases = board.path(databaseLayout());
    if (Result<> touched = filehelpers::touchFile(databases, false); !touched)
        return failureOf(touched);
    const Result<QList<Record>> records = recordtable::read(databases, databaseLayout());
    if (!records)
        return failureOf(records);
    for (const Record& database : records.value()) {
        if (!database.text("DbFilepath").trimmed().isEmpty())
            row(database.text("DbFilepath"));
    }
    report.text += kCrLf + QString(21, QLatin1Char('-')) + kCrLf +
                   QStringLiteral("%1 Paths Missing").arg(report.missing);

    const Result<QString> colors = colorNumbers(board);
    if (!colors)
        return failureOf(colors);
    report.colorsModified = colors.value() != QLatin1String(kStockColors);
    if (report.colorsModified) {
        report.text += kCrLf + kCrLf + kCrLf + heading(QStringLiteral("Other Diagnostics"));
        for (const char* line : kModifiedColors)
            report.text += QLatin1String(line) + kCrLf;
        report.text.chop(kCrLf.size());
    }
    return report;
}
