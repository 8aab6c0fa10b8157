#include "headunit.h"

#include "climatekeys.h"
#include "values.h"

#include <QtEndian>

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

// The row of @p table with that code; nullptr when there is none.
template<typename Row, size_t Size> const Row* rowOf(const Row (&table)[Size], int code)
{
    for (const Row& row : table)
        if (row.code == code)
            return &row;
    return nullptr;
}

// A reaction that only goes into the log.
Reaction logged(const QString& meaning)
{
    Reaction reaction;
    reaction.meaning = meaning;
    reaction.shown = false;
    return reaction;
}

Reaction shown(const QString& meaning, const QList<int>& reports = {})
{
    Reaction reaction;
    reaction.meaning = meaning;
    reaction.reports = reports;
    return reaction;
}

Reaction announce(Car&, const QByteArray& payload)
{
    const bool start = byteAt(payload, 0) != 0;
    Reaction reaction = shown(start ? "head unit: start" : "head unit: stop");
    reaction.announced = start;
    if (start)
        reaction.answers = {FrameType::Version, FrameType::BaseInfo};
    return reaction;
}

Reaction request(Car& car, const QByteArray& payload)
{
    const int type = byteAt(payload, 0);
    Reaction reaction = logged(QString("request %1, %2").arg(hex(type), frameName(type)));
    if (car.payload(type))
        reaction.answers = {type};
    return reaction;
}

Reaction control(Car& car, const QByteArray& payload)
{
    const int value = byteAt(payload, 1);
    switch (byteAt(payload, 0)) {
    case 0x16:
        return shown(QString("parking radar: %1").arg(value));
    case 0x24:
        car.fuelUnit = value;
        return shown(QString("fuel unit: %1").arg(hex(value)),
                     {FrameType::InstantFuel, FrameType::FuelHistory});
    case 0x39:
        car.drivingPosition = value & 1;
        return shown(QString("driving position: %1").arg(value), {FrameType::BaseInfo});
    case 0x68:
        return shown(QString("tyre pressure reset: %1").arg(value));
    default:
        return shown(QString("body control %1: %2").arg(hex(byteAt(payload, 0))).arg(value));
    }
}

Reaction touch(Car&, const QByteArray& payload)
{
    const char* data = payload.constData();
    const QString point = "touch at %1, %2";
    return shown(point.arg(qFromBigEndian<qint16>(data + 1)).arg(qFromBigEndian<qint16>(data + 3)));
}

Reaction carModel(Car&, const QByteArray& payload)
{
    return shown(QString("car model: %1").arg(byteAt(payload, 0)));
}

Reaction clock(Car&, const QByteArray& payload)
{
    const QString time = QString::asprintf("%d:%02d", byteAt(payload, 0), byteAt(payload, 1));
    return shown(QString("cluster: clock %1 (%2 h)").arg(time).arg(byteAt(payload, 2) ? 12 : 24));
}

// What the instrument cluster makes of a source: it shows all texts once the last item has come.
struct Source
{
    int code;
    const char* name;
    const char* separator;
    int lastItem;
    int firstItemText; // where the text of item 1 begins; item 1 of the other sources has none
};

constexpr Source sources[] = {{0x81, "FM", " ", 2, 4},
                              {0x82, "AM", " ", 2, 4},
                              {0x84, "media", " / ", 4, 2},
                              {0x85, "media 2", " / ", 4, 2},
                              {0x87, "AUX", " ", 1, 2}};

// The UTF-16 text, low bytes first, from the byte @p start up to the field's end or its first zero.
QString textFrom(const QByteArray& payload, int start)
{
    constexpr int FieldEnd = 32;
    QString text;
    for (int i = start; i < FieldEnd; i += 2) {
        const auto unit = qFromLittleEndian<quint16>(payload.constData() + i);
        if (unit == 0)
            break;
        text.append(QChar(unit));
    }
    return text;
}

Reaction source(Car& car, const QByteArray& payload)
{
    const Source* row = rowOf(sources, byteAt(payload, 0));
    const int item = byteAt(payload, 1);
    if (!row || item < 1 || item > row->lastItem)
        return logged(QString("source %1, item %2, unknown").arg(hex(byteAt(payload, 0))).arg(item));
    if (item == 1)
        car.clusterTexts.fill({});
    const QString text = textFrom(payload, item == 1 ? row->firstItemText : 2);
    car.clusterTexts[static_cast<size_t>(item - 1)] = text;
    if (item < row->lastItem)
        return logged(QString("%1, item %2: \"%3\"").arg(row->name).arg(item).arg(text));
    QStringList texts(car.clusterTexts.begin(), car.clusterTexts.end());
    texts.removeAll({});
    return shown(QString("cluster: %1 %2").arg(row->name, texts.join(row->separator)).trimmed());
}

// Presses @p pressed one after the other and reports the frames that show it.
Reaction press(Car& car, const QVector<const ClimateKey*>& pressed)
{
    Reaction reaction;
    QStringList effects;
    for (const ClimateKey* key : pressed) {
        const ValueRow& row = valueRow(key->value);
        const double number = key->step(row.access.get(car, 0));
        row.access.set(car, 0, number);
        effects.append(QString(row.words) + ' ' + wordFor(row.values, number));
        const int type = row.frames.first();
        if (!reaction.reports.contains(type))
            reaction.reports.append(type);
    }
    reaction.meaning = "climate key: " + effects.join(", ");
    return reaction;
}

Reaction verticalKey(Car& car, const QByteArray& payload)
{
    const QString name = hex(byteAt(payload, 0));
    if (byteAt(payload, 1) == 0)
        return logged(QString("climate key %1 released").arg(name));
    const ClimateKey* key = climateKey(byteAt(payload, 0));
    return key ? press(car, {key}) : shown(QString("climate key %1: the car has none").arg(name));
}

Reaction landscapeKeys(Car& car, const QByteArray& payload)
{
    const QVector<const ClimateKey*> pressed = climateKeys(payload);
    return pressed.isEmpty() ? shown("climate key: the car has none") : press(car, pressed);
}

struct Command
{
    int code; // frame type
    const char* word;
    int length;
    Reaction (*react)(Car&, const QByteArray& payload);
};

constexpr Command commands[] = {
    {0x81, "start-stop", 1, announce},
    {0x83, "control", 2, control},
    {0x90, "request", 2, request},
    {0x98, "touch", 6, touch},
    {0x99, "source", 34, source},
    {0x9D, "clock", 3, clock},
    {0xC7, "climate-keys", 6, landscapeKeys},
    {0xE0, "climate-key", 2, verticalKey},
    {0xE2, "car-model", 1, carModel},
};

} // namespace

QVector<HeadUnitFrame> headUnitFrames()
{
    QVector<HeadUnitFrame> frames;
    for (const Command& command : commands)
        frames.append({command.code, command.word});
    return frames;
}

Reaction react(Car& car, const Frame& frame)
{
    const Command* command = rowOf(commands, frame.type);
    if (!command)
        return logged(QString("frame %1, unknown").arg(hex(frame.type)));
    if (command->length != frame.payload.size()) {
        const QString meaning = "frame %1 with %2 bytes, expected %3";
        return logged(meaning.arg(hex(frame.type)).arg(frame.payload.size()).arg(command->length));
    }
    return command->react(car, frame.payload);
}

} // namespace boxsim
