#include "data/ListEditTables.h"

#include "data/records/BoardFiles.h"
#include "data/records/TextLines.h"

namespace listedit {

namespace {

using formtable::Control;
using formtable::Entry;
using formtable::Keys;
using formtable::Rule;

Entry text(std::string_view field, const char* label, Keys keys = Keys::Any,
           Rule rule = Rule::None) {
    return {field, label, 0, kFrame, Control::Text, {}, keys, rule};
}
Entry number(std::string_view field, const char* label) {
    return {field, label, 0, kFrame, Control::Number};
}
Entry flag(std::string_view field, const char* label) {
    return {field, label, 0, kFrame, Control::Flag};
}
Entry combo(std::string_view field, const char* label, QStringList items, QList<int> codes = {}) {
    return {field,      label,           0, kFrame, Control::Combo, std::move(items), Keys::Any,
            Rule::None, std::move(codes)};
}

// "None" stores no letter; row n stores the letter of code 64 + n.
Entry accessFlag(std::string_view field) {
    QStringList items{QStringLiteral("None")};
    QList<int> codes{0};
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
        items << QString(QLatin1Char(letter));
        codes << letter;
    }
    return combo(field, "&Access Flag:", items, codes);
}

formtable::Table protocol(const char* objectName, const char* caption, const RecordLayout& layout) {
    return {objectName,
            caption,
            &layout,
            {},
            {
                flag("batch", "&Batch Only"),
                text("desc", "&Descriptive Name:"),
                text("hotkey", "&Select Key:", Keys::Capitals),
                text("cmd", "&Command Line:", Keys::Capitals),
            }};
}

} // namespace

const formtable::Table& download() {
    static const formtable::Table form =
        protocol("kelddownloadedit", "KELDTS - Download Protocol", downloadLayout());
    return form;
}

const formtable::Table& upload() {
    static const formtable::Table form =
        protocol("kelduploadedit", "KELDTS - Upload Protocol", uploadLayout());
    return form;
}

const formtable::Table& doors() {
    static const formtable::Table form{"kelddoorsedit",
                                       "KELDTS - Door",
                                       &doorsLayout(),
                                       {},
                                       {
                                           text("doordesc", "Program &Name:"),
                                           text("doorcommand", "&Command Line:"),
                                           number("doorminsl", "&Security Level:"),
                                           accessFlag("dooraccflag"),
                                           flag("doorsingleuser", "Single &User"),
                                           number("doorcredits", "C&redit Cost:"),
                                       }};
    return form;
}

const formtable::Table& events() {
    static const formtable::Table form{
        "keldeventsedit",
        "KELDTS - Event",
        &eventsLayout(),
        {},
        {
            text("evttime", "Event &Time (hh:mm):", Keys::Any, Rule::Time),
            text("evtdate", "Event &Date (yymmdd):"),
            combo("evttype", "&Hard/Soft Event:", {QStringLiteral("Soft"), QStringLiteral("Hard")}),
            text("evtcommand", "&Command Line:"),
        }};
    return form;
}

const formtable::Table& vote() {
    static const formtable::Table form{"keldvoteedit",
                                       "KELDTS - Voting Question",
                                       &voteLayout(),
                                       {},
                                       {
                                           text("votequestion", "&Question:"),
                                           text("voteresp1", "Response &1:"),
                                           text("voteresp2", "Response &2:"),
                                           text("voteresp3", "Response &3:"),
                                           text("voteresp4", "Response &4:"),
                                           text("voteresp5", "Response &5:"),
                                           text("voteresp6", "Response &6:"),
                                           text("voteresp7", "Response &7:"),
                                           text("voteresp8", "Response &8:"),
                                       }};
    return form;
}

const formtable::Table& random() {
    static const formtable::Table form{"keldrandomedit",
                                       "KELDTS - Random Message",
                                       &randomLayout(),
                                       {},
                                       {
                                           text("randomline1", "Line &1:"),
                                           text("randomline2", "Line &2:"),
                                           text("randomline3", "Line &3:"),
                                       }};
    return form;
}

const formtable::Table& textSection() {
    static const formtable::Table form{
        "keldtextsectedit",
        "KELDTS - Text Section",
        &textSectionLayout(),
        {},
        {
            text("textsectdesc", "&Name:"),
            {"textsectpath", "&Path:", 0, kFrame, Control::Path, {}, Keys::Path, Rule::Directory},
            number("textsectminsl", "&Security Level:"),
            accessFlag("textsectaccflag"),
        }};
    return form;
}

const formtable::Table& bulletin() {
    static const formtable::Table form{"keldtextsectbulletinsedit",
                                       "KELDTS - Bulletin",
                                       &bulletinLayout(),
                                       {},
                                       {
                                           text("description", "&Description:"),
                                           text("filename", "&File Name:", Keys::FileName),
                                       }};
    return form;
}

const formtable::Table& multiFeedback() {
    static const formtable::Table form{"keldmultifbedit",
                                       "KELDTS - Multi-Feedback Profile",
                                       &multiFeedbackLayout(),
                                       {},
                                       {
                                           text("multifbdesc", "&Description:"),
                                           text("multifbhandle", "&Handle:"),
                                           number("multifbuser", "&User #:"),
                                           text("multifbaddress", "&Net Address:"),
                                           number("multifbnetno", "Ne&twork #:"),
                                       }};
    return form;
}

const formtable::Table& quickValidate() {
    static const formtable::Table form{
        "keldquickvaledit",
        "KELDTS - Validation Profile",
        &quickValidateLayout(),
        {},
        {
            number("seclevel", "&Security Level:"),
            number("timelimit", "&Time Limit:"),
            text("accflags", "&Access Flags:", Keys::Letters, Rule::FlagLetters),
        }};
    return form;
}

const formtable::Table& irc() {
    static const formtable::Table form{
        "keldircedit",
        "KELDTS - IRC Server",
        &ircLineLayout(),
        {},
        {
            text("serverhost", "&Host Name:", Keys::Any, Rule::Lower),
            number("serverport", "&Port:"),
            flag("serverautoopbot", "Enable &AutoOp-Bot"),
            flag("serverwelcomebot", "Enable &Welcome-Bot"),
            flag("serverbusybot", "Enable &Busy-Bot"),
            flag("serverprofanity", "&Disable Profanity Filter"),
        }};
    return form;
}

const formtable::Table& autoResponse() {
    static const formtable::Table form{
        "keldautorespedit",
        "KELDTS - Autoresponder Entry",
        &autoResponseLayout(),
        {},
        {
            text("autorespkeyword", "&Keyword:", Keys::Any, Rule::Lower),
            text("autorespreply", "&Reply File:", Keys::Capitals),
            text("autorespfile", "&Attached File:", Keys::Capitals),
        }};
    return form;
}

const formtable::Table& action() {
    static const formtable::Table form{"keldactionsedit",
                                       "KELDTS - Action Command",
                                       &actionLayout(),
                                       {},
                                       {
                                           text("actioncommand", "&Command:", Keys::Capitals),
                                           text("actiontext", "&Action Text:"),
                                       }};
    return form;
}

const formtable::Table& room() {
    static const formtable::Table form{"keldteleconedit",
                                       "KELDTS - Teleconference Room",
                                       &roomLayout(),
                                       {},
                                       {
                                           text("roomname", "Room &Name:"),
                                           number("roommod", "&Moderator:"),
                                       }};
    return form;
}

const formtable::Table& fbLine() {
    static const formtable::Table form{
        "keldfbeditoredit",
        "KELDTS - Function Block Line",
        &fbLineLayout(),
        {},
        {
            text("fbhotkey", "&Key:", Keys::Capitals, Rule::HotKey),
            number("fbsecuritylevel", "&Security Level:"),
            combo("fbtype", "&Type:",
                  {QStringLiteral("1: Internal Command"), QStringLiteral("2: Keldoran Script"),
                   QStringLiteral("3: DOS Command (Stay in Memory)"),
                   QStringLiteral("4: DOS Command (Shrink Out of Memory)"),
                   QStringLiteral("5: Function Block Transfer")},
                  {1, 2, 3, 4, 5}),
            text("fbcommand", "&Command:"),
        }};
    return form;
}

const formtable::Table& fbHead() {
    static const formtable::Table form{
        "keldfbeditorlist",
        "KELDTS - Function Block",
        &fbHeadLayout(),
        {},
        {
            {"fbMenu", "&Menu:", 0, nullptr, Control::Text, {}, Keys::BareName},
            {"fbDb", "&Databases:", 0, nullptr, Control::Text, {}, Keys::Letters},
        }};
    return form;
}

const formtable::Table& fileTriggers() {
    static const formtable::Table form{"frmTriggersEdit",
                                       "KELDTS - File Triggers",
                                       &fileTriggerLayout(),
                                       {},
                                       {
                                           text("trigger", "&Trigger:"),
                                           text("command", "&Command:"),
                                           text("parameters", "&Parameters:"),
                                           flag("deletetrigger", "&Delete Trigger File?"),
                                       }};
    return form;
}

const formtable::Table& users() {
    const auto on = [](int page, std::string_view field, const char* label,
                       Control control = Control::Text, Keys keys = Keys::Any,
                       Rule rule = Rule::None) {
        return Entry{field, label, page, nullptr, control, {}, keys, rule};
    };
    static const formtable::Table form{
        "keldusereditoredit",
        "KELD - User Editor",
        &userLayout(),
        {QStringLiteral("Personal"), QStringLiteral("Access"), QStringLiteral("Extra")},
        {
            on(0, "handle", "Handle:"),
            on(0, "realname", "Name:"),
            on(0, "address", "Address:"),
            on(0, "city", "City:"),
            on(0, "state", "State:", Control::Text, Keys::Capitals),
            on(0, "zipcode", "Zip:"),
            on(0, "phone1", "Phone1:"),
            on(0, "phone2", "Phone2:"),
            on(0, "password", "Password:", Control::Text, Keys::Capitals),
            on(0, "bdaymonth", "Month:", Control::Number),
            on(0, "bdayday", "Day:", Control::Number),
            on(0, "bdayyear", "Year:", Control::Number),
            on(0, "verifybday", "Verify Birthday?", Control::Flag),
            on(1, "securitylevel", "Security:", Control::Number),
            on(1, "maxtime", "Max. Time:", Control::Number),
            on(1, "accflags", "Acc Flags:", Control::Text, Keys::Letters, Rule::FlagLetters),
            on(1, "flags", "Flags:", Control::Text, Keys::Letters, Rule::FlagMask),
            on(1, "ratiocheck", "Ratio Exempt?", Control::Flag, Keys::Any, Rule::Inverted),
            on(1, "uploadkb", "Upload:", Control::Number),
            on(1, "downloadkb", "Download:", Control::Number),
            on(1, "credits", "Credits:", Control::Number),
            on(2, "extra1", "Extra User Value 1:"),
            on(2, "extra2", "Extra User Value 2:"),
            on(2, "extra3", "Extra User Value 3:"),
            on(2, "extra4", "Extra User Value 4:"),
            on(2, "extra5", "Extra User Value 5:"),
            on(2, "extra6", "Extra User Value 6:"),
            on(2, "extra7", "Extra User Value 7:"),
            on(2, "extra8", "Extra User Value 8:"),
        },
        false};
    return form;
}

} // namespace listedit
