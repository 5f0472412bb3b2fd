#include "data/records/BoardFiles.h"

#include <array>

namespace {

using T = FieldType;

constexpr std::array kChannelX{
    Field{"init1", 0, T::Str, 40},        Field{"init2", 40, T::Str, 40},
    Field{"init3", 80, T::Str, 40},       Field{"answer", 120, T::Str, 20},
    Field{"dial", 140, T::Str, 20},       Field{"offhook", 160, T::Str, 20},
    Field{"baudrate", 180, T::I32, 4},    Field{"lockedbaud", 184, T::I16, 2},
    Field{"rtscts", 186, T::I16, 2},      Field{"serialport", 188, T::I16, 2},
    Field{"reserved190", 190, T::I16, 2}, Field{"baseaddy", 192, T::I16, 2},
    Field{"irq", 194, T::I16, 2},         Field{"minbaud", 196, T::I32, 4},
    Field{"reserved200", 200, T::Str, 4},
};
static_assert(fieldsAreContiguous(kChannelX, 204));

// Older node tools read only this one; the channel form keeps it in step with CHANNELX.CFG.
constexpr std::array kChannels{
    Field{"init1", 0, T::Str, 40},      Field{"baudrate", 40, T::I32, 4},
    Field{"lockedbaud", 44, T::I16, 2}, Field{"rtscts", 46, T::I16, 2},
    Field{"serialport", 48, T::I16, 2}, Field{"reserved50", 50, T::I16, 2},
    Field{"baseaddy", 52, T::I16, 2},   Field{"irq", 54, T::I16, 2},
    Field{"minbaud", 56, T::I32, 4},    Field{"reserved60", 60, T::Str, 4},
};
static_assert(fieldsAreContiguous(kChannels, 64));

// `batch` is a flag stored as the character of code 0 or 1, not as the digit.
constexpr std::array kProtocol{
    Field{"batch", 0, T::Chr, 1},
    Field{"desc", 1, T::Str, 23},
    Field{"hotkey", 24, T::Str, 1},
    Field{"cmd", 25, T::Str, 48},
};
static_assert(fieldsAreContiguous(kProtocol, 73));

constexpr std::array kDoors{
    Field{"doordesc", 0, T::Str, 32},       Field{"doorcommand", 32, T::Str, 32},
    Field{"doorminsl", 64, T::I16, 2},      Field{"dooraccflag", 66, T::Str, 1},
    Field{"doorsingleuser", 67, T::I16, 2}, Field{"doorcredits", 69, T::I16, 2},
    Field{"reserved71", 71, T::Str, 3},
};
static_assert(fieldsAreContiguous(kDoors, 74));

constexpr std::array kEvents{
    Field{"evttime", 0, T::Str, 5},
    Field{"evtdate", 5, T::Str, 6},
    Field{"evttype", 11, T::I16, 2},
    Field{"evtcommand", 13, T::Str, 32},
};
static_assert(fieldsAreContiguous(kEvents, 45));

constexpr std::array kVote{
    Field{"votequestion", 0, T::Str, 64}, Field{"reserved64", 64, T::I16, 2},
    Field{"voteresp1", 66, T::Str, 60},   Field{"voteresp2", 126, T::Str, 60},
    Field{"voteresp3", 186, T::Str, 60},  Field{"voteresp4", 246, T::Str, 60},
    Field{"voteresp5", 306, T::Str, 60},  Field{"voteresp6", 366, T::Str, 60},
    Field{"voteresp7", 426, T::Str, 60},  Field{"voteresp8", 486, T::Str, 60},
};
static_assert(fieldsAreContiguous(kVote, 546));

// User u's answer is record 2u - 1; the even records are never addressed here.
constexpr std::array kVoteAnswer{
    Field{"answer", 0, T::I16, 2},
};
static_assert(fieldsAreContiguous(kVoteAnswer, 2));

constexpr std::array kRandom{
    Field{"randomline1", 0, T::Str, 70},
    Field{"randomline2", 70, T::Str, 70},
    Field{"randomline3", 140, T::Str, 70},
};
static_assert(fieldsAreContiguous(kRandom, 210));

constexpr std::array kTextSection{
    Field{"textsectdesc", 0, T::Str, 32},
    Field{"textsectpath", 32, T::Str, 32},
    Field{"textsectminsl", 64, T::I16, 2},
    Field{"textsectaccflag", 66, T::Str, 1},
};
static_assert(fieldsAreContiguous(kTextSection, 67));

constexpr std::array kBulletin{
    Field{"description", 0, T::Str, 32},
    Field{"filename", 32, T::Str, 12},
};
static_assert(fieldsAreContiguous(kBulletin, 44));

constexpr std::array kMultiFeedback{
    Field{"multifbdesc", 0, T::Str, 40},   Field{"multifbhandle", 40, T::Str, 40},
    Field{"multifbuser", 80, T::I32, 4},   Field{"multifbaddress", 84, T::Str, 80},
    Field{"multifbnetno", 164, T::I16, 2},
};
static_assert(fieldsAreContiguous(kMultiFeedback, 166));

constexpr std::array kQuickValidate{
    Field{"seclevel", 0, T::I16, 2},
    Field{"timelimit", 2, T::I16, 2},
    Field{"accflags", 4, T::I32, 4},
};
static_assert(fieldsAreContiguous(kQuickValidate, 8));

// The database tables name their fields after the form's controls, mixed case included.
constexpr std::array kDatabase{
    Field{"DbFilename", 0, T::Str, 8},   Field{"DbFilepath", 8, T::Str, 32},
    Field{"DbDesc", 40, T::Str, 32},     Field{"DbPrivate", 72, T::I16, 2},
    Field{"DbGroupId", 74, T::Str, 1},   Field{"DbMaxmsg", 75, T::I16, 2},
    Field{"DbMinreadsl", 77, T::I16, 2}, Field{"DbMinwritesl", 79, T::I16, 2},
    Field{"DbAgelimit", 81, T::I16, 2},  Field{"DbAccFlags", 83, T::I32, 4},
    Field{"DbTagline", 87, T::I16, 2},   Field{"DbDispname", 89, T::I16, 2},
    Field{"DbRandtitle", 91, T::I16, 2}, Field{"DbQwkconfno", 93, T::I16, 2},
    Field{"DbModerator", 95, T::I16, 2}, Field{"DbValidate", 97, T::I16, 2},
    Field{"DbFreqable", 99, T::I16, 2},  Field{"DbDevicetype", 101, T::I16, 2},
    Field{"DbKind", 103, T::Str, 1},     Field{"reserved104", 104, T::Str, 27},
};
static_assert(fieldsAreContiguous(kDatabase, 131));

constexpr std::array kDatabaseGroup{
    Field{"DbKind", 0, T::Str, 1},         Field{"DbTopic", 1, T::Str, 1},
    Field{"DbDesc", 2, T::Str, 65},        Field{"reserved67", 67, T::Str, 2},
    Field{"DbFirstRecord", 69, T::I32, 4}, Field{"DbLastRecord", 73, T::I32, 4},
    Field{"reserved77", 77, T::Str, 51},
};
static_assert(fieldsAreContiguous(kDatabaseGroup, 128));

} // namespace

const RecordLayout& channelsLayout() {
    static const RecordLayout layout{"CHANNELS.CFG", 64, kChannels};
    return layout;
}

const RecordLayout& channelXLayout() {
    static const RecordLayout layout{"CHANNELX.CFG", 204, kChannelX};
    return layout;
}

const RecordLayout& downloadLayout() {
    static const RecordLayout layout{"DOWNLOAD.CFG", 73, kProtocol};
    return layout;
}

const RecordLayout& uploadLayout() {
    static const RecordLayout layout{"UPLOAD.CFG", 73, kProtocol};
    return layout;
}

const RecordLayout& doorsLayout() {
    static const RecordLayout layout{"DOORS.CFG", 74, kDoors};
    return layout;
}

const RecordLayout& eventsLayout() {
    static const RecordLayout layout{"EVENTS.CFG", 45, kEvents};
    return layout;
}

const RecordLayout& voteLayout() {
    static const RecordLayout layout{"VOTE.CFG", 546, kVote};
    return layout;
}

const RecordLayout& voteAnswerLayout() {
    static const RecordLayout layout{"VOTEn.DAT", 2, kVoteAnswer, "dat"};
    return layout;
}

const RecordLayout& randomLayout() {
    static const RecordLayout layout{"RANDOM.CFG", 210, kRandom};
    return layout;
}

const RecordLayout& textSectionLayout() {
    static const RecordLayout layout{"TEXTSECT.CFG", 67, kTextSection};
    return layout;
}

const RecordLayout& bulletinLayout() {
    static const RecordLayout layout{"TEXTn.DAT", 44, kBulletin, "dat"};
    return layout;
}

const RecordLayout& multiFeedbackLayout() {
    static const RecordLayout layout{"MULTIFBX.CFG", 166, kMultiFeedback};
    return layout;
}

const RecordLayout& quickValidateLayout() {
    static const RecordLayout layout{"QUICKVAL.CFG", 8, kQuickValidate};
    return layout;
}

const RecordLayout& databaseLayout() {
    static const RecordLayout layout{"DATABASE.CFG", 131, kDatabase};
    return layout;
}

const RecordLayout& databaseGroupLayout() {
    static const RecordLayout layout{"DBGROUP.CFG", 128, kDatabaseGroup};
    return layout;
}
