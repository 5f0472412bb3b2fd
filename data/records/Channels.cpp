#include "data/records/Channels.h"

namespace {
constexpr qint16 kFossilDevice0 = 65;
}

Record fossilChannel(const RecordLayout& channelFile) {
    Record channel(channelFile);
    channel.setI32("baudrate", 115200);
    channel.setI16("serialport", kFossilDevice0);
    channel.setI16("baseaddy", 0x3F8);
    channel.setI16("irq", 4);
    return channel;
}
