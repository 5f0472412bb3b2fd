#pragma once

#include "data/RecordLayout.h"

// The record files that the server and the node programs share. Each function returns the one
// declaration of its file; nothing else in the program knows an offset or where a file lies.

// Connection server
const RecordLayout& controlLayout();     // CONTROL.DAT, one record per node from node 0
const RecordLayout& ipFilterLayout();    // KELDTSIP.DAT
const RecordLayout& fileTriggerLayout(); // KELDTSTR.DAT
const RecordLayout& webCallerLayout();   // WEBCALLER.LST
const RecordLayout& statisticsLayout();  // STATKBBS.DAT, also its backup STATKBBS.BAK

// Board configuration
const RecordLayout& channelsLayout();      // CHANNELS.CFG, the short channel record
const RecordLayout& channelXLayout();      // CHANNELX.CFG
const RecordLayout& downloadLayout();      // DOWNLOAD.CFG
const RecordLayout& uploadLayout();        // UPLOAD.CFG, the same fields as DOWNLOAD.CFG
const RecordLayout& doorsLayout();         // DOORS.CFG
const RecordLayout& eventsLayout();        // EVENTS.CFG
const RecordLayout& voteLayout();          // VOTE.CFG
const RecordLayout& voteAnswerLayout();    // VOTEn.DAT, n the question's record number
const RecordLayout& randomLayout();        // RANDOM.CFG
const RecordLayout& textSectionLayout();   // TEXTSECT.CFG
const RecordLayout& bulletinLayout();      // TEXTn.DAT, n the section's record number
const RecordLayout& multiFeedbackLayout(); // MULTIFBX.CFG
const RecordLayout& quickValidateLayout(); // QUICKVAL.CFG
const RecordLayout& databaseLayout();      // DATABASE.CFG
const RecordLayout& databaseGroupLayout(); // DBGROUP.CFG

// Accounts and mail
const RecordLayout& userLayout();      // USERFILE.DAT, record number = user number
const RecordLayout& userIndexLayout(); // USERFILE.IDX
const RecordLayout& mailLayout();      // EMAIL.DAT, also SNTEMAIL.DAT and ONELINE.DAT
const RecordLayout& mailScanLayout();  // EMAIL.QSC and its kind, one record per user
