#include "data/records/BoardFiles.h"

#include "data/SettingsRecords.h"

#include <array>

namespace {

constexpr std::array kBoardFiles{
    BoardFile{"CHANNELS.CFG", channelsLayout, "main"},
    BoardFile{"CHANNELX.CFG", channelXLayout, "main"},
    BoardFile{"CONTROL.DAT", controlLayout, "control"},
    BoardFile{"DATABASE.CFG", databaseLayout, "main"},
    BoardFile{"DBGROUP.CFG", databaseGroupLayout, "main"},
    BoardFile{"DOORS.CFG", doorsLayout, "main"},
    BoardFile{"DOWNLOAD.CFG", downloadLayout, "main"},
    BoardFile{"EMAIL.DAT", mailLayout, "db"},
    BoardFile{"EVENTS.CFG", eventsLayout, "main"},
    BoardFile{"KELDTS.CFG", serverConfigLayout, "main"},
    BoardFile{"KELDTS.DAT", windowStateLayout, "main"},
    BoardFile{"KELDTSIP.DAT", ipFilterLayout, "main"},
    BoardFile{"KELDTSTR.DAT", fileTriggerLayout, "main"},
    BoardFile{"KTSDATA.DAT", serverDataLayout, "main"},
    BoardFile{"MAIN.CFG", mainConfigLayout, "main"},
    BoardFile{"MULTIFBX.CFG", multiFeedbackLayout, "main"},
    BoardFile{"QUICKVAL.CFG", quickValidateLayout, "main"},
    BoardFile{"RANDOM.CFG", randomLayout, "main"},
    BoardFile{"STATKBBS.DAT", statisticsLayout, "dat"},
    BoardFile{"SYSPATHS.CFG", sysPathsLayout, "main"},
    BoardFile{"TEXTn.DAT", bulletinLayout, "dat"},
    BoardFile{"TEXTSECT.CFG", textSectionLayout, "main"},
    BoardFile{"UPLOAD.CFG", uploadLayout, "main"},
    BoardFile{"USERFILE.DAT", userLayout, "dat"},
    BoardFile{"USERFILE.IDX", userIndexLayout, "dat"},
    BoardFile{"VOTE.CFG", voteLayout, "main"},
    BoardFile{"VOTEn.DAT", voteAnswerLayout, "dat"},
};

} // namespace

std::span<const BoardFile> boardFiles() {
    return kBoardFiles;
}

const BoardFile* findBoardFile(std::string_view name) {
    for (const BoardFile& file : kBoardFiles) {
        if (file.name == name)
            return &file;
    }
    return nullptr;
}
