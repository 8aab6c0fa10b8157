#include "headunit.h"
#include "statement.h"
#include "values.h"

#include <algorithm>

namespace boxsim {

namespace {

using Args = const Arguments&;

// As the words of the statements name them.
const QString wheels = "front-left|front-right|rear-left|rear-right";
const QString tyreUnits = "bar|psi|kPa";

QString nameOf(TyreUnit unit)
{
    return wordFor(tyreUnits, static_cast<double>(unit));
}

Statement setter(const ValueRow& row)
{
    return {QString(row.words) + ' ' + row.values, row.help, [&row](Simulation& simulation, Args args) {
                const size_t choice = args.numbers.size() > 1 ? args.index(0) : 0;
                row.access.set(simulation.box.car, choice, args.numbers.last());
                for (int type : row.frames)
                    simulation.box.report(type);
            }};
}

// By force a pressure can be out of its range: then it is bounded.
Statement tyreSetter(TyreUnit unit)
{
    const QString range = QString("<0.0..%1>").arg(highestIn(unit), 0, 'f', 1);
    return {QString("tyre %1 %2 %3").arg(wheels, range, nameOf(unit)),
            "the pressure of a tyre, and the unit of all", [unit](Simulation& simulation, Args args) {
                const double pressure = std::clamp(args.numbers[1], 0.0, highestIn(unit));
                simulation.box.car.tyreUnit = unit;
                simulation.box.car.tyrePressures[args.index(0)] = pressure * inKPa(unit);
                simulation.box.report(FrameType::Tyres);
            }};
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
        tyreSetter(TyreUnit::Bar),
        tyreSetter(TyreUnit::Psi),
        tyreSetter(TyreUnit::KPa),
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

QString listOf(const QStringList& faults)
{
    return faults.isEmpty() ? "no fault is on" : faults.join('\n');
}

QVector<Statement> faultStatements()
{
    return {
        {"silent", "sends nothing and ignores what comes in",
         [](Simulation& simulation, Args) { simulation.box.fallSilent(); }},
        {"answering", "ends silent", [](Simulation& simulation, Args) { simulation.box.answerAgain(); }},
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

// A line may stall for less than its period.
QString mistakeOfStall(Args args)
{
    return args.numbers[0] < args.numbers[1] ? QString() : "a stall is shorter than its period";
}

Statement standingFault(const FaultRow& row)
{
    const auto turnOn = [fault = row.fault](Simulation& simulation, Args args) {
        simulation.box.turnOn(fault, args.numbers);
    };
    const bool isStall = row.fault == Fault::Stall;
    const QString syntax = (row.name + ' ' + row.values).trimmed();
    return {syntax, row.help, turnOn, false, isStall ? mistakeOfStall : nullptr, true};
}

QVector<Statement> standingFaultStatements()
{
    QVector<Statement> rows;
    QStringList names;
    for (const FaultRow& row : faultRows()) {
        rows.append(standingFault(row));
        names.append(row.name);
    }
    return rows + QVector<Statement>{
                      {names.join('|') + " off", "ends that fault",
                       [](Simulation& simulation, Args args) {
                           simulation.box.turnOff(faultRows()[args.integer(0)].fault);
                       }},
                      {"faults", "shows the faults that are on, as the statements that would turn them on",
                       [](Simulation& simulation, Args) {
                           simulation.show(listOf(simulation.box.faultStatements()));
                       }},
                      {"faults off", "ends all faults",
                       [](Simulation& simulation, Args) { simulation.box.endFaults(); }},
                      {"seed <0..2147483647>", "begins the chances of the faults anew, repeatable",
                       [](Simulation& simulation, Args args) {
                           simulation.box.setSeed(static_cast<quint32>(args.integer(0)));
                       }},
                  };
}

QStringList tyreState(const Car& car)
{
    QStringList lines;
    const QStringList names = wheels.split('|');
    for (int i = 0; i < names.size(); ++i) {
        const Measured& pressure = car.tyrePressures[static_cast<size_t>(i)];
        const double told = std::min(pressure.value_or(0) / inKPa(car.tyreUnit), highestIn(car.tyreUnit));
        const QString amount = QString("%1 ").arg(told) + nameOf(car.tyreUnit);
        lines.append("tyre " + names[i] + ' ' + (pressure ? amount : "none"));
    }
    return lines;
}

// The statements that would bring another box and its car into the state of @p box, keys and faults apart.
QString stateOf(const Box& box)
{
    const Car& car = box.car;
    QStringList lines;
    for (const ValueRow& row : valueRows())
        lines += row.statements(car);
    lines += tyreState(car);
    lines.append(QString("version \"%1\"").arg(QString::fromUtf8(car.version).replace('"', "\"\"\"")));
    lines += box.repetitionStatements();
    return lines.join('\n');
}

QString framesOfHeadUnit()
{
    QStringList words;
    for (const HeadUnitFrame& frame : headUnitFrames())
        words.append(frame.word);
    return words.join('|');
}

template<Awaited::Event Event> void await(Simulation& simulation, Args args)
{
    Awaited awaited{Event};
    if (Event == Awaited::FrameTaken)
        awaited.type = headUnitFrames().at(args.integer(0)).type;
    simulation.await(awaited);
}

QVector<Statement> scenarioStatements()
{
    return {
        {"await start", "holds the scenario, and its clock, until the head unit announces itself",
         await<Awaited::Start>, true},
        {"await link up", "the same until the head unit acknowledges frames; at once where it does already",
         await<Awaited::LinkUp>, true},
        {"await " + framesOfHeadUnit(), "the same until that frame of the head unit has come",
         await<Awaited::FrameTaken>, true},
        {"loop", "plays the scenario from its start again",
         [](Simulation& simulation, Args) { simulation.loop(); }, true},
    };
}

QString mistakeOfHelp(Args args)
{
    const QString word = args.bytes;
    if (!statementsWith(word).isEmpty())
        return {};
    const QString remedy = meant(word, statementWords());
    return QString("no statement has \"%1\"; %2").arg(word, remedy.isEmpty() ? "help lists all" : remedy);
}

QVector<Statement> controlStatements()
{
    const QString frames = frameWords().join('|');
    return {
        {"send " + frames, "sends a frame of the car, even when the head unit has stopped the box",
         [](Simulation& simulation, Args args) { simulation.box.send(frameTypes().at(args.integer(0))); }},
        {"every <period> send " + frames, "has the box send a frame by itself again and again",
         [](Simulation& simulation, Args args) {
             simulation.box.sendEvery(std::chrono::milliseconds(args.integer(0)),
                                      frameTypes().at(args.integer(1)));
         }},
        {"every off", "ends that, for all frames",
         [](Simulation& simulation, Args) { simulation.box.endRepetition(); }},
        {"state", "shows the car, as the statements that would set it",
         [](Simulation& simulation, Args) { simulation.show(stateOf(simulation.box)); }},
        {"help", "lists the statements",
         [](Simulation& simulation, Args) { simulation.show(statementHelp(statementsWith({}))); }},
        {"help <text>", "lists the statements that have this word, or are about it",
         [](Simulation& simulation, Args args) {
             simulation.show(statementHelp(statementsWith(args.bytes)));
         },
         false, mistakeOfHelp},
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
        rows += otherCarStatements();
        for (Statement& row : rows)
            row.isOfCar = true;
        return rows + faultStatements() + standingFaultStatements() + scenarioStatements() +
               controlStatements();
    }();
    return all;
}

} // namespace boxsim
