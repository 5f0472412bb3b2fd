#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <array>

// The bytes a caller hears during admission and the files written for the node.
namespace admission {

// The welcome banner, without its line end; the line character is CP437 196 (0xC4) on the wire.
QByteArray banner(const QString& version);

// The refusal texts are the whole of what the caller hears, line ends included.
QByteArray offlineText(const QString& bbsName);
QByteArray allBusyText(const QString& bbsName);
// The defences KELDTS.INI can switch on against callers who hold nodes without using them.
QByteArray addressLimitText(const QString& bbsName);
QByteArray pressEscPrompt();
QByteArray noKeyPressText();
// What a caller hears when the node host could not start the caller's node.
QByteArray nodeNotStartedText(const QString& bbsName);
// NETONLY.TXT when it holds more than blanks, else the board's own words.
QByteArray netTimeText(const QString& bbsName, const QByteArray& netOnlyFile, bool fileExists);
QByteArray resolvingPrompt();

// The six telnet option strings, each sent on its own.
const std::array<QByteArray, 6>& telnetOptions();
// Whether `data` holds IAC DO ECHO.
bool holdsDoEcho(const QByteArray& data);

// True when `now` lies in the network period [low, high) of today. "00:00" in either switches
// the period off; a period that crosses midnight is never in force.
bool inNetTime(const QString& lowTime, const QString& highTime, const QDateTime& now);

QByteArray door32Sys(const QString& handle, int node);

} // namespace admission
