#include "app/DemoNode.h"

#include "app/SysopConsole.h"
#include "data/Board.h"
#include "data/RecordFile.h"
#include "data/SystemConfig.h"
#include "data/records/BoardFiles.h"
#include "platform/Cp437.h"
#include "platform/FileAccess.h"
#include "platform/FileWrite.h"
#include "server/TelnetInput.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QRandomGenerator>

#include <functional>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kIdleLimitMs = 10 * 60 * 1000;
// A caller who gives no name within this time is let go, so a silent client does not keep the
// node taken until the idle limit.
constexpr int kLoginLimitMs = 60 * 1000;
// A caller whose side takes no bytes for this long has stopped reading; the node stops too.
constexpr int kSendLimitSeconds = 30;
constexpr int kMaxName = 30;

void say(const QString& text) {
    const QByteArray bytes = (text + QLatin1Char('\n')).toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fflush(stdout);
}

// The terminal of the node's window is the only sink a demo node has.
class TerminalLogs final : public LogSinks {
  public:
    void writeDebugPane(const QString& line) override { say(line); }
    void writeEventLog(const QString&) override {}
};

// The caller's side of the conversation, on the handed-down socket.
class Caller {
  public:
    explicit Caller(int fd) : fd_(fd) {
        const timeval limit{kSendLimitSeconds, 0};
        if (::setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) != 0)
            say(QStringLiteral("No time limit on sending to the caller: %1")
                    .arg(QString::fromLocal8Bit(std::strerror(errno))));
    }

    // How long the caller may stay silent before the call counts as over, from now on.
    void setIdleLimit(int ms) {
        idleLimitMs_ = ms;
        quietUntil_.setRemainingTime(ms);
    }

    // A caller who left makes this fail; SIGPIPE is ignored from the start of the program.
    bool send(const QByteArray& bytes) { return filewrite::writeAll(fd_, bytes); }
    bool send(const QString& text) { return send(cp437::fromUnicode(text)); }

    // What happened next: the caller typed `value`, the sysop pressed `value` in the node's
    // window, or the caller is gone (or stayed silent too long).
    struct Event {
        enum Kind { Typed, Sysop, Gone } kind;
        int value = 0;
    };

    Event next() {
        while (typed_.isEmpty() && sysop_.isEmpty()) {
            pollfd p[2] = {{fd_, POLLIN, 0}, {console_.descriptor(), POLLIN, 0}};
            const int ready = ::poll(p, 2, int(quietUntil_.remainingTime()));
            if (ready < 0 && errno == EINTR)
                continue;
            if (ready <= 0)
                return {Event::Gone};
            if (p[1].revents) {
                sysop_ += console_.read();
                quietUntil_.setRemainingTime(idleLimitMs_);
            }
            if (p[0].revents && !receive())
                return {Event::Gone};
        }
        if (!sysop_.isEmpty())
            return {Event::Sysop, sysop_.takeFirst()};
        const auto c = static_cast<unsigned char>(typed_.at(0));
        typed_.remove(0, 1);
        // A line ends in CR, CR LF or CR NUL depending on the client: the second byte is noise.
        const bool noise = afterCr_ && (c == '\n' || c == '\0');
        afterCr_ = c == '\r';
        return noise ? next() : Event{Event::Typed, c};
    }

    // The next typed character, or -1 when the call is over. The sysop's keys go to `onSysop`,
    // which says whether the call goes on.
    int key() {
        for (;;) {
            const Event e = next();
            if (e.kind == Event::Typed)
                return e.value;
            if (e.kind == Event::Gone || (onSysop && !onSysop(e.value)))
                return -1;
        }
    }

    std::function<bool(int)> onSysop;

    // A line typed with echo, at most `limit` characters; a null result when the caller left.
    QByteArray line(int limit) {
        QByteArray text;
        for (;;) {
            const int c = key();
            if (c < 0)
                return {};
            if (c == '\r' || c == '\n') {
                send(QByteArray("\r\n"));
                return text.isNull() ? QByteArray("") : text;
            }
            if ((c == 8 || c == 127) && !text.isEmpty()) {
                text.chop(1);
                send(QByteArray("\b \b"));
            } else if (c >= 32 && c != 127 && text.size() < limit) {
                text.append(static_cast<char>(c));
                send(QByteArray(1, static_cast<char>(c)));
            }
        }
    }

  private:
    bool receive() {
        char buffer[512];
        ssize_t n;
        do {
            n = ::recv(fd_, buffer, sizeof buffer, 0);
        } while (n < 0 && errno == EINTR);
        if (n <= 0)
            return false;
        // Telnet commands are the client's, not the caller's: a client that sends them on its
        // own (a keep-alive NOP, say) must not keep a node whose caller has gone quiet.
        const QByteArray typed = input_.feed(QByteArray(buffer, n));
        if (!typed.isEmpty())
            quietUntil_.setRemainingTime(idleLimitMs_);
        typed_ += typed;
        return true;
    }

    int fd_;
    int idleLimitMs_ = kLoginLimitMs;
    QDeadlineTimer quietUntil_{kLoginLimitMs};
    SysopConsole console_;
    TelnetInput input_;
    QByteArray typed_;
    QList<int> sysop_;
    bool afterCr_ = false;
};

class DemoNode {
  public:
    DemoNode(int node, int fd)
        : node_(node), caller_(fd),
          board_(clock_, dialogs_, logs_, readPlatformSettings(QStringLiteral("KELDTS.INI"))) {}

    int run() {
        caller_.onSysop = [this](int key) { return sysopKey(key); };
        Result<> settings = getSysPaths(board_, true, board_.sysPaths);
        if (settings)
            settings = getMainConfig(board_, board_.mainConfig);
        if (!settings) {
            say(QStringLiteral("Node %1: cannot read the board's settings: %2")
                    .arg(node_)
                    .arg(settings.error()));
            return 1;
        }
        const QStringList tcpip =
            readLines(board_.filePath("temp", QStringLiteral("N%1/TCPIP.CFG").arg(node_)));
        const QStringList door = readLines(QStringLiteral("DOOR32.SYS"));
        say(QStringLiteral("Node %1: caller from %2 (%3), socket %4")
                .arg(node_)
                .arg(tcpip.value(1, QStringLiteral("?")), tcpip.value(2, QStringLiteral("?")),
                     door.value(1, QStringLiteral("?"))));
        const QString bbs = board_.mainConfig.text("bbsname");
        if (!caller_.send(QStringLiteral("\r\nWelcome to %1, node %2.\r\nWhat is your name? ")
                              .arg(bbs)
                              .arg(node_)))
            return 0;
        const QByteArray typed = caller_.line(kMaxName).trimmed();
        if (typed.isNull())
            return leave(QStringLiteral("left at the name prompt, or gave no name in time"));
        name_ = typed.isEmpty() ? QStringLiteral("Guest") : cp437::toUnicode(typed);
        caller_.setIdleLimit(kIdleLimitMs);
        updateRecord(QStringLiteral("Main Menu"));
        say(QStringLiteral("Node %1: %2 logged in").arg(node_).arg(name_));
        return menu();
    }

  private:
    int menu() {
        caller_.send(QStringLiteral("\r\nHello, %1!\r\n").arg(name_));
        for (;;) {
            caller_.send(QStringLiteral("\r\n[W]ho is online  [P]age the SysOp  [G]oodbye: "));
            const int key = caller_.key();
            if (key < 0)
                return leave(QStringLiteral("hung up"));
            switch (QChar(key).toUpper().unicode()) {
            case 'W':
                caller_.send(QStringLiteral("W\r\n") + whoIsOnline());
                break;
            case 'P':
                updateRecord(QStringLiteral("Paging SysOp"));
                say(QStringLiteral("\a*** Node %1: %2 pages the SysOp ***").arg(node_).arg(name_));
                caller_.send(QStringLiteral("P\r\nThe SysOp has been paged.\r\n"));
                updateRecord(QStringLiteral("Main Menu"));
                break;
            case 'G':
                caller_.send(QStringLiteral("G\r\nGoodbye, %1. Call again!\r\n").arg(name_));
                return leave(QStringLiteral("said goodbye"));
            default:
                break;
            }
        }
    }

    QString whoIsOnline() {
        QString list;
        const QString path = board_.path(controlLayout());
        const int channels = board_.mainConfig.i16("maxchannelno");
        for (int node = 1; node <= channels && node <= 100; ++node) {
            Record r(controlLayout());
            if (!recordfile::read(path, node + 1, r).ok())
                break;
            const QString action = r.text("action");
            if (action.isEmpty() || action == QLatin1String("Waiting..."))
                continue;
            list +=
                QStringLiteral("  Node %1: %2 - %3\r\n").arg(node).arg(r.text("handle"), action);
        }
        return list.isEmpty() ? QStringLiteral("  Nobody.\r\n") : list;
    }

    void updateRecord(const QString& action) {
        const QString path = board_.path(controlLayout());
        Record r(controlLayout());
        // The node's own record: what it cannot read back it writes anew.
        if (const Result<> read = recordfile::read(path, node_ + 1, r); !read)
            say(QStringLiteral("Node %1: %2").arg(node_).arg(read.error()));
        r.setI32("baud", 11520);
        r.setText("action", action);
        r.setI32("usernumber", 1);
        r.setText("handle", name_);
        r.setText("timeon", board_.clock.now().toString(QStringLiteral("HH:mm")));
        if (const Result<> written = recordfile::write(path, node_ + 1, r); !written)
            say(QStringLiteral("Node %1: cannot update CONTROL.DAT: %2")
                    .arg(node_)
                    .arg(written.error()));
    }

    int leave(const QString& how) {
        say(QStringLiteral("Node %1: %2 %3")
                .arg(node_)
                .arg(name_.isEmpty() ? QStringLiteral("the caller") : name_,
                     endedBy_.isEmpty() ? how : endedBy_));
        return 0;
    }

    // A function key of the sysop's; false when it ends the call.
    bool sysopKey(int key) {
        switch (key) {
        case sysopkey::kChat:
            return chat();
        case sysopkey::kBoot:
            caller_.send(QStringLiteral("\r\n\r\nThe SysOp has ended your call. Goodbye!\r\n"));
            endedBy_ = QStringLiteral("was booted by the SysOp");
            return false;
        case sysopkey::kLineNoise: {
            // Random bytes, none of them a telnet command, as a bad line would bring them.
            QByteArray noise(512, '\0');
            for (char& c : noise)
                c = static_cast<char>(QRandomGenerator::global()->bounded(255));
            caller_.send(noise);
            endedBy_ = QStringLiteral("was dropped with line noise");
            return false;
        }
        default:
            return true; // outside a chat the sysop's typing is not for the caller
        }
    }

    // Both sides type to each other until the sysop presses Esc.
    bool chat() {
        updateRecord(QStringLiteral("Chatting with SysOp"));
        say(QStringLiteral("Node %1: chat with %2 - type to talk, Esc ends it")
                .arg(node_)
                .arg(name_.isEmpty() ? QStringLiteral("the caller") : name_));
        caller_.send(QStringLiteral("\r\n\r\n*** The SysOp is here to chat with you. ***\r\n\r\n"));
        for (;;) {
            const Caller::Event e = caller_.next();
            if (e.kind == Caller::Event::Gone)
                return false;
            if (e.kind == Caller::Event::Sysop && e.value == 27)
                break;
            if (e.value < 0) {
                if (e.kind == Caller::Event::Sysop && !sysopKey(e.value))
                    return false;
                continue;
            }
            chatKey(e.value);
        }
        caller_.send(QStringLiteral("\r\n*** The SysOp has left the chat. ***\r\n"));
        say(QStringLiteral("\nNode %1: chat ended").arg(node_));
        updateRecord(QStringLiteral("Main Menu"));
        return true;
    }

    // Shows a chat key on both screens.
    void chatKey(int c) {
        QByteArray toCaller;
        if (c == '\r')
            toCaller = "\r\n";
        else if (c == 8 || c == 127)
            toCaller = "\b \b";
        else if (c >= 32)
            toCaller = QByteArray(1, static_cast<char>(c));
        caller_.send(toCaller);
        const QByteArray local = cp437::toUnicode(toCaller).toUtf8().replace("\r\n", "\n");
        std::fwrite(local.constData(), 1, static_cast<size_t>(local.size()), stdout);
        std::fflush(stdout);
    }

    static QStringList readLines(const QString& path) {
        const Result<QByteArray> text = fileaccess::readSmall(path, 64 * 1024);
        return text ? QString::fromLatin1(text.value()).split(QStringLiteral("\r\n"))
                    : QStringList();
    }

    int node_;
    Caller caller_;
    SystemClock clock_;
    DefaultAnswerDialogs dialogs_;
    TerminalLogs logs_;
    Board board_;
    QString name_;
    QString endedBy_;
};

} // namespace

int runDemoNode(const QStringList& args) {
    bool nodeOk = false, fdOk = false;
    const int node = args.value(0).toInt(&nodeOk);
    const int fd = args.value(1).toInt(&fdOk);
    if (args.size() != 2 || !nodeOk || !fdOk || node < 1 || node > 100 || fd < 0) {
        std::fputs("usage: keldts demo-node NODE HANDLE\n", stderr);
        return 2;
    }
    return DemoNode(node, fd).run();
}
