#include "origins.h"

#include "decoder.h"
#include "hostsetup.h"

#include <QHash>

#include <cmath>

using namespace protocol;

namespace {

using FieldsByPath = QHash<QString, QVector<const Field*>>;

FieldsByPath findFields()
{
    FieldsByPath fields;
    for (const Frame& frame : Description::standard().frames()) {
        for (const Field& field : frame.fields) {
            for (const Text& path : field.readings)
                fields[protocol::toString(path)].append(&field);
        }
    }
    return fields;
}

Value valueIn(const Field& field, const QByteArray& payload)
{
    const Decoder decoder(Description::standard(), hostSetup().carModelId);
    return decoder.value(field, reinterpret_cast<const unsigned char*>(payload.constData()),
                         static_cast<size_t>(payload.size()));
}

// When the field last came; not a payload that ends before it, unless it reads as something then.
std::optional<std::chrono::nanoseconds> timeOf(const Field& field, const Value& value,
                                               const FrameState& frame)
{
    if (value.state == Value::Present || (value.state == Value::Missing && !field.isKeptMissing))
        return frame.time;
    if (value.state == Value::Missing && frame.longest >= field.place.byte + field.place.bytes)
        return frame.longestTime;
    return {};
}

KnownReading withOrigin(const Reading& reading, const LinkState& link)
{
    static const FieldsByPath fields = findFields();
    KnownReading known{reading, false, {}};
    for (const Field* field : fields.value(reading.topic + '.' + reading.name)) {
        known.isCarried = true;
        const FrameState& frame = link.framesFromBox()[static_cast<size_t>(field->frame->type)];
        if (frame.count == 0 || !field->frame->takes(static_cast<size_t>(frame.payload.size())))
            continue;
        const Value value = valueIn(*field, frame.payload);
        const auto time = timeOf(*field, value, frame);
        if (!time || (known.time && *known.time > *time))
            continue;
        known.time = time;
        const double number = static_cast<double>(value.number) / std::pow(10, value.decimals);
        const bool isShown = reading.data.type() != QVariant::String && reading.data.toDouble() == number;
        known.meaning = isShown ? protocol::toString(value.name) : QString();
    }
    return known;
}

} // namespace

QVector<KnownReading> withOrigins(const QVector<Reading>& readings, const LinkState& link, bool isAll)
{
    QVector<KnownReading> known;
    for (const Reading& reading : readings) {
        const KnownReading one = withOrigin(reading, link);
        if (isAll || one.isCarried)
            known.append(one);
    }
    return known;
}
