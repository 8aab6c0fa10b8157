#include "headunit.h"

#include <algorithm>
#include <array>

namespace boxsim {

namespace {

int byteAt(const QByteArray& bytes, int index)
{
    return static_cast<quint8>(bytes[index]);
}

QString hex(int byte)
{
    return QString::asprintf("0x%02X", static_cast<unsigned>(byte));
}

Reaction announce(Car&, const QByteArray& payload)
{
    Reaction reaction;
    reaction.announced = byteAt(payload, 0) != 0;
    reaction.meaning =
        *reaction.announced ? QStringLiteral("head unit: start") : QStringLiteral("head unit: stop");
    if (*reaction.announced)
        reaction.answers = {FrameType::Version, FrameType::BaseInfo};
    return reaction;
}

Reaction request(Car& car, const QByteArray& payload)
{
    Reaction reaction;
    const int type = byteAt(payload, 0);
    reaction.meaning = QStringLiteral("request %1, %2").arg(hex(type), frameName(type));
    reaction.shown = false;
    if (car.payload(type))
        reaction.answers = {type};
    return reaction;
}

struct Command
{
    int type;
    int length;
    Reaction (*react)(Car&, const QByteArray& payload);
};

constexpr std::array commands{
    Command{0x81, 1, announce},
    Command{0x90, 2, request},
};

} // namespace

Reaction react(Car& car, const Frame& frame)
{
    const auto command = std::find_if(commands.begin(), commands.end(),
                                      [&frame](const Command& row) { return row.type == frame.type; });
    Reaction unknown;
    unknown.shown = false;
    if (command == commands.end()) {
        unknown.meaning = QStringLiteral("frame %1 is unknown to the box").arg(hex(frame.type));
        return unknown;
    }
    if (command->length != frame.payload.size()) {
        unknown.meaning = QStringLiteral("frame %1 with %2 bytes, expected %3")
                              .arg(hex(frame.type))
                              .arg(frame.payload.size())
                              .arg(command->length);
        return unknown;
    }
    return command->react(car, frame.payload);
}

} // namespace boxsim
