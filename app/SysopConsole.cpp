#include "app/SysopConsole.h"

#include <cerrno>
#include <unistd.h>

namespace sysopkey {

namespace {

constexpr char kEsc = 27;
// Longer than any key's sequence: what gets this long is not a key and is dropped.
constexpr qsizetype kLongestSequence = 16;

// The final part of a CSI sequence after "ESC [", as tmux and xterm send the keys we know.
int csiKey(const QByteArray& body) {
    if (body == "1;2P")
        return kChat;
    if (body == "21~")
        return kBoot;
    if (body == "21;2~")
        return kLineNoise;
    return 0;
}

} // namespace

QList<int> Decoder::feed(const QByteArray& bytes) {
    QList<int> keys;
    for (const char c : bytes) {
        if (pending_.isEmpty()) {
            if (c == kEsc)
                pending_.append(c);
            else
                keys.append(c == '\n' ? '\r' : static_cast<unsigned char>(c));
            continue;
        }
        pending_.append(c);
        if (pending_.size() == 2 && c != '[' && c != 'O') {
            // Esc followed by an ordinary key: both were pressed.
            pending_.clear();
            keys.append(kEsc);
            keys.append(feed(QByteArray(1, c)));
            continue;
        }
        const bool ss3Done = pending_.at(1) == 'O' && pending_.size() == 3;
        const bool csiDone = pending_.at(1) == '[' && pending_.size() > 2 && c >= 0x40 && c <= 0x7e;
        if (ss3Done || csiDone) {
            if (const int key = csiDone ? csiKey(pending_.mid(2)) : 0)
                keys.append(key);
            pending_.clear();
        } else if (pending_.size() >= kLongestSequence) {
            pending_.clear();
        }
    }
    return keys;
}

QList<int> Decoder::flush() {
    const bool lone = pending_.size() == 1;
    pending_.clear();
    return lone ? QList<int>{kEsc} : QList<int>{};
}

} // namespace sysopkey

SysopConsole::SysopConsole() {
    if (!::isatty(STDIN_FILENO) || ::tcgetattr(STDIN_FILENO, &saved_) != 0)
        return;
    termios raw = saved_;
    // Key by key and unechoed; Ctrl+C still ends the node as the sysop would expect.
    raw.c_lflag &= ~tcflag_t(ICANON | ECHO);
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    active_ = ::tcsetattr(STDIN_FILENO, TCSANOW, &raw) == 0;
}

SysopConsole::~SysopConsole() {
    if (active_)
        ::tcsetattr(STDIN_FILENO, TCSANOW, &saved_);
}

QList<int> SysopConsole::read() {
    char buffer[256];
    ssize_t n;
    do {
        n = ::read(STDIN_FILENO, buffer, sizeof buffer);
    } while (n < 0 && errno == EINTR);
    if (n <= 0) {
        active_ = false;
        return {};
    }
    // tmux writes each key in one piece, so a read that ends inside Esc ends the key too.
    QList<int> keys = decoder_.feed(QByteArray(buffer, n));
    keys.append(decoder_.flush());
    return keys;
}
