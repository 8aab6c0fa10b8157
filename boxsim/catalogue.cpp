#include "statement.h"

#include "log.h"

#include <QTimer>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace boxsim {

namespace {

using Args = const Arguments&;

const QString Wheels = QStringLiteral("front-left|front-right|rear-left|rear-right");
const QString Sensors = QStringLiteral("left|middle-left|middle-right|right");
const QString TyreUnits = QStringLiteral("bar|psi|kPa");
const QString Tenths = QStringLiteral(" <0.0..6553.4>|none");

/// A value of the car that a statement sets; the last word of the statement is the value.
struct CarValue
{
    QString syntax;
    QString help;
    QList<int> frames; ///< the types that carry it
    std::function<double*(Car&, const Arguments&)> at;
};

QVector<CarValue> plainValues()
{
    return {
        {"door " + Wheels + "|back closed|open",
         "a door",
         {FrameType::BaseInfo},
         [](Car& car, Args args) { return &car.doors[args.index(0)]; }},
        {"driving-position <0..1>",
         "the driving position",
         {FrameType::BaseInfo},
         [](Car& car, Args) { return &car.drivingPosition; }},
        {"radar front " + Sensors + " off|1|2|3|4|5",
         "how near an obstacle is, 1 nearest",
         {FrameType::FrontRadar},
         [](Car& car, Args args) { return &car.frontRadar[args.index(0)]; }},
        {"radar rear " + Sensors + " off|1|2|3|4|5",
         "how near an obstacle is, 1 nearest",
         {FrameType::RearRadar},
         [](Car& car, Args args) { return &car.rearRadar[args.index(0)]; }},
        {"other-info off|on",
         "which text goes with the rear radar",
         {FrameType::RearRadar},
         [](Car& car, Args) { return &car.otherInfo; }},
        {"tyre unit " + TyreUnits,
         "the unit in which the pressures are sent",
         {FrameType::Tyres},
         [](Car& car, Args) { return &car.tyreUnit; }},
        {"tyre invalid|valid",
         "whether the tyre data counts",
         {FrameType::Tyres},
         [](Car& car, Args) { return &car.tyresValid; }},
        {"trip a" + Tenths,
         "a value of the trip computer, in tenths",
         {FrameType::Trip},
         [](Car& car, Args) { return car.trip.data(); }},
        {"trip b|c|d <0..65534>|none",
         "a value of the trip computer",
         {FrameType::Trip},
         [](Car& car, Args args) { return &car.trip[args.index(0) + 1]; }},
        {"trip unit <0..255>",
         "unit code of the trip values; 0 to 2 have a meaning",
         {FrameType::Trip},
         [](Car& car, Args) { return &car.tripUnit; }},
        {"fuel instant" + Tenths,
         "the consumption of this moment",
         {FrameType::InstantFuel},
         [](Car& car, Args) { return &car.instantFuel; }},
        {"fuel history 1|2|3|4|5" + Tenths,
         "a past consumption",
         {FrameType::FuelHistory},
         [](Car& car, Args args) { return &car.fuelHistory[args.index(0)]; }},
        {"fuel unit <0..255>",
         "unit code of the consumption; 0 to 2 and 0x10 to 0x13 have a meaning",
         {FrameType::InstantFuel, FrameType::FuelHistory},
         [](Car& car, Args) { return &car.fuelUnit; }},
        {"camera <0..1>",
         "the camera mode",
         {FrameType::SystemInfo},
         [](Car& car, Args) { return &car.cameraMode; }},
    };
}

QVector<CarValue> carValues()
{
    QVector<CarValue> values = plainValues();
    for (size_t i = 0; i < climateFields.size(); ++i) {
        const ClimateField& field = climateFields[i];
        values.append({QLatin1String(field.name.data()) + ' ' + field.values,
                       field.help,
                       {field.byte < SeatBytes ? FrameType::Climate : FrameType::Seats},
                       [i](Car& car, Args) { return &car.climate.values[i]; }});
    }
    return values;
}

Statement setter(const CarValue& value)
{
    return {value.syntax, value.help, [value](Box& box, Args args) {
                *value.at(box.car, args) = args.numbers.last();
                for (int type : value.frames)
                    box.report(type);
            }};
}

void setTyre(Box& box, Args args)
{
    box.car.tyreUnit = args.numbers[2];
    constexpr double HighestKPa = 2540; // 25.4 bar, the most that a byte tells in any unit
    box.car.tyrePressures[args.index(0)] =
        std::min(args.numbers[1] * tyreUnits[args.index(2)].kPa, HighestKPa);
    box.report(FrameType::Tyres);
}

void setKey(Box& box, Args args, bool pressed)
{
    constexpr std::array frames{FrameType::SteeringWheelKey, FrameType::PanelKey, FrameType::BluetoothKey};
    QByteArray& key = box.car.keys[args.index(0)];
    key[0] = static_cast<char>(args.integer(1));
    key[1] = pressed ? 1 : 0;
    box.report(frames[args.index(0)]);
}

void holdKey(Box& box, Args args)
{
    setKey(box, args, true);
    box.keysReleased = std::max(box.keysReleased, QDeadlineTimer(args.integer(2)));
    QTimer::singleShot(args.integer(2), Qt::PreciseTimer, &box,
                       [&box, held = args] { setKey(box, held, false); });
}

QVector<Statement> otherCarStatements()
{
    return {
        {"tyre " + Wheels + " <0.0..2540.0> " + TyreUnits, "the pressure of a tyre, and the unit of all",
         setTyre},
        {"tyre " + Wheels + " none", "a tyre without a value",
         [](Box& box, Args args) {
             box.car.tyrePressures[args.index(0)] = std::numeric_limits<double>::quiet_NaN();
             box.report(FrameType::Tyres);
         }},
        {"version <text>", "the version text of the box, 255 bytes at most",
         [](Box& box, Args args) {
             box.car.version = args.bytes.left(255);
             box.report(FrameType::Version);
         }},
        {"key swc|panel|bt <0..255> release|press", "a key of the steering wheel, the panel or Bluetooth",
         [](Box& box, Args args) { setKey(box, args, args.integer(2) == 1); }},
        {"key swc|panel|bt <0..255> hold <time>", "presses a key and releases it after that time", holdKey},
    };
}

QVector<Statement> faultStatements()
{
    return {
        {"silent", "sends nothing and ignores what comes in", [](Box& box, Args) { box.fallSilent(); }},
        {"answering", "ends silent", [](Box& box, Args) { box.faults.silent = false; }},
        {"reject", "rejects the next good frame that comes in",
         [](Box& box, Args) { box.faults.rejectNext = true; }},
        {"corrupt", "sends the next frame with a wrong checksum",
         [](Box& box, Args) { box.faults.corruptNext = true; }},
        {"truncate <1..255>", "leaves this many bytes off the end of the next frame",
         [](Box& box, Args args) { box.faults.truncateNext = args.integer(0); }},
        {"split <1..255>", "sends the next frame in chunks of this many bytes, 20 ms apart",
         [](Box& box, Args args) { box.faults.splitNext = args.integer(0); }},
        {"noise <hex>...", "puts these bytes in front of the next frame",
         [](Box& box, Args args) { box.faults.noiseNext = args.bytes; }},
        {"drop <1..65535>", "loses the next bytes that are sent",
         [](Box& box, Args args) { box.faults.dropBytes = args.integer(0); }},
        {"raw <hex>...", "sends these bytes as they are",
         [](Box& box, Args args) { box.sendRaw(args.bytes, QStringLiteral("raw bytes")); }},
        {"hang-up", "closes the pseudo-terminal and makes another one under the same link",
         [](Box& box, Args) { emit box.hangUpWanted(); }},
    };
}

/// Appends the statement of @p value for every choice of the words in front of its last one.
void appendState(QStringList& lines, Car& car, const CarValue& value, const QString& line, int i, Args args)
{
    const QStringList elements = value.syntax.split(' ');
    if (i == elements.size() - 1) {
        lines.append(line + wordFor(elements[i], *value.at(car, args)));
        return;
    }
    const QStringList choices = elements[i].split('|');
    for (int choice = 0; choice < choices.size(); ++choice) {
        Arguments chosen = args;
        if (choices.size() > 1)
            chosen.numbers.append(choice);
        appendState(lines, car, value, line + choices[choice] + ' ', i + 1, chosen);
    }
}

QStringList tyreState(const Car& car)
{
    QStringList lines;
    const QStringList wheels = Wheels.split('|');
    const TyreUnit& unit = tyreUnits[static_cast<size_t>(car.tyreUnit)];
    for (size_t i = 0; i < car.tyrePressures.size(); ++i) {
        const double pressure = car.tyrePressures[i] / unit.kPa;
        const QString amount = QStringLiteral("%1 ").arg(pressure) + wordFor(TyreUnits, car.tyreUnit);
        lines.append("tyre " + wheels[static_cast<int>(i)] + ' ' + (std::isnan(pressure) ? "none" : amount));
    }
    return lines;
}

/// The statements that would bring another car into the state of @p car, keys apart.
void showState(Car& car)
{
    QStringList lines;
    for (const CarValue& value : carValues())
        appendState(lines, car, value, {}, 0, {});
    lines += tyreState(car);
    lines.append(QStringLiteral("version \"%1\"").arg(QString::fromUtf8(car.version).replace('"', "\"\"\"")));
    show(lines.join('\n'));
}

QString allFrameTypes()
{
    QStringList types;
    for (int type : frameTypes())
        types.append(QString::asprintf("0x%02X", static_cast<unsigned>(type)));
    return types.join('|');
}

QVector<Statement> controlStatements()
{
    return {
        {"send " + allFrameTypes(), "sends a frame of the car, even when the head unit has stopped the box",
         [](Box& box, Args args) { box.send(frameTypes().at(args.integer(0))); }},
        {"state", "shows the car, as the statements that would set it",
         [](Box& box, Args) { showState(box.car); }},
        {"await start", "holds the scenario, and its clock, until the head unit announces itself",
         [](Box& box, Args) { emit box.awaitStartWanted(); }},
        {"help", "lists the statements", [](Box&, Args) { show(statementHelp()); }},
        {"quit", "ends the simulator", [](Box& box, Args) { emit box.quitWanted(); }},
    };
}

} // namespace

const QVector<Statement>& statements()
{
    static const QVector<Statement> all = [] {
        QVector<Statement> rows;
        for (const CarValue& value : carValues())
            rows.append(setter(value));
        return rows + otherCarStatements() + faultStatements() + controlStatements();
    }();
    return all;
}

} // namespace boxsim
