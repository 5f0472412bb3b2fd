#include "server/TelnetInput.h"

namespace {
constexpr unsigned char kIac = 255, kSb = 250, kSe = 240, kWill = 251, kDont = 254;
}

QByteArray TelnetInput::feed(const QByteArray& bytes) {
    QByteArray typed;
    for (char c : bytes) {
        const auto b = static_cast<unsigned char>(c);
        switch (state_) {
        case State::Data:
            if (b == kIac)
                state_ = State::Iac;
            else
                typed.append(c);
            break;
        case State::Iac:
            if (b == kIac) {
                typed.append(c);
                state_ = State::Data;
            } else if (b == kSb) {
                state_ = State::Sub;
            } else if (b >= kWill && b <= kDont) {
                state_ = State::Option;
            } else {
                state_ = State::Data;
            }
            break;
        case State::Option:
            state_ = State::Data;
            break;
        case State::Sub:
            if (b == kIac)
                state_ = State::SubIac;
            break;
        case State::SubIac:
            state_ = b == kSe ? State::Data : State::Sub;
            break;
        }
    }
    return typed;
}
