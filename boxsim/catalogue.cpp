#include "statement.h"
#include "values.h"

#include <algorithm>

namespace boxsim {

namespace {

using Args = const Arguments&;

// As the words of the statements name them.
const QString wheels = "front-left|front-right|rear-left|rear-right";
const QString tyreUnits = "bar|psi|kPa";

Statement setter(const ValueRow& row)
{
    return {QString(row.words) + ' ' + row.values, row.help, [&row](Simulation& simulation, Args args) {
                const size_t choice = args.numbers.size() > 1 ? args.index(0) : 0;
                row.access.set(simulation.box.car, choice, args.numbers.last());
                for (int type : row.frames)
                    simulation.box.report(type);
            }};
}

void setTyre(Simulation& simulation, Args args)
{
    constexpr double HighestKPa = 2540; // 25.4 bar, the most that a byte tells in any unit
    Car& car = simulation.box.car;
    car.tyreUnit = static_cast<TyreUnit>(args.integer(2));
    car.tyrePressures[args.index(0)] = std::min(args.numbers[1] * inKPa(car.tyreUnit), HighestKPa);
    simulation.box.report(FrameType::Tyres);
}

void clearTyre(Simulation& simulation, Args args)
{
    simulation.box.car.tyrePressures[args.index(0)] = std::nullopt;
    simulation.box.report(FrameType::Tyres);
}

KeyPad padOf(Args args)
{
    return static_cast<KeyPad>(args.integer(0));
}

QVector<Statement> otherCarStatements()
{
    return {
        {"tyre " + wheels + " <0.0..2540.0> " + tyreUnits, "the pressure of a tyre, and the unit of all",
         setTyre},
        {"tyre " + wheels + " none", "a tyre without a value", clearTyre},
        {"version <text>", "the version text of the box, 255 bytes at most",
         [](Simulation& simulation, Args args) {
             simulation.box.car.version = args.bytes.left(255);
             simulation.box.report(FrameType::Version);
         }},
        {"key swc|panel|bt <0..255> release|press", "a key of the steering wheel, the panel or Bluetooth",
         [](Simulation& simulation, Args args) {
             simulation.box.setKey(padOf(args), {args.integer(1), args.integer(2) == 1});
         }},
        {"key swc|panel|bt <0..255> hold <time>", "presses a key and releases it after that time",
         [](Simulation& simulation, Args args) {
             simulation.box.holdKey(padOf(args), args.integer(1), std::chrono::milliseconds(args.integer(2)));
         }},
    };
}

QVector<Statement> faultStatements()
{
    return {
        {"silent", "sends nothing and ignores what comes in",
         [](Simulation& simulation, Args) { simulation.box.fallSilent(); }},
        {"answering", "ends silent",
         [](Simulation& simulation, Args) { simulation.box.faults.silent = false; }},
        {"reject", "rejects the next good frame that comes in",
         [](Simulation& simulation, Args) { simulation.box.faults.rejectNext = true; }},
        {"corrupt", "sends the next frame with a wrong checksum",
         [](Simulation& simulation, Args) { simulation.box.faults.corruptNext = true; }},
        {"truncate <1..255>", "leaves this many bytes off the end of the next frame",
         [](Simulation& simulation, Args args) { simulation.box.faults.truncateNext = args.integer(0); }},
        {"split <1..255>", "sends the next frame in chunks of this many bytes, 20 ms apart",
         [](Simulation& simulation, Args args) { simulation.box.faults.splitNext = args.integer(0); }},
        {"noise <hex>...", "puts these bytes in front of the next frame",
         [](Simulation& simulation, Args args) { simulation.box.faults.noiseNext = args.bytes; }},
        {"drop <1..65535>", "loses the next bytes that are sent",
         [](Simulation& simulation, Args args) { simulation.box.faults.dropBytes = args.integer(0); }},
        {"raw <hex>...", "sends these bytes as they are",
         [](Simulation& simulation, Args args) { simulation.box.sendRaw(args.bytes, "raw bytes"); }},
        {"hang-up", "closes the pseudo-terminal and makes another one under the same link",
         [](Simulation& simulation, Args) { simulation.hangUp(); }, true},
    };
}

QStringList tyreState(const Car& car)
{
    QStringList lines;
    const QStringList names = wheels.split('|');
    for (int i = 0; i < names.size(); ++i) {
        const Measured& pressure = car.tyrePressures[static_cast<size_t>(i)];
        const QString unit = wordFor(tyreUnits, static_cast<double>(car.tyreUnit));
        const QString amount = QString("%1 ").arg(pressure.value_or(0) / inKPa(car.tyreUnit)) + unit;
        lines.append("tyre " + names[i] + ' ' + (pressure ? amount : "none"));
    }
    return lines;
}

// The statements that would bring another car into the state of @p car, keys apart.
QString stateOf(const Car& car)
{
    QStringList lines;
    for (const ValueRow& row : valueRows())
        lines += row.statements(car);
    lines += tyreState(car);
    lines.append(QString("version \"%1\"").arg(QString::fromUtf8(car.version).replace('"', "\"\"\"")));
    return lines.join('\n');
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
         [](Simulation& simulation, Args args) { simulation.box.send(frameTypes().at(args.integer(0))); }},
        {"state", "shows the car, as the statements that would set it",
         [](Simulation& simulation, Args) { simulation.show(stateOf(simulation.box.car)); }},
        {"await start", "holds the scenario, and its clock, until the head unit announces itself",
         [](Simulation& simulation, Args) { simulation.awaitStart(); }, true},
        {"help", "lists the statements",
         [](Simulation& simulation, Args) { simulation.show(statementHelp()); }},
        {"quit", "ends the simulator", [](Simulation& simulation, Args) { simulation.quit(); }, true},
    };
}

} // namespace

const QVector<Statement>& statements()
{
    static const QVector<Statement> all = [] {
        QVector<Statement> rows;
        for (const ValueRow& row : valueRows())
            rows.append(setter(row));
        return rows + otherCarStatements() + faultStatements() + controlStatements();
    }();
    return all;
}

} // namespace boxsim
