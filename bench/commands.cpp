#include "commands.h"

#include "boxline.h"
#include "hostsetup.h"
#include "origins.h"
#include "playback.h"
#include "statement.h"
#include "words.h"

#include <QRegularExpression>

#include <limits>
#include <optional>

namespace {

using Car = CanServiceBase;
using Words = QStringList;
using std::chrono::milliseconds;

// What a command does, and what the host's operation returned, if it did.
using Action = std::function<QVariant(const Bench&)>;

struct Input;

constexpr int Least = std::numeric_limits<int>::min();
constexpr int Most = std::numeric_limits<int>::max();

struct Argument
{
    const char* name;   // in brackets what can be left out, with "..." what can be repeated
    int lowest = Least; // of a number
    int highest = Most;
    const char* unit = ""; // what it counts in, or how it is written

    bool isBounded() const { return highest < Most; }
};

enum class Needs { Nothing, Box, Capture };

struct Command
{
    const char* name;
    Argument arguments[4]; // those that there are have a name
    const char* help;
    Action (*read)(const Input&);       // throws a CommandError where the words are wrong
    QStringList (*choices)() = nullptr; // what the first argument can be
    CommandKind kind = CommandKind::HostCall;
    Needs needs = Needs::Nothing;
};

// The words behind a command's name.
struct Input
{
    const Command& command;
    Words words;
    Ranges ranges;

    const QString& operator[](int i) const { return words[i]; }
    int number(int i) const;
};

// The climate keys that reach the car, by the host's codes.
struct ClimateKey
{
    const char* name;
    int code;
};

constexpr ClimateKey climateKeys[] = {
    {"power", 0},
    {"ac", 2},
    {"dual", 4},
    {"auto", 5},
    {"inside-air", 6},
    {"outside-air", 7},
    {"front-defrost", 8},
    {"rear-defrost", 9},
    {"left-heat", 10},
    {"right-heat", 11},
    {"fan-up", 15},
    {"fan-down", 16},
    {"left-warmer", 19},
    {"left-colder", 20},
    {"right-warmer", 21},
    {"right-colder", 22},
    {"left-ventilation", 25},
    {"right-ventilation", 26},
    {"max-ac", 31},
    {"wind-next", 32},
    {"wind-previous", 33},
    {"glass-heat", 34},
};

struct Request
{
    const char* name;
    void (Car::*send)();
};

constexpr Request requests[] = {
    {"climate", &Car::requsetClimate},     {"park", &Car::requsetParkAssist},
    {"vehicle", &Car::requsetVehicleInfo}, {"trip", &Car::requsetDrinvingData},
    {"fuel", &Car::requsetFuel},           {"units", &Car::requsetUnitSettings},
    {"other", &Car::requsetOtherInfo},     {"gauges", &Car::requsetGauges},
    {"settings", &Car::requsetCarSetting}, {"maintenance", &Car::requsetMaintenance},
    {"speed", &Car::requestSpeed},
};

template<const auto& Table> QStringList namesIn()
{
    QStringList names;
    for (const auto& row : Table)
        names.append(row.name);
    return names;
}

// What help tells of an argument: its range and its unit; empty where it has neither.
QString aboutNumber(const Argument& argument)
{
    const QString range = QString("%1 to %2").arg(argument.lowest).arg(argument.highest);
    return ((argument.isBounded() ? range : QString()) + ' ' + argument.unit).trimmed();
}

// The argument as a number of its range.
int Input::number(int i) const
{
    const Argument& argument = command.arguments[i];
    const std::optional<int> number = numberOf(words[i]);
    if (!number)
        throw CommandError{QString("\"%1\" is no number").arg(words[i])};
    if (ranges == Ranges::Kept && (*number < argument.lowest || *number > argument.highest))
        throw CommandError{
            QString("%1 is %2, not %3").arg(argument.name, aboutNumber(argument)).arg(*number) + ForceRemedy};
    return *number;
}

// The action of an operation that returns nothing.
template<typename Operation> Action action(Operation operation)
{
    return [operation](const Bench& bench) {
        operation(bench);
        return QVariant();
    };
}

template<void (Car::*Operation)()> Action call(const Input&)
{
    return action([](const Bench& bench) { (bench.service.*Operation)(); });
}

template<void (Car::*Operation)(int)> Action call(const Input& input)
{
    return action([a = input.number(0)](const Bench& bench) { (bench.service.*Operation)(a); });
}

template<int (Car::*Operation)(int, int)> Action call(const Input& input)
{
    return [a = input.number(0), b = input.number(1)](const Bench& bench) {
        return (bench.service.*Operation)(a, b);
    };
}

Action request(const Input& input)
{
    if (input.words.size() == 2)
        return call<&Car::request>(input);
    const Request& row = requests[placeOf(input[0], namesIn<requests>())];
    return action([&row](const Bench& bench) { (bench.service.*row.send)(); });
}

Action send(const Input& input)
{
    return [bytes = bytesOf(input.words.join(QString()))](const Bench& bench) {
        QByteArray data = bytes;
        return bench.service.sendAnyData(data);
    };
}

Action climateKey(const Input& input)
{
    const bool isCode = numberOf(input[0]).has_value();
    const int code = isCode ? input.number(0) : climateKeys[placeOf(input[0], namesIn<climateKeys>())].code;
    const int value = input.words.size() > 1 ? input.number(1) : 1;
    return [code, value](const Bench& bench) { return bench.service.sendAcKey(code, value); };
}

Action camera(const Input& input)
{
    const int key = input[0] == "touch" ? 0 : input.number(0);
    const CameraData at{input.number(1), input.number(2)};
    return [key, at](const Bench& bench) { return bench.service.sendCameraKey(key, at); };
}

QStringList radioBands()
{
    return {"FM1", "FM2", "FM3", "AM1", "AM2"};
}

// The plug-in takes every band that it does not know for FM.
Action radio(const Input& input)
{
    if (input.ranges == Ranges::Kept && !radioBands().contains(input[0]))
        throw CommandError{QString("BAND is %1, not \"%2\"").arg(radioBands().join(", "), input[0]) +
                           ForceRemedy};
    return action([words = input.words](const Bench& bench) {
        bench.service.onRadioSourceInformation(words[0], words.mid(1), 0);
    });
}

Action media(const Input& input)
{
    return action([source = input.number(0), texts = input.words.mid(1)](const Bench& bench) {
        bench.service.onRadioSourceInformation({}, texts, source);
    });
}

Action aux(const Input&)
{
    return action([](const Bench& bench) { bench.service.onRadioSourceInformation({}, {}, 5); });
}

// With the 12-hour clock the host counts the hours after noon from 13 and marks them with meridiem 3.
Action clock(const Input& input)
{
    static const QRegularExpression form("^(\\d{1,2}):(\\d{2})$");
    const auto match = form.match(input[0]);
    const QString format = input.words.value(1, "24h");
    const int hour = match.captured(1).toInt();
    const int minute = match.captured(2).toInt();
    const bool is24h = placeOf(format, {"24h", "am", "pm"}) == 0;
    const bool isTime = minute <= 59 && (is24h ? hour <= 23 : hour >= 1 && hour <= 12);
    if (!match.hasMatch() || (input.ranges == Ranges::Kept && !isTime))
        throw CommandError{QString("no time \"%1 %2\"; write 15:30, or 3:30 pm").arg(input[0], format)};
    const bool countsOn = format == "pm" && hour != 12;
    GPSTime time;
    time.hour = static_cast<quint8>(countsOn ? hour + 12 : hour);
    time.minute = static_cast<quint8>(minute);
    time.clockFormat = is24h;
    time.meridiem = countsOn ? 3 : 0;
    return action([time](const Bench& bench) {
        GPSTime sent = time;
        bench.service.GPSTimeSend(sent);
    });
}

Action setCarModel(const Input& input)
{
    const CarModels& models = hostSetup().carModels;
    const std::optional<int> named = models.idOf(input[0]);
    if (!named && !numberOf(input[0]))
        throw CommandError{models.refusal(input[0])};
    const int id = named ? *named : input.number(0);
    return action([id](const Bench&) { hostSetup().carModelId = id; });
}

boxsim::Simulation* boxInside()
{
    auto* line = qobject_cast<BoxLine*>(hostSetup().line);
    return line ? &line->box() : nullptr;
}

Action tellBox(const Input& input)
{
    const boxsim::Parsed parsed = boxsim::parse(input.words, input.ranges);
    if (!parsed.statement)
        throw CommandError{parsed.error};
    if (parsed.statement->isOfProgram)
        throw CommandError{QString("\"%1\" has no meaning for a box inside").arg(parsed.statement->syntax)};
    return action([parsed](const Bench& bench) {
        if (const QString shown = parsed.answer(*boxInside()); !shown.isEmpty())
            bench.report.text(shown, "box: ");
    });
}

template<void (Playback::*Operation)()> Action control(const Input&)
{
    return action([](const Bench& bench) { (bench.playback->*Operation)(); });
}

Action seek(const Input& input)
{
    const std::optional<milliseconds> time = captureTimeOf(input[0]);
    if (!time)
        throw CommandError{
            QString("\"%1\" is no time of the capture; write seconds, as in 12.5").arg(input[0])};
    return action([time = *time](const Bench& bench) { bench.playback->seek(time); });
}

Action setSpeed(const Input& input)
{
    const std::optional<double> speed = speedOf(input[0]);
    if (!speed)
        throw CommandError{"a speed is a number from 0.01 to 1000, or max"};
    return action([speed = *speed](const Bench& bench) { bench.playback->setSpeed(speed); });
}

QStringList boxStatements()
{
    QStringList names;
    for (const boxsim::Statement& statement : boxsim::statements())
        names.append(statement.syntax);
    return names;
}

Action showState(const Input& input)
{
    QStringList words = input.words;
    const bool isChanged = words.removeAll("--changed") > 0;
    const bool isAll = words.removeAll("--all") > 0;
    const QString topic = words.value(0);
    if (!words.isEmpty())
        placeOf(topic, CarState::topics() + QStringList{"--changed", "--all"});
    if (words.size() > 1)
        throw CommandError{"one topic at a time, or all"};
    return action([=](const Bench& bench) {
        const QVector<Reading> changed = bench.car.takeChanges(topic);
        bench.report.state(withOrigins(isChanged ? changed : bench.car.read(topic), bench.link, isAll));
    });
}

Action showLink(const Input&)
{
    return action([](const Bench& bench) { bench.report.link(bench.link); });
}

Action wait(const Input& input)
{
    return action([time = durationOf(input[0])](const Bench& bench) { bench.script.wait(time); });
}

Action expect(const Input& input)
{
    const Expectation expected = readExpectation(input.words);
    return action([expected](const Bench& bench) {
        const CarState& car = bench.car;
        const auto state = [&car, topic = expected.topic] { return car.read(topic); };
        bench.script.expect(expected, expected.topic.isEmpty() ? Script::ReadState() : state);
    });
}

Action quit(const Input&)
{
    return action([](const Bench& bench) { bench.script.end(CleanEnd); });
}

Action help(const Input& input);
QStringList commandNames();

constexpr Command commands[] = {
    {"start", {}, "announce the head unit to the CAN box and send the start-up settings", call<&Car::start>},
    {"stop", {}, "take leave of the CAN box and close the line", call<&Car::stop>},
    {"request",
     {{"WHAT"}, {"[VALUE]"}},
     "ask the CAN box for its frames, or the service for a numbered item",
     request,
     namesIn<requests>},
    {"ac",
     {{"KEY", 0, 34}, {"[VALUE]"}},
     "press a climate key, by its name or the host's code",
     climateKey,
     namesIn<climateKeys>},
    {"unit",
     {{"ITEM", 0, 5}},
     "switch a unit to its next value; item 0 is the fuel consumption's",
     call<&Car::setUnitCmd>},
    {"position", {{"VALUE", 0, 1}}, "set the driving position", call<&Car::setCanDrivingPosition>},
    {"camera",
     {{"touch|CODE"}, {"X", -32768, 32767}, {"Y", -19660, 19660}},
     "touch the camera picture; CODE is the host's; the car is told Y times 5/3",
     camera},
    {"radio",
     {{"BAND"}, {"FREQUENCY"}, {"[STATION]"}},
     "show the radio's texts on the instrument cluster",
     radio,
     radioBands},
    {"media",
     {{"SOURCE", 1, 4}, {"[TITLE]"}, {"[ARTIST]"}, {"[ALBUM]"}},
     "show a track's texts on the instrument cluster",
     media},
    {"aux", {}, "show on the instrument cluster that AUX is heard", aux},
    {"clock", {{"HH:MM"}, {"[24h|am|pm]"}}, "set the car's clock", clock},
    {"car-model",
     {{"ID", 0, 65535}},
     "change the car model that the head unit is set up for, by its id or its name",
     setCarModel},
    {"car-setting", {{"ITEM"}, {"VALUE"}}, "change a setting of the car", call<&Car::sendCarSettingKey>},
    {"setting", {{"ITEM"}, {"VALUE"}}, "change a setting of the service", call<&Car::setSettings>},
    {"driving-page", {{"PAGE"}}, "choose the page of the driving data", call<&Car::setDrivingDataPage>},
    {"language", {}, "tell the car the head unit's language", call<&Car::sendLangCode>},
    {"send", {{"HEX..."}}, "write bytes to the line as they are", send},
    {"box",
     {{"STATEMENT..."}},
     "have the simulated box inside do something, as in box door front-left open",
     tellBox,
     boxStatements,
     CommandKind::Own,
     Needs::Box},
    {"pause",
     {},
     "let the capture stand",
     control<&Playback::pause>,
     nullptr,
     CommandKind::Own,
     Needs::Capture},
    {"resume",
     {},
     "let the capture go on",
     control<&Playback::resume>,
     nullptr,
     CommandKind::Own,
     Needs::Capture},
    {"seek",
     {{"TIME", Least, Most, "seconds of the capture"}},
     "go to a time of the capture, as in seek 12.5; back there with a fresh plug-in",
     seek,
     nullptr,
     CommandKind::Own,
     Needs::Capture},
    {"speed",
     {{"FACTOR", Least, Most, "0.01 to 1000, or max"}},
     "play the capture so many times as fast as it was, or max",
     setSpeed,
     nullptr,
     CommandKind::Own,
     Needs::Capture},
    {"step",
     {},
     "play the capture's next frame",
     control<&Playback::step>,
     nullptr,
     CommandKind::Own,
     Needs::Capture},
    {"state",
     {{"[TOPIC]"}, {"[--changed]"}, {"[--all]"}},
     "show how the car is, and how long ago a frame told so; only what has changed since the last look;\n"
     "    also what no frame of the protocol carries",
     showState,
     CarState::topics,
     CommandKind::Own},
    {"link",
     {},
     "show what the line has carried, and what is wrong with it",
     showLink,
     nullptr,
     CommandKind::Own},
    {"wait",
     {{"TIME", Least, Most, "seconds or milliseconds, as in 1.5s or 500ms"}},
     "hold the next command back, as in wait 500ms",
     wait,
     nullptr,
     CommandKind::Waiting},
    {"expect",
     {{"EVENT..."}, {"within"}, {"TIME"}},
     "wait for a signal, as in expect acStatusChanged ac=true fan>=3 within 1s,\n"
     "    for a state, as in expect state doors leftFrontDoorOpen=true within 2s,\n"
     "    or for bytes, as in expect tx 2E8101017C within 500ms; fail if it does not come.\n"
     "    expect no EVENT... for TIME fails if it comes",
     expect,
     expectableNames,
     CommandKind::Waiting},
    {"help",
     {{"[WORD]"}},
     "show the commands, all about one of them, or those that have a word",
     help,
     commandNames,
     CommandKind::Own},
    {"quit", {}, "end canbench", quit, nullptr, CommandKind::Own},
};

QStringList commandNames()
{
    return namesIn<commands>();
}

Words argumentsOf(const Command& command)
{
    Words names;
    for (const Argument& argument : command.arguments) {
        if (argument.name)
            names.append(argument.name);
    }
    return names;
}

QString usage(const Command& command)
{
    return (command.name + (' ' + argumentsOf(command).join(' '))).trimmed();
}

Words helpOn(const Command& command)
{
    Words lines{usage(command), QString("    ") + command.help};
    for (const Argument& argument : command.arguments) {
        if (argument.name && !aboutNumber(argument).isEmpty())
            lines.append(QString("    %1: %2").arg(argument.name, aboutNumber(argument)));
    }
    return lines;
}

QStringList readingNames()
{
    QStringList names;
    for (const Reading& blank : CarState::blanks({}))
        names.append(blank.topic + ' ' + blank.name);
    return names;
}

// What the first argument of the command can be, and what else it knows by name.
Words knownTo(const Command& command)
{
    const Words known = command.choices ? command.choices() : Words();
    return command.read == showState ? known + readingNames() : known;
}

// Help on the commands that have @p word: in their usage or their help, or among what they know, of which
// that is shown then.
Words helpWith(const QString& word)
{
    Words lines;
    for (const Command& command : commands) {
        const Words known = knownTo(command).filter(word, Qt::CaseInsensitive);
        const Words text = helpOn(command);
        if (known.isEmpty() && text.filter(word, Qt::CaseInsensitive).isEmpty())
            continue;
        lines += text;
        for (const QString& name : known)
            lines.append(QString("    %1 %2").arg(command.name, name));
    }
    return lines;
}

// All words that help finds something by.
Words helpWords()
{
    Words words = commandNames() + boxsim::statementWords();
    for (const Command& command : commands) {
        for (const QString& name : knownTo(command))
            words += name.split(' ');
    }
    return words;
}

Words helpOnAll()
{
    Words lines;
    for (const Command& command : commands)
        lines += helpOn(command);
    return lines;
}

Words helpOn(const QString& word)
{
    const int place = commandNames().indexOf(word);
    if (place < 0) {
        Words lines = helpWith(word);
        if (lines.isEmpty())
            throw CommandError{unknown(word, helpWords(), "known: " + commandNames().join(", "))};
        return lines;
    }
    const Command& command = commands[place];
    Words lines = helpOn(command);
    if (command.choices)
        lines.append("    known: " + command.choices().join(", "));
    return lines;
}

Action help(const Input& input)
{
    const Words lines = input.words.isEmpty() ? helpOnAll() : helpOn(input[0]);
    return action([text = lines.join('\n')](const Bench& bench) { bench.report.text(text); });
}

void checkCount(const Input& input)
{
    const Words arguments = argumentsOf(input.command);
    const int count = input.words.size();
    const bool isOpen = !arguments.filter("...").isEmpty();
    if (count < arguments.size() - arguments.filter("[").size() || (count > arguments.size() && !isOpen))
        throw CommandError{"usage: " + usage(input.command)};
}

// The commands with which the topic and the statement that are nearest to @p word are used.
Words nearestUses(const QString& word)
{
    Words firstWords;
    for (const QString& statement : boxStatements())
        firstWords += statement.section(' ', 0, 0).split('|');
    Words uses;
    if (const QString topic = nearest(word, CarState::topics()); !topic.isEmpty())
        uses.append(QString("\"state %1\"").arg(topic));
    if (const QString statement = nearest(word, firstWords); !statement.isEmpty())
        uses.append(QString("\"box %1\"").arg(statement));
    return uses;
}

// The command @p name. @throw CommandError where there is none, with what may have been meant
const Command& commandOf(const QString& name)
{
    const Words names = commandNames();
    const bool isNear = names.contains(name) || !nearest(name, names).isEmpty();
    const Words uses = isNear ? Words() : nearestUses(name);
    if (!uses.isEmpty())
        throw CommandError{QString("unknown \"%1\"; did you mean %2?").arg(name, uses.join(" or "))};
    return commands[placeOf(name, names)];
}

// The command of a line, and the words behind it.
Input inputOf(const QString& line, Ranges ranges)
{
    if (ranges == Ranges::Kept && hasOpenQuote(line))
        throw CommandError{QString("a quote is not closed") + ForceRemedy};
    Words words = wordsOf(line);
    const QString name = words.isEmpty() ? line : words.takeFirst();
    return {commandOf(name), words, ranges};
}

// Reads a whole command line, for a bench that has this beside the service.
Action read(const Input& input, BenchParts has)
{
    checkCount(input);
    if (input.command.needs == Needs::Box && !has.box)
        throw CommandError{"no simulated box is inside; canbench has one without --port"};
    if (input.command.needs == Needs::Capture && !has.capture)
        throw CommandError{"no capture is played; --replay plays one"};
    return input.command.read(input);
}

} // namespace

QStringList candidates(const QStringList& before)
{
    if (before.isEmpty())
        return commandNames();
    const int place = commandNames().indexOf(before.constFirst());
    if (place < 0)
        return {};
    const Command& command = commands[place];
    const Words words = before.mid(1);
    if (command.read == tellBox)
        return boxsim::candidates(words);
    if (command.read == expect)
        return expectable(words);
    Words candidates = words.isEmpty() && command.choices ? command.choices() : Words();
    Words arguments = argumentsOf(command);
    arguments.replaceInStrings(QRegularExpression("[][]"), {});
    for (int i = 0; i < arguments.size(); ++i) {
        if (arguments[i].startsWith("--") || (arguments[i].contains('|') && i == words.size()))
            candidates += arguments[i].split('|').filter(QRegularExpression("[a-z]")); // no placeholders
    }
    return candidates;
}

CommandKind kindOf(const QString& line)
{
    return inputOf(line, Ranges::Ignored).command.kind;
}

void execute(const Bench& bench, const QString& line)
{
    const Input input = inputOf(line, bench.ranges);
    const Action run = read(input, {boxInside() != nullptr, bench.playback != nullptr, bench.ranges});
    const QVariant result = run(bench);
    if (result.isValid())
        bench.report.result(input.command.name, result);
}

QStringList mistakesIn(const ScriptFile& script, BenchParts has)
{
    QStringList mistakes;
    for (const ScriptFile::Line& line : script.commands()) {
        try {
            read(inputOf(line.text, has.ranges), has);
        } catch (const CommandError& error) {
            mistakes.append(QString("%1:%2: %3").arg(script.name).arg(line.number).arg(error.text));
        }
    }
    return mistakes;
}
