#include "server/AdmissionTexts.h"

#include "platform/Cp437.h"

#include <QTime>

#include <algorithm>

namespace admission {

namespace {
const QByteArray kEsc = "\x1b";
const QByteArray kCrLf = "\r\n";
const char kLine = '\xC4';

QByteArray youHaveReached(const QString& bbsName) {
    return "You have reached " + cp437::fromUnicode(bbsName.trimmed()) + "." + kCrLf;
}
} // namespace

QByteArray banner(const QString& version) {
    return kEsc + "[2J" + kEsc + "[1;1H" + kEsc + "[0;1m" + QByteArray(2, kLine) + kEsc + "[0m" +
           QByteArray(2, kLine) + kEsc + "[1;30m" + QByteArray(1, kLine) + kEsc + "[36mKELDTS " +
           kEsc + "[0;36mv" + version.toLatin1() +
           " - KELD Telnet Server for Linux, serving DOS BBS nodes" + kEsc + "[0m";
}

QByteArray offlineText(const QString& bbsName) {
    return youHaveReached(bbsName) +
           "The BBS is currently down for maintenance. Please try again later." + kCrLf;
}

QByteArray allBusyText(const QString& bbsName) {
    return youHaveReached(bbsName) + "All nodes are currently busy. Please try again later." +
           kCrLf;
}

QByteArray addressLimitText(const QString& bbsName) {
    return youHaveReached(bbsName) +
           "Your address already holds as many nodes as it may. Please try again later." + kCrLf;
}

QByteArray pressEscPrompt() {
    return kCrLf + "Press ESC twice to enter the BBS." + kCrLf;
}

QByteArray noKeyPressText() {
    return "No key pressed. Goodbye." + kCrLf;
}

QByteArray nodeNotStartedText(const QString& bbsName) {
    return youHaveReached(bbsName) + "The node could not be started. Please try again later." +
           kCrLf;
}

QByteArray netTimeText(const QString& bbsName, const QByteArray& netOnlyFile, bool fileExists) {
    // Only blanks make the file empty: a file of line ends is a text and goes out as it is.
    const bool blank =
        std::all_of(netOnlyFile.begin(), netOnlyFile.end(), [](char c) { return c == ' '; });
    if (fileExists && !blank)
        return netOnlyFile + kCrLf;
    return youHaveReached(bbsName) +
           "The BBS is currently down for network traffic. Please try again later." + kCrLf;
}

QByteArray resolvingPrompt() {
    return kEsc + "[1;30mResolving Hostname... " + kEsc + "[0m";
}

const std::array<QByteArray, 6>& telnetOptions() {
    static const std::array<QByteArray, 6> options{
        QByteArray("\xff\xfd\x03", 3), QByteArray("\xff\xfb\x03", 3), QByteArray("\xff\xfe\x01", 3),
        QByteArray("\xff\xfb\x01", 3), QByteArray("\xff\xfc\x22", 3), QByteArray("\xff\xfc\x24", 3),
    };
    return options;
}

bool holdsDoEcho(const QByteArray& data) {
    return data.contains(QByteArray("\xff\xfd\x01", 3));
}

bool inNetTime(const QString& lowTime, const QString& highTime, const QDateTime& now) {
    const QString low = lowTime.trimmed();
    const QString high = highTime.trimmed();
    if (low == QLatin1String("00:00") || high == QLatin1String("00:00"))
        return false;
    const QTime from = QTime::fromString(low, QStringLiteral("hh:mm"));
    const QTime to = QTime::fromString(high, QStringLiteral("hh:mm"));
    if (!from.isValid() || !to.isValid())
        return false;
    const QDateTime start(now.date(), from);
    const QDateTime end(now.date(), to);
    return now >= start && now < end;
}

QByteArray door32Sys(const QString& handle, int node) {
    const QByteArray lines[] = {
        "2",        handle.toLatin1(), "115200", "KELDTS", "1",
        "BBS User", "BBS User",        "1",      "1",      QByteArray::number(node)};
    QByteArray out;
    for (const QByteArray& line : lines)
        out += line + kCrLf;
    return out;
}

} // namespace admission
