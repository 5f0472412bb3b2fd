#pragma once

#include <QByteArray>
#include <QList>

#include <termios.h>

// The keyboard of a node's window, where the sysop's node commands arrive as the function keys
// a DOS BBS knows: Shift+F1 to chat, F10 to boot the caller, Shift+F10 to drop him with noise.
namespace sysopkey {
// Typed characters are their own codes (Enter as '\r', Esc as 27); these stand for the rest.
constexpr int kChat = -10;
constexpr int kBoot = -11;
constexpr int kLineNoise = -12;

// Takes the terminal's bytes apart into keys. A sequence the node has no use for is dropped
// whole; the decoder keeps at most one unfinished sequence between reads.
class Decoder {
  public:
    QList<int> feed(const QByteArray& bytes);
    // An Esc that no sequence followed within one read is the Esc key.
    QList<int> flush();

  private:
    QByteArray pending_;
};
} // namespace sysopkey

// Standard input when it is the window's terminal: read key by key without echo while the node
// runs, and put back as it was afterwards. Without a terminal there are no sysop keys.
class SysopConsole {
  public:
    SysopConsole();
    ~SysopConsole();
    SysopConsole(const SysopConsole&) = delete;
    SysopConsole& operator=(const SysopConsole&) = delete;

    // The descriptor to wait on, -1 when there is no terminal.
    int descriptor() const { return active_ ? 0 : -1; }
    // The keys that have arrived; an empty list when the terminal has gone.
    QList<int> read();

  private:
    bool active_ = false;
    termios saved_{};
    sysopkey::Decoder decoder_;
};
