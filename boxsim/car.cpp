#include "car.h"

#include <algorithm>
#include <array>

namespace boxsim {

namespace {

QByteArray baseInfo(const Car& car)
{
    QByteArray payload;
    payload.append(static_cast<char>(car.openDoors)).append(static_cast<char>(car.drivingPosition << 3));
    return payload;
}

QByteArray version(const Car& car)
{
    return car.version;
}

struct BoxFrame
{
    int type;
    const char* name;
    QByteArray (*payload)(const Car&);
};

constexpr std::array boxFrames{
    BoxFrame{FrameType::BaseInfo, "base info", baseInfo},
    BoxFrame{FrameType::Version, "version", version},
};

const BoxFrame* find(int type)
{
    const auto row = std::find_if(boxFrames.begin(), boxFrames.end(),
                                  [type](const BoxFrame& frame) { return frame.type == type; });
    return row == boxFrames.end() ? nullptr : row;
}

} // namespace

std::optional<QByteArray> Car::payload(int type) const
{
    const BoxFrame* frame = find(type);
    return frame ? std::optional(frame->payload(*this)) : std::nullopt;
}

QString frameName(int type)
{
    const BoxFrame* frame = find(type);
    return frame ? QString::fromLatin1(frame->name) : QStringLiteral("unknown frame");
}

QList<int> frameTypes()
{
    QList<int> types;
    for (const BoxFrame& frame : boxFrames)
        types.append(frame.type);
    return types;
}

} // namespace boxsim
