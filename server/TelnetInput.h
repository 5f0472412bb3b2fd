#pragma once

#include <QByteArray>

// Takes a caller's raw bytes apart into what was typed, dropping telnet commands. It keeps no
// more state than one command in progress, so no byte a client sends can make it grow.
class TelnetInput {
  public:
    // Feeds received bytes; returns the typed characters among them.
    QByteArray feed(const QByteArray& bytes);

  private:
    enum class State { Data, Iac, Option, Sub, SubIac };
    State state_ = State::Data;
};
