#include "data/OrneSettings.h"

#include "data/Board.h"
#include "platform/DosPath.h"
#include "platform/FileAccess.h"
#include "platform/FileWrite.h"

#include <QDir>
#include <QFileInfo>

namespace orne {

namespace {

// The NNTP labels are crossed over against their keys: that is how the kit's form has always
// read, and sysops know it so.
const Field kFields[] = {
    {"SMTP", "smtphost", "Host:", false},
    {"DOMAIN", "smtpdomain", "Domain:", false},
    {"SMTPPATH", "smtppath", "Out-Path:", true},
    {"POP3", "pophost", "Host:", false},
    {"POP3LOGIN", "poplogin", "Login:", false},
    {"POP3PW", "poppassword", "Password:", false},
    {"POP3PATH", "poppath", "In-Path:", true},
    {"NEWS", "nntphost", "Host:", false},
    {"NEWSINPATH", "nntpinpath", "Out-Path:", true},
    {"NEWSOUTPATH", "nntpoutpath", "In-Path:", true},
    {"GMTOFFSET", "gmtoffset", "GMT Offset:", false},
};

const QByteArray kHeader = QByteArrayLiteral("[ORNE]");
// Far beyond any settings file; a bigger one is refused rather than cut short by a rewrite.
constexpr qint64 kLargest = 1024 * 1024;

// The file's own line end, taken from its first line; CR LF, as the kit writes, for a file of
// one line.
QByteArray lineEndOf(const QByteArray& text) {
    const qsizetype newline = text.indexOf('\n');
    return newline > 0 && text.at(newline - 1) != '\r' ? QByteArrayLiteral("\n")
                                                       : QByteArrayLiteral("\r\n");
}

// The lines with their own line ends, so that joining them gives the file back.
QList<QByteArray> linesOf(const QByteArray& text) {
    QList<QByteArray> lines;
    for (qsizetype start = 0; start < text.size();) {
        const qsizetype newline = text.indexOf('\n', start);
        const qsizetype end = newline < 0 ? text.size() : newline + 1;
        lines << text.mid(start, end - start);
        start = end;
    }
    return lines;
}

// The first section named ORNE in any case, as the profile calls find it: its header line and
// the line after its last.
struct Section {
    qsizetype header = -1;
    qsizetype end = 0;
};

Section findSection(const QList<QByteArray>& lines) {
    Section section;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QByteArray line = lines.at(i).trimmed();
        if (!line.startsWith('['))
            continue;
        if (section.header >= 0) {
            section.end = i;
            return section;
        }
        if (line.compare(kHeader, Qt::CaseInsensitive) == 0)
            section.header = i;
    }
    section.end = lines.size();
    return section;
}

// The line of `key` in the section, and where its "=" stands in the trimmed line; -1 when the
// section has no such key.
std::pair<qsizetype, qsizetype> findKey(const QList<QByteArray>& lines, const Section& section,
                                        const QByteArray& key) {
    for (qsizetype i = section.header + 1; i < section.end; ++i) {
        const QByteArray line = lines.at(i).trimmed();
        const qsizetype equals = line.indexOf('=');
        if (equals > 0 && !line.startsWith(';') &&
            line.left(equals).trimmed().compare(key, Qt::CaseInsensitive) == 0)
            return {i, equals};
    }
    return {-1, -1};
}

// The file with [ORNE] in it: created with that line alone, or given it as its first line
// when no line is that header exactly.
Result<QByteArray> prepare(const QString& path) {
    if (!QFileInfo::exists(path)) {
        const QByteArray created = kHeader + "\r\n";
        if (Result<> written = filewrite::replace(path, created); !written)
            return failureOf(written);
        return created;
    }
    const Result<QByteArray> text = fileaccess::readSmall(path, kLargest + 1);
    if (!text)
        return failureOf(text);
    if (text->size() > kLargest)
        return Failure{QStringLiteral("%1 is larger than %2 bytes").arg(path).arg(kLargest)};
    for (const QByteArray& line : linesOf(text.value())) {
        if (line.trimmed() == kHeader)
            return text.value();
    }
    const QByteArray headed = kHeader + lineEndOf(text.value()) + text.value();
    if (Result<> written = filewrite::replace(path, headed); !written)
        return failureOf(written);
    return headed;
}

} // namespace

std::span<const Field> fields() {
    return kFields;
}

const Field* findField(const QString& key) {
    for (const Field& field : kFields) {
        if (key.compare(QLatin1String(field.key), Qt::CaseInsensitive) == 0)
            return &field;
    }
    return nullptr;
}

Result<QString> iniPath(const Board& board) {
    const QString named = board.platform.orneDirectory.trimmed();
    const QString dosPath = named.isEmpty() ? board.sysPaths.text("main").trimmed() : named;
    const ResolvedPath directory =
        resolveDosPath(board.platform.drives, dosPath, QDir::currentPath());
    if (!directory.ok())
        return Failure{unmappedDriveMessage(directory.unmappedDrive, dosPath)};
    return caseBlindPath(directory.path, QStringLiteral("ORNE-INET.INI"));
}

Result<QString> value(const QString& iniPath, const QString& key) {
    const Result<QByteArray> text = prepare(iniPath);
    if (!text)
        return failureOf(text);
    const QList<QByteArray> lines = linesOf(text.value());
    const auto [line, equals] = findKey(lines, findSection(lines), key.toLatin1());
    if (line < 0)
        return QString();
    return QString::fromLatin1(lines.at(line).trimmed().mid(equals + 1)).trimmed();
}

Result<> setValues(const QString& iniPath, const QList<std::pair<QString, QString>>& values) {
    for (const auto& [key, value] : values) {
        const QString written = key + value;
        if (key.trimmed().isEmpty() || key.contains(QLatin1Char('=')) ||
            written.contains(QLatin1Char('\n')) || written.contains(QLatin1Char('\r')))
            return Failure{QStringLiteral("%1=%2 cannot be written to %3: a key needs a name "
                                          "without \"=\", and neither may break the line")
                               .arg(key, value, iniPath)};
    }
    const Result<QByteArray> text = prepare(iniPath);
    if (!text)
        return failureOf(text);
    const QByteArray lineEnd = lineEndOf(text.value());
    QList<QByteArray> lines = linesOf(text.value());
    for (const auto& [key, value] : values) {
        const Section section = findSection(lines);
        const auto [at, equals] = findKey(lines, section, key.toLatin1());
        if (at >= 0) {
            QByteArray& line = lines[at];
            const QByteArray ownEnd = line.endsWith("\r\n") ? QByteArrayLiteral("\r\n")
                                      : line.endsWith('\n') ? QByteArrayLiteral("\n")
                                                            : QByteArray();
            line = line.trimmed().left(equals).trimmed() + '=' + value.toLatin1() + ownEnd;
            continue;
        }
        // After the last line that says something, so that blank lines before the next section
        // keep separating it.
        qsizetype last = section.header;
        for (qsizetype i = section.header + 1; i < section.end; ++i) {
            if (!lines.at(i).trimmed().isEmpty())
                last = i;
        }
        if (!lines[last].endsWith('\n'))
            lines[last] += lineEnd;
        lines.insert(last + 1, key.trimmed().toLatin1() + '=' + value.toLatin1() + lineEnd);
    }
    const QByteArray result = lines.join();
    if (result == text.value())
        return {};
    return filewrite::replace(iniPath, result);
}

QString stored(const Field& field, const QString& typed) {
    QString text = typed.trimmed();
    if (!field.path)
        return text;
    while (text.endsWith(QLatin1Char('\\')))
        text.chop(1);
    return text.trimmed().toUpper();
}

} // namespace orne
