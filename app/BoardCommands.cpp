#include "app/BoardCommands.h"

#include "data/Board.h"
#include "data/ListTables.h"
#include "data/OrneSettings.h"
#include "data/PathDiagnostics.h"
#include "data/RecordTable.h"
#include "data/ScriptFiles.h"
#include "data/SystemConfig.h"
#include "data/TableCommand.h"
#include "data/UserAccounts.h"
#include "data/records/BoardFiles.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

#include <cerrno>
#include <cstring>
#include <memory>

#include <unistd.h>

namespace {

// Nothing is asked and nothing goes to a log: what goes wrong is the command's answer.
class SilentLogs final : public LogSinks {
  public:
    void writeDebugPane(const QString&) override {}
    void writeEventLog(const QString&) override {}
};

// The board of the directory a command names, with the paths of its SYSPATHS.CFG.
struct CommandLineBoard {
    explicit CommandLineBoard(PlatformSettings platform)
        : board(clock, dialogs, logs, std::move(platform)) {}

    SystemClock clock;
    DefaultAnswerDialogs dialogs;
    SilentLogs logs;
    Board board;
};

// The board in `directory`, which becomes the current one; nullptr, after the message, when
// it is not one.
std::unique_ptr<CommandLineBoard> boardIn(const QString& directory, bool withPaths) {
    if (!QDir::setCurrent(directory)) {
        printLine(stderr, QStringLiteral("%1 is no directory").arg(directory));
        return nullptr;
    }
    auto here = std::make_unique<CommandLineBoard>(
        readPlatformSettings(QDir::current().filePath(QStringLiteral("KELDTS.INI"))));
    if (!here->board.platform.unreadable.isEmpty()) {
        printLine(stderr, here->board.platform.unreadable);
        return nullptr;
    }
    if (!withPaths)
        return here;
    if (Result<> read = getSysPaths(here->board, true, here->board.sysPaths); !read) {
        printLine(stderr, QStringLiteral("Cannot find SYSPATHS.CFG! Make sure KELDTS is in your "
                                         "KELD main directory. (%1)")
                              .arg(read.error()));
        return nullptr;
    }
    return here;
}

void write(FILE* stream, const QString& text) {
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stream);
    std::fflush(stream);
}

// How far a long pass has come, on the one line of a terminal; nothing when the output goes
// elsewhere, where a stream of percentages would only be noise.
PassProgress terminalProgress() {
    if (!::isatty(STDERR_FILENO))
        return {};
    return [shown = QString()](const QString& step, int percent) mutable {
        const QString line = QStringLiteral("\r%1: %2%").arg(step).arg(percent);
        if (line == shown)
            return;
        shown = line;
        write(stderr, percent >= 100 ? line + QLatin1Char('\n') : line);
    };
}

} // namespace

void printLine(FILE* stream, const QString& text) {
    write(stream, text + QLatin1Char('\n'));
}

QString takeBoardOption(QStringList& words) {
    QString board = QDir::currentPath();
    for (qsizetype i = 0; i < words.size(); ++i) {
        const QString& word = words.at(i);
        if (word.startsWith(QLatin1String("--board="))) {
            board = word.mid(8);
            words.removeAt(i--);
        } else if (word == QLatin1String("--board") && i + 1 < words.size()) {
            board = words.at(i + 1);
            words.remove(i, 2);
            --i;
        }
    }
    return board;
}

int runTable(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QStringList words = app.arguments().mid(2);
    const QString directory = takeBoardOption(words);
    const bool help = words.contains(QLatin1String("--help"));
    if (words.isEmpty() || help || directory.isEmpty()) {
        write(help ? stdout : stderr, tablecommand::usage());
        return help ? 0 : 2;
    }
    const auto here = boardIn(directory, words.first() != QLatin1String("--list"));
    if (!here)
        return 2;
    const tablecommand::Outcome outcome = tablecommand::run(here->board, words, terminalProgress());
    write(stdout, outcome.out);
    write(stderr, outcome.err);
    return outcome.status;
}

int runEdit(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QStringList words = app.arguments().mid(2);
    const QString directory = takeBoardOption(words);
    if (words.size() != 1 || directory.isEmpty()) {
        write(stderr, QStringLiteral("usage: keldts edit [--board DIR] NAME.V|NAME.FB\n"));
        return 2;
    }
    const auto here = boardIn(directory, true);
    if (!here)
        return 2;
    const QString name = words.first();
    const QString suffix = QFileInfo(name).suffix().toUpper();
    if (name.contains(QLatin1Char('/')) || name.contains(QLatin1Char('\\')) ||
        (suffix != QLatin1String("V") && suffix != QLatin1String("FB"))) {
        printLine(stderr, QStringLiteral("%1 is no script (NAME.V) or function block (NAME.FB) "
                                         "of the script directory")
                              .arg(name));
        return 2;
    }
    const QByteArray path = QFile::encodeName(scriptfiles::path(here->board, name));
    // The editor may be a command with words of its own, such as "code --wait".
    const char* shell = "/bin/sh";
    ::execl(shell, shell, "-c", "exec ${VISUAL:-${EDITOR:-vi}} \"$1\"", "keldts-edit",
            path.constData(), static_cast<char*>(nullptr));
    printLine(stderr, QStringLiteral("Cannot start %1: %2")
                          .arg(QLatin1String(shell), QString::fromLocal8Bit(std::strerror(errno))));
    return 1;
}

int runDiagnose(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QStringList words = app.arguments().mid(2);
    const QString directory = takeBoardOption(words);
    if (!words.isEmpty() || directory.isEmpty()) {
        write(stderr, QStringLiteral("usage: keldts diagnose [--board DIR]\n"));
        return 2;
    }
    const auto here = boardIn(directory, true);
    if (!here)
        return 2;
    const Result<PathReport> report = runPathDiagnostics(here->board);
    if (!report) {
        printLine(stderr, report.error());
        return 2;
    }
    printLine(stdout, QString(report->text).remove(QLatin1Char('\r')));
    return report->allWell() ? 0 : 1;
}

int runOrne(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QStringList words = app.arguments().mid(2);
    const QString directory = takeBoardOption(words);
    const QString command = words.isEmpty() ? QString() : words.takeFirst();
    const bool show = command == QLatin1String("show") && words.isEmpty();
    const bool set = command == QLatin1String("set") && !words.isEmpty();
    if ((!show && !set) || directory.isEmpty()) {
        write(stderr, QStringLiteral("usage: keldts orne [--board DIR] show\n"
                                     "       keldts orne [--board DIR] set KEY=VALUE...\n"));
        return 2;
    }
    const auto here = boardIn(directory, true);
    if (!here)
        return 2;
    const Result<QString> path = orne::iniPath(here->board);
    if (!path) {
        printLine(stderr, path.error());
        return 2;
    }
    if (show) {
        for (const orne::Field& field : orne::fields()) {
            const Result<QString> value = orne::value(path.value(), QLatin1String(field.key));
            if (!value) {
                printLine(stderr, value.error());
                return 2;
            }
            printLine(stdout, QStringLiteral("%1=%2").arg(QLatin1String(field.key), value.value()));
        }
        return 0;
    }
    // What the form would store for the same text typed in its box.
    QList<std::pair<QString, QString>> values;
    for (const QString& word : words) {
        const orne::Field* field = orne::findField(word.section(QLatin1Char('='), 0, 0));
        if (!field || !word.contains(QLatin1Char('='))) {
            printLine(stderr, QStringLiteral("%1 sets no key of the kit; the keys are those "
                                             "that show lists")
                                  .arg(word));
            return 2;
        }
        values.append(
            {QLatin1String(field->key), orne::stored(*field, word.section(QLatin1Char('='), 1))});
    }
    if (Result<> written = orne::setValues(path.value(), values); !written) {
        printLine(stderr, written.error());
        return 1;
    }
    return 0;
}

int runUsers(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QStringList words = app.arguments().mid(2);
    const QString directory = takeBoardOption(words);
    const bool asJson = words.removeAll(QStringLiteral("--json")) > 0;
    const bool find = words.size() == 2 && words.first() == QLatin1String("find");
    const bool reindex = words == QStringList{QStringLiteral("reindex")};
    if ((!find && !reindex) || directory.isEmpty()) {
        write(stderr, QStringLiteral("usage: keldts users [--board DIR] find TEXT [--json]\n"
                                     "       keldts users [--board DIR] reindex\n"));
        return 2;
    }
    const auto here = boardIn(directory, true);
    if (!here)
        return 2;
    if (reindex) {
        Result<> rebuilt = tablecommand::writable(here->board.path(userIndexLayout()));
        if (rebuilt)
            rebuilt = useraccounts::rebuildIndex(here->board, terminalProgress());
        if (!rebuilt) {
            printLine(stderr, rebuilt.error());
            return 2;
        }
        return 0;
    }
    const Result<QList<Record>> users =
        recordtable::read(here->board.path(userLayout()), userLayout());
    if (!users) {
        printLine(stderr, users.error());
        return 2;
    }
    const QList<int> found = useraccounts::find(users.value(), words.at(1));
    if (asJson) {
        QJsonArray numbers;
        for (int number : found)
            numbers.append(number);
        write(stdout, QString::fromUtf8(QJsonDocument(numbers).toJson(QJsonDocument::Compact)));
        return 0;
    }
    const int count = int(users->size());
    const listtables::ListTable& table = listtables::named("USERFILE.DAT");
    for (int number : found)
        printLine(stdout, listtables::rowText(table, users->at(number - 1), number, count));
    return 0;
}
