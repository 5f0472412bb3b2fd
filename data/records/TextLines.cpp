#include "data/records/TextLines.h"

#include "data/TextHelpers.h"

#include <array>

namespace {

using T = FieldType;

// The widths are what the boxes take; the files themselves have none.
constexpr std::array kIrc{
    Field{"serverhost", 0, T::Str, 64},      Field{"serverport", 64, T::I32, 4},
    Field{"serverautoopbot", 68, T::I16, 2}, Field{"serverwelcomebot", 70, T::I16, 2},
    Field{"serverbusybot", 72, T::I16, 2},   Field{"serverprofanity", 74, T::I16, 2},
};
static_assert(fieldsAreContiguous(kIrc, 76));

// The flag sum of a line, highest bit first.
constexpr std::array<std::pair<std::string_view, int>, 4> kIrcFlags{{
    {"serverautoopbot", 8},
    {"serverwelcomebot", 4},
    {"serverbusybot", 2},
    {"serverprofanity", 1},
}};

constexpr std::array kAutoResponse{
    Field{"autorespkeyword", 0, T::Str, 40},
    Field{"autorespreply", 40, T::Str, 80},
    Field{"autorespfile", 120, T::Str, 80},
};
static_assert(fieldsAreContiguous(kAutoResponse, 200));

constexpr std::array kAction{
    Field{"actioncommand", 0, T::Str, 20},
    Field{"actiontext", 20, T::Str, 160},
};
static_assert(fieldsAreContiguous(kAction, 180));

constexpr std::array kFbLine{
    Field{"fbhotkey", 0, T::Str, 20},
    Field{"fbsecuritylevel", 20, T::I16, 2},
    Field{"fbtype", 22, T::I16, 2},
    Field{"fbcommand", 24, T::Str, 128},
};
static_assert(fieldsAreContiguous(kFbLine, 152));

constexpr std::array kFbHead{
    Field{"fbMenu", 0, T::Str, 8},
    Field{"fbDb", 8, T::Str, 26},
};
static_assert(fieldsAreContiguous(kFbHead, 34));

constexpr std::array kRoom{
    Field{"roomname", 0, T::Str, 40},
    Field{"roommod", 40, T::I32, 4},
};
static_assert(fieldsAreContiguous(kRoom, 44));

// Runs of blanks count as one, as the node programs read these lines.
QString singleBlanks(QString line) {
    while (line.contains(QLatin1String("  ")))
        line.replace(QLatin1String("  "), QLatin1String(" "));
    return line;
}

qint32 numberOf(const QString& text) {
    return static_cast<qint32>(leadingNumber(text));
}

} // namespace

const RecordLayout& ircLineLayout() {
    static const RecordLayout layout{"IRC-S.CFG", 76, kIrc};
    return layout;
}

const RecordLayout& autoResponseLayout() {
    static const RecordLayout layout{"AUTORESP.CFG", 200, kAutoResponse};
    return layout;
}

const RecordLayout& actionLayout() {
    static const RecordLayout layout{"ACTION.CFG", 180, kAction};
    return layout;
}

const RecordLayout& fbLineLayout() {
    static const RecordLayout layout{"*.FB", 152, kFbLine, "script"};
    return layout;
}

const RecordLayout& fbHeadLayout() {
    static const RecordLayout layout{"*.FB", 34, kFbHead, "script"};
    return layout;
}

const RecordLayout& roomLayout() {
    static const RecordLayout layout{"ROOMn.CFG", 44, kRoom};
    return layout;
}

namespace textlines {

Record parseIrc(const QString& line) {
    const QStringList parts = splitText(QStringLiteral(" "), singleBlanks(line), 3, 3);
    Record server(ircLineLayout());
    server.setText("serverhost", parts[0]);
    server.setI32("serverport", numberOf(parts[1]));
    const qint32 sum = numberOf(parts[2]);
    for (const auto& [flag, bit] : kIrcFlags)
        server.setI16(flag, (sum & bit) ? 1 : 0);
    return server;
}

QString formatIrc(const Record& server) {
    int sum = 0;
    for (const auto& [flag, bit] : kIrcFlags)
        sum += server.i16(flag) ? bit : 0;
    const QString host = server.text("serverhost");
    return QStringLiteral("%1 %2 %3")
        .arg(host.isEmpty() ? QStringLiteral("Unknown") : host)
        .arg(server.i32("serverport"))
        .arg(sum);
}

Record parseAutoResponse(const QString& line) {
    const QStringList parts = splitText(QStringLiteral(","), line, 3, 3);
    Record entry(autoResponseLayout());
    entry.setText("autorespkeyword", parts[0].trimmed());
    entry.setText("autorespreply", parts[1].trimmed());
    entry.setText("autorespfile", parts[2].trimmed());
    return entry;
}

QString formatAutoResponse(const Record& entry) {
    QString line = entry.text("autorespkeyword").toLower() + QLatin1Char(',') +
                   entry.text("autorespreply").toUpper();
    if (const QString file = entry.text("autorespfile"); !file.isEmpty())
        line += QLatin1Char(',') + file.toUpper();
    return line;
}

Record parseAction(const QString& line) {
    const QStringList parts = splitText(QStringLiteral(" "), line, 2, 2);
    Record action(actionLayout());
    action.setText("actioncommand", parts[0]);
    action.setText("actiontext", parts[1].trimmed());
    return action;
}

QString formatAction(const Record& action) {
    const QString text = action.text("actiontext");
    return action.text("actioncommand").toUpper() +
           (text.isEmpty() ? QString() : QLatin1Char(' ') + text);
}

Record parseFbLine(const QString& line) {
    const QStringList parts = splitText(QStringLiteral(" "), singleBlanks(line), 4, 4);
    Record command(fbLineLayout());
    command.setText("fbhotkey", parts[0].toUpper());
    command.setI16("fbsecuritylevel", static_cast<qint16>(numberOf(parts[1])));
    command.setI16("fbtype", static_cast<qint16>(numberOf(parts[2])));
    command.setText("fbcommand", parts[3].trimmed());
    return command;
}

QString formatFbLine(const Record& command) {
    return QStringLiteral("%1 %2 %3 %4")
        .arg(command.text("fbhotkey").toUpper())
        .arg(command.i16("fbsecuritylevel"), 3, 10, QLatin1Char('0'))
        .arg(command.i16("fbtype"))
        .arg(command.text("fbcommand"));
}

Record parseRoom(const QString& line) {
    const QStringList parts = splitText(QStringLiteral(","), line, 2, 2);
    Record room(roomLayout());
    room.setText("roomname", parts[0].trimmed());
    room.setI32("roommod", numberOf(parts[1]));
    return room;
}

QString formatRoom(const Record& room, int number) {
    const QString name = room.text("roomname");
    return QStringLiteral("%1,%2")
        .arg(name.isEmpty() ? QStringLiteral("Room %1").arg(number) : name)
        .arg(room.i32("roommod"));
}

} // namespace textlines
