#include "data/ListTables.h"

#include "data/AccessFlags.h"
#include "data/Board.h"
#include "data/ListEditTables.h"
#include "data/RecordFileRows.h"
#include "data/RoomRows.h"
#include "data/TextHelpers.h"
#include "data/TextLineRows.h"
#include "data/TimeRules.h"
#include "data/UserAccounts.h"
#include "data/UserRows.h"
#include "data/UserRules.h"
#include "data/records/BoardFiles.h"
#include "data/records/TextLines.h"
#include "platform/Wildcard.h"

#include <QRegularExpression>

namespace listtables {

namespace {

// The most sections TEXTSECT.CFG holds, and so the highest TEXTn.DAT.
constexpr int kSections = 200;
constexpr int kFunctionBlockLines = 42;

QString level(const Record& record, std::string_view levelField, std::string_view flagField) {
    return QStringLiteral("%1 %2").arg(record.i16(levelField)).arg(record.text(flagField));
}

using Rows = std::unique_ptr<TableRows>;

Rows recordRows(const Board& board, RecordFileRows::Table table, int number = 0) {
    return std::make_unique<RecordFileRows>(board, std::move(table), number);
}

// A new record of the list forms: the fields given, blanks and zeros elsewhere.
template <typename Fill>
RecordFileRows::Table records(const RecordLayout& file, std::string_view key, int limit,
                              Fill fill) {
    return {&file, key, limit, fill};
}

Rows protocolRows(const Board& board, const RecordLayout& file) {
    return recordRows(board, records(file, "cmd", 49, [](Record& r) {
                          r.setChr("batch", 0);
                          r.setText("desc", QStringLiteral("New"));
                      }));
}

Rows textLineRows(const Board& board, TextLineRows::Table table, const QString& name = {}) {
    return std::make_unique<TextLineRows>(board, std::move(table), name);
}

// Deleting every file a wildcard matches is worth a second thought.
std::optional<Question> wildcardDeletion(const Record& trigger) {
    if (trigger.i16("deletetrigger") != 1 || !hasDosWildcard(trigger.text("trigger")))
        return std::nullopt;
    return Question{QStringLiteral("KELDTS - File Triggering"),
                    QStringLiteral("You are using wildcards and have enabled the option to delete "
                                   "the trigger.\nThis will delete any file that meets the "
                                   "wildcard and could be dangerous.\nDo you want to proceed?")};
}

// The time left is a rule over the time used and the daily time, not a field.
const Derived kTimeLeft{{"timeleft", "Time Left:", 1, nullptr, formtable::Control::Number},
                        [](const Record& user, QDate today) {
                            return QString::number(userrules::timeLeft(user, today));
                        },
                        &userrules::setTimeLeft};

std::optional<Question> userDeletion(const Record& user) {
    return Question{
        QStringLiteral("KELD - Delete User Confirmation"),
        QStringLiteral("Are you sure you want to delete this user (%1)?").arg(user.text("handle"))};
}

const ListTable kTables[] = {
    {"DOWNLOAD.CFG", "kelddownload", "lstDownload", "KELDTS - Download Protocols",
     "Download Protocols (", "Download Protocol ", "protocol", &listedit::download,
     [](const Board& board, int, const QString&) { return protocolRows(board, downloadLayout()); },
     [](const Record& r) { return r.text("hotkey") + QStringLiteral(" - ") + r.text("desc"); }},
    {"UPLOAD.CFG", "keldupload", "lstUpload", "KELDTS - Upload Protocols", "Upload Protocols (",
     "Upload Protocol ", "protocol", &listedit::upload,
     [](const Board& board, int, const QString&) { return protocolRows(board, uploadLayout()); },
     [](const Record& r) { return r.text("hotkey") + QStringLiteral(" - ") + r.text("desc"); }},
    {"DOORS.CFG", "kelddoors", "lstDoors", "KELDTS - Doors", "Doors Configuration (", "Door ",
     "door", &listedit::doors,
     [](const Board& board, int, const QString&) {
         return recordRows(board, records(doorsLayout(), "doorcommand", 200, [](Record& r) {
                               r.setText("doordesc", QStringLiteral("New Game"));
                               r.setI16("doorsingleuser", 1);
                           }));
     },
     [](const Record& r) {
         return padString(r.text("doordesc"), 32) + QStringLiteral(" - ") +
                level(r, "doorminsl", "dooraccflag");
     }},
    {"EVENTS.CFG", "keldevents", "lstEvents", "KELDTS - Events", "Events (", "Events ", "event",
     &listedit::events,
     [](const Board& board, int, const QString&) {
         RecordFileRows::Table table = records(eventsLayout(), "evtcommand", 48, [](Record&) {});
         table.onRead = [](Record& r) { r.setText("evttime", normalizeTime(r.text("evttime"))); };
         return recordRows(board, std::move(table));
     },
     [](const Record& r) {
         return padString(r.text("evttime"), 5) + QStringLiteral(" - ") +
                padString(r.text("evtdate"), 6) + QStringLiteral(" - ") + r.text("evtcommand");
     }},
    {"VOTE.CFG", "keldvote", "lstVote", "KELDTS - Voting Questions", "Voting Questions (",
     "Voting Question ", "question", &listedit::vote,
     [](const Board& board, int, const QString&) {
         RecordFileRows::Table table = records(voteLayout(), "votequestion", 200, [](Record& r) {
             r.setText("votequestion", QStringLiteral("New Vote"));
         });
         table.following = &voteAnswerLayout();
         return recordRows(board, std::move(table));
     },
     [](const Record& r) { return r.text("votequestion"); }},
    {"RANDOM.CFG", "keldrandom", "lstRandom", "KELDTS - Random Messages", "Random Messages (",
     "Random Message ", "message", &listedit::random,
     [](const Board& board, int, const QString&) {
         return recordRows(board, records(randomLayout(), "randomline1", 200, [](Record& r) {
                               r.setText("randomline1", QStringLiteral("New Entry"));
                           }));
     },
     [](const Record& r) { return r.text("randomline1"); }},
    {"TEXTSECT.CFG", "keldtextsect", "lstTextSect", "KELDTS - Text Sections", "Text Sections (",
     "Text Section ", "section", &listedit::textSection,
     [](const Board& board, int, const QString&) {
         RecordFileRows::Table table =
             records(textSectionLayout(), "textsectdesc", kSections,
                     [](Record& r) { r.setText("textsectdesc", QStringLiteral("New Section")); });
         table.following = &bulletinLayout();
         return recordRows(board, std::move(table));
     },
     [](const Record& r) {
         return padString(r.text("textsectdesc"), 20) + QStringLiteral(" - ") +
                padString(r.text("textsectpath"), 20) + QStringLiteral(" - ") +
                level(r, "textsectminsl", "textsectaccflag");
     }},
    {"TEXTn.DAT", "keldtextsectbulletins", "lstBulletins", "KELDTS - Bulletins", "Bulletins (",
     "Bulletin ", "bulletin", &listedit::bulletin,
     [](const Board& board, int section, const QString&) {
         return recordRows(
             board,
             records(bulletinLayout(), "filename", 20,
                     [](Record& r) { r.setText("description", QStringLiteral("New Bulletin")); }),
             section);
     },
     [](const Record& r) {
         return padString(r.text("filename"), 12) + QStringLiteral(" - ") + r.text("description");
     }},
    {"MULTIFBX.CFG", "keldmultifb", "lstMultifb", "KELDTS - Multi-Feedback Profiles",
     "Multi-Feedback Profiles (", "Profile", "entry", &listedit::multiFeedback,
     [](const Board& board, int, const QString&) {
         return recordRows(board, records(multiFeedbackLayout(), "multifbdesc", 200, [](Record& r) {
                               r.setText("multifbdesc", QStringLiteral("New Entry"));
                               r.setI16("multifbnetno", 1);
                           }));
     },
     [](const Record& r) { return r.text("multifbdesc"); }},
    {"QUICKVAL.CFG", "keldquickval", "lstQuickval", "KELDTS - Validation Profiles",
     "Validation Profiles (", "Profile ", "profile", &listedit::quickValidate,
     [](const Board& board, int, const QString&) {
         RecordFileRows::Table table{&quickValidateLayout(), {}};
         table.fixedRows = 9;
         return recordRows(board, std::move(table));
     },
     [](const Record& r) {
         return QStringLiteral("SL=%1: TL=%2 Access Flags=%3")
             .arg(r.i16("seclevel"))
             .arg(r.i16("timelimit"))
             .arg(accessflags::toText(r.i32("accflags")));
     },
     0, false, false},
    {"IRC-S.CFG", "keldirc", "lstIrc", "KELDTS - IRC Servers", "IRC Servers (", "IRC Server ",
     "entry", &listedit::irc,
     [](const Board& board, int, const QString&) {
         return textLineRows(board, {&ircLineLayout(), 100, QStringLiteral("newserver 6667 0"),
                                     &textlines::parseIrc, &textlines::formatIrc});
     },
     [](const Record& r) {
         return padString(r.text("serverhost"), 40) + QStringLiteral(" - ") +
                QString::number(r.i32("serverport"));
     }},
    {"AUTORESP.CFG", "keldautoresp", "lstAutoresp", "KELDTS - Autoresponder",
     "Autoresponder Entries (", "Entry ", "entry", &listedit::autoResponse,
     [](const Board& board, int, const QString&) {
         return textLineRows(board,
                             {&autoResponseLayout(), 100, QStringLiteral(",,"),
                              &textlines::parseAutoResponse, &textlines::formatAutoResponse});
     },
     [](const Record& r) {
         return padString(r.text("autorespkeyword"), 20) + QStringLiteral(" - ") +
                r.text("autorespreply") + QStringLiteral(" - ") + r.text("autorespfile");
     }},
    {"ACTION.CFG", "keldactions", "lstActions", "KELDTS - Action Commands", "Action Commands (",
     "Action Command ", "entry", &listedit::action,
     [](const Board& board, int, const QString&) {
         return textLineRows(board,
                             {&actionLayout(), 255, QStringLiteral("NEWACTION Unconfigured Action"),
                              &textlines::parseAction, &textlines::formatAction});
     },
     [](const Record& r) {
         return padString(r.text("actioncommand"), 12) + QStringLiteral(" - ") +
                r.text("actiontext");
     }},
    {"ROOMn.CFG", "keldtelecon", "lstTelecon", "KELDTS - Teleconference Rooms",
     "Teleconference Rooms (", "Room ", "entry", &listedit::room,
     [](const Board& board, int room, const QString&) -> Rows {
         if (room > 0)
             return std::make_unique<RoomRows>(board, room, room);
         return std::make_unique<RoomRows>(board);
     },
     [](const Record& r) {
         return r.text("roomname") + QStringLiteral(" - ") + QString::number(r.i32("roommod"));
     },
     3, false, true},
    {"*.FB", "keldfbeditorlist", "lstFb", "KELDTS - Function Block", "Function Block (", "Line ",
     "entry", &listedit::fbLine,
     [](const Board& board, int, const QString& name) {
         return textLineRows(board,
                             {&fbLineLayout(), kFunctionBlockLines,
                              QStringLiteral("/NEW 001 1 command"), &textlines::parseFbLine,
                              &textlines::formatFbLine, &listedit::fbHead()},
                             name);
     },
     [](const Record& r) {
         return QStringLiteral("%1 %2 %3 - %4")
             .arg(padString(r.text("fbhotkey"), 8))
             .arg(r.i16("fbsecuritylevel"), 3, 10, QLatin1Char('0'))
             .arg(r.i16("fbtype"))
             .arg(r.text("fbcommand"));
     }},
    {"KELDTSTR.DAT", "frmTriggers", "lstTriggers", "KELDTS - File Triggers", "Triggers (", "Entry ",
     "trigger", &listedit::fileTriggers,
     [](const Board& board, int, const QString&) {
         return recordRows(board, records(fileTriggerLayout(), "trigger", 200, [](Record& r) {
                               r.setText("trigger", QStringLiteral("trigger"));
                           }));
     },
     [](const Record& r) { return r.text("trigger"); }, 0, true, true, false, "fraTriggers",
     &wildcardDeletion},
    // The user editor runs its inserts and deletes as passes of their own, away from the list's.
    {"USERFILE.DAT", "keldusereditor", "lstUsers", "KELD - User Editor", "Users (", "User ", "user",
     &listedit::users,
     [](const Board& board, int, const QString&) -> Rows {
         return std::make_unique<UserRows>(board);
     },
     &useraccounts::rowColumns, 0, false, false, false, "fraUsers", nullptr, &userDeletion,
     &userIndexLayout(), &kTimeLeft},
};

bool isFunctionBlock(const ListTable& table) {
    return table.fileName[0] == '*';
}

// The number in a numbered file's name, when `name` is one of `table`'s, as it is written
// there; empty when it is not.
QString numberIn(const ListTable& table, const QString& name) {
    const QString pattern = QLatin1String(table.fileName);
    const qsizetype at = pattern.indexOf(QLatin1Char('n'));
    const QRegularExpression numbered(QStringLiteral("^%1([0-9]{1,3})%2$")
                                          .arg(QRegularExpression::escape(pattern.left(at)),
                                               QRegularExpression::escape(pattern.mid(at + 1))),
                                      QRegularExpression::CaseInsensitiveOption);
    return numbered.match(name).captured(1);
}

} // namespace

std::span<const ListTable> all() {
    return kTables;
}

const ListTable& named(const char* fileName) {
    for (const ListTable& table : kTables) {
        if (qstrcmp(table.fileName, fileName) == 0)
            return table;
    }
    qFatal("no list table %s", fileName);
}

QStringList names() {
    QStringList all;
    for (const ListTable& table : kTables) {
        const QString name = QLatin1String(table.fileName);
        if (isFunctionBlock(table))
            all << QStringLiteral("NAME.FB (a function block in the script directory)");
        else if (name.contains(QLatin1Char('n')))
            all << name + (name.startsWith(QLatin1String("ROOM"))
                               ? QStringLiteral(" (n a room, 1 to 100)")
                               : QStringLiteral(" (n a text section, 1 to 200)"));
        else
            all << name;
    }
    return all;
}

Result<Opened> open(const Board& board, const QString& fileName) {
    const QString name = fileName.trimmed().toUpper();
    for (const ListTable& table : kTables) {
        const QString pattern = QLatin1String(table.fileName);
        if (isFunctionBlock(table)) {
            static const QRegularExpression dosName(
                QStringLiteral("^[A-Z0-9_$~!#%&'@^`{}()-]{1,8}\\.FB$"));
            if (dosName.match(name).hasMatch())
                return Opened{&table, table.rows(board, 0, name)};
            continue;
        }
        if (!pattern.contains(QLatin1Char('n'))) {
            if (name == pattern)
                return Opened{&table, table.rows(board, 0, name)};
            continue;
        }
        const QString digits = numberIn(table, name);
        const int number = digits.toInt();
        const int highest =
            pattern.startsWith(QLatin1String("ROOM")) ? RoomRows::kRooms : kSections;
        if (number < 1 || number > highest)
            continue;
        // The DOS programs write the number without leading zeros; another spelling is another
        // file, which no program reads.
        if (digits != QString::number(number))
            return Failure{
                QStringLiteral("%1 is no board file; the file of number %2 is %3")
                    .arg(fileName, QString::number(number),
                         QString(pattern).replace(QLatin1Char('n'), QString::number(number)))};
        return Opened{&table, table.rows(board, number, name)};
    }
    return Failure{QStringLiteral("%1 is no table that can be edited here; these are: %2")
                       .arg(fileName, names().join(QStringLiteral(", ")))};
}

QString rowText(const ListTable& table, const Record& record, int number, int count) {
    const int width =
        table.numberWidth > 0 ? table.numberWidth : int(QString::number(count).size());
    return QStringLiteral("%1: %2").arg(number, width).arg(table.columns(record));
}

QString listCaption(const ListTable& table, int count, const QString& name) {
    QString caption = QStringLiteral("%1%2)").arg(QLatin1String(table.title)).arg(count);
    if (isFunctionBlock(table))
        caption += QStringLiteral(" [%1]").arg(name);
    return caption;
}

QString frameCaption(const ListTable& table, int number, int count, const QString& name) {
    const QString frame = QLatin1String(table.frame);
    // The feedback profiles' frame has no number in it.
    if (!frame.endsWith(QLatin1Char(' ')))
        return frame;
    QString caption = QStringLiteral("%1%2 / %3").arg(frame).arg(number).arg(std::max(count, 1));
    if (isFunctionBlock(table))
        caption += QStringLiteral(" [%1]").arg(name);
    return caption;
}

} // namespace listtables
