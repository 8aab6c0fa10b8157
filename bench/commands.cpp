#include "commands.h"

#include "hostsetup.h"
#include "words.h"

#include <QMetaMethod>
#include <QRegularExpression>

#include <optional>

namespace {

using Car = CanServiceBase;
using Words = QStringList;
using std::chrono::milliseconds;

struct Command
{
    const char* name;
    const char* arguments; // in brackets what can be left out, with "..." what can be repeated
    const char* help;
    QVariant (*run)(const Bench&, const Words&); // what the host's operation returned, if it does
    QStringList (*choices)() = nullptr;          // what the first argument can be
    bool waits = false;                          // leaves what has happened to a later expect
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

QStringList eventNames()
{
    QStringList names{"rx", "tx"};
    const QMetaObject& meta = Car::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        if (meta.method(i).methodType() == QMetaMethod::Signal)
            names.append(meta.method(i).name());
    }
    return names;
}

// Where the name stands among the names, or an error that lists them.
int find(const QString& name, const QStringList& names)
{
    const int row = names.indexOf(name);
    if (row < 0)
        throw CommandError{QString("unknown \"%1\"; known: %2").arg(name, names.join(", "))};
    return row;
}

// Decimal, or hexadecimal behind 0x.
std::optional<int> numberIn(const QString& text)
{
    bool valid = false;
    const int number = text.toInt(&valid, text.startsWith("0x", Qt::CaseInsensitive) ? 16 : 10);
    return valid ? std::optional(number) : std::nullopt;
}

int toNumber(const QString& text)
{
    const std::optional<int> number = numberIn(text);
    if (!number)
        throw CommandError{QString("\"%1\" is no number").arg(text)};
    return *number;
}

QByteArray toBytes(const QString& text)
{
    static const QRegularExpression pairs("^([0-9A-Fa-f]{2})+$");
    if (!pairs.match(text).hasMatch())
        throw CommandError{
            QString("\"%1\" is no sequence of bytes; write two hexadecimal digits each").arg(text)};
    return QByteArray::fromHex(text.toLatin1());
}

milliseconds toDuration(const QString& text)
{
    const std::optional<milliseconds> time = timeOf(text);
    if (!time)
        throw CommandError{
            QString("\"%1\" is no time; write 500ms or 1.5s, with up to six digits before the point")
                .arg(text)};
    return *time;
}

template<void (Car::*Operation)()> QVariant call(const Bench& bench, const Words&)
{
    (bench.service.*Operation)();
    return {};
}

template<void (Car::*Operation)(int)> QVariant call(const Bench& bench, const Words& words)
{
    (bench.service.*Operation)(toNumber(words[0]));
    return {};
}

template<int (Car::*Operation)(int, int)> QVariant call(const Bench& bench, const Words& words)
{
    return (bench.service.*Operation)(toNumber(words[0]), toNumber(words[1]));
}

QVariant request(const Bench& bench, const Words& words)
{
    if (words.size() == 2)
        return call<&Car::request>(bench, words);
    (bench.service.*requests[find(words[0], namesIn<requests>())].send)();
    return {};
}

QVariant send(const Bench& bench, const Words& words)
{
    QByteArray bytes = toBytes(words.join(QString()));
    return bench.service.sendAnyData(bytes);
}

QVariant climateKey(const Bench& bench, const Words& words)
{
    const std::optional<int> number = numberIn(words[0]);
    const int code = number ? *number : climateKeys[find(words[0], namesIn<climateKeys>())].code;
    return bench.service.sendAcKey(code, toNumber(words.value(1, "1")));
}

QVariant camera(const Bench& bench, const Words& words)
{
    const int key = words[0] == "touch" ? 0 : toNumber(words[0]);
    return bench.service.sendCameraKey(key, CameraData{toNumber(words[1]), toNumber(words[2])});
}

QVariant radio(const Bench& bench, const Words& words)
{
    bench.service.onRadioSourceInformation(words[0], words.mid(1), 0);
    return {};
}

QVariant media(const Bench& bench, const Words& words)
{
    const int source = toNumber(words[0]);
    if (source < 1 || source > 4)
        throw CommandError{"media sources are 1 to 4"};
    bench.service.onRadioSourceInformation({}, words.mid(1), source);
    return {};
}

QVariant aux(const Bench& bench, const Words&)
{
    bench.service.onRadioSourceInformation({}, {}, 5);
    return {};
}

// With the 12-hour clock the host counts the hours after noon from 13 and marks them with meridiem 3.
QVariant clock(const Bench& bench, const Words& words)
{
    static const QRegularExpression form("^(\\d{1,2}):(\\d{2})$");
    const auto match = form.match(words[0]);
    const QString format = words.value(1, "24h");
    const int hour = match.captured(1).toInt();
    const int minute = match.captured(2).toInt();
    const bool is24h = find(format, {"24h", "am", "pm"}) == 0;
    if (!match.hasMatch() || minute > 59 || (is24h ? hour > 23 : hour < 1 || hour > 12))
        throw CommandError{QString("no time \"%1 %2\"; write 15:30, or 3:30 pm").arg(words[0], format)};
    const bool countsOn = format == "pm" && hour != 12;
    GPSTime time;
    time.hour = static_cast<quint8>(countsOn ? hour + 12 : hour);
    time.minute = static_cast<quint8>(minute);
    time.clockFormat = is24h;
    time.meridiem = countsOn ? 3 : 0;
    bench.service.GPSTimeSend(time);
    return {};
}

QVariant setCarModel(const Bench&, const Words& words)
{
    const int id = toNumber(words[0]);
    if (id < 0 || id > 65535)
        throw CommandError{"car models are 0 to 65535"};
    hostSetup().carModelId = id;
    return {};
}

QVariant showState(const Bench& bench, const Words& words)
{
    if (!words.isEmpty())
        find(words[0], CarState::topics());
    bench.report.state(bench.car.read(words.value(0)));
    return {};
}

QVariant wait(const Bench& bench, const Words& words)
{
    bench.script.wait(toDuration(words[0]));
    return {};
}

QVariant expect(const Bench& bench, const Words& words)
{
    const int last = words.size() - 1;
    if (words[last - 1] != "within")
        throw CommandError{"an expectation ends with a time, as in within 1s"};
    Event event{words[0], words.mid(1, last - 2), {}};
    if (find(event.what, eventNames()) < 2) {
        event.bytes = toBytes(event.parts.join(QString()));
        event.parts.clear();
    }
    bench.script.expect(event, toDuration(words[last]));
    return {};
}

QVariant quit(const Bench& bench, const Words&)
{
    bench.script.end(CleanEnd);
    return {};
}

QVariant help(const Bench& bench, const Words& words);
QStringList commandNames();

constexpr Command commands[] = {
    {"start", "", "announce the head unit to the CAN box and send the start-up settings", call<&Car::start>},
    {"stop", "", "take leave of the CAN box and close the line", call<&Car::stop>},
    {"request", "WHAT [VALUE]", "ask the CAN box for its frames, or the service for a numbered item", request,
     namesIn<requests>},
    {"ac", "KEY [VALUE]", "press a climate key, by its name or the host's code", climateKey,
     namesIn<climateKeys>},
    {"unit", "ITEM", "switch a unit to its next value; item 0 is the fuel consumption's",
     call<&Car::setUnitCmd>},
    {"position", "VALUE", "set the driving position", call<&Car::setCanDrivingPosition>},
    {"camera", "KEY X Y", "touch the camera picture; KEY is touch, or the host's code", camera},
    {"radio", "BAND FREQUENCY [STATION]", "show the radio's texts on the instrument cluster", radio},
    {"media", "SOURCE [TITLE] [ARTIST] [ALBUM]", "show a track's texts on the instrument cluster", media},
    {"aux", "", "show on the instrument cluster that AUX is heard", aux},
    {"clock", "HH:MM [24h|am|pm]", "set the car's clock", clock},
    {"car-model", "ID", "change the car model that the head unit is set up for", setCarModel},
    {"car-setting", "ITEM VALUE", "change a setting of the car", call<&Car::sendCarSettingKey>},
    {"setting", "ITEM VALUE", "change a setting of the service", call<&Car::setSettings>},
    {"driving-page", "PAGE", "choose the page of the driving data", call<&Car::setDrivingDataPage>},
    {"language", "", "tell the car the head unit's language", call<&Car::sendLangCode>},
    {"send", "HEX...", "write bytes to the line as they are", send},
    {"state", "[TOPIC]", "show how the car is", showState, CarState::topics},
    {"wait", "TIME", "hold the next command back, as in wait 500ms", wait, nullptr, true},
    {"expect", "EVENT... within TIME",
     "wait for a signal, as in expect acStatusChanged ac=true within 1s,\n"
     "    or for bytes, as in expect tx 2E8101017C within 500ms; fail if it does not come",
     expect, eventNames, true},
    {"help", "[COMMAND]", "show the commands, or all about one of them", help, commandNames},
    {"quit", "", "end canbench", quit},
};

QStringList commandNames()
{
    return namesIn<commands>();
}

QString usage(const Command& command)
{
    return QString("%1 %2").arg(command.name, command.arguments).trimmed();
}

QVariant help(const Bench& bench, const Words& words)
{
    QStringList lines;
    if (words.isEmpty()) {
        for (const Command& command : commands)
            lines.append(usage(command) + "\n    " + command.help);
    } else {
        const Command& command = commands[find(words[0], commandNames())];
        lines.append(usage(command) + "\n    " + command.help);
        if (command.choices)
            lines.append("    known: " + command.choices().join(", "));
    }
    bench.report.text(lines.join('\n'));
    return {};
}

void checkCount(const Command& command, const Words& words)
{
    const QStringList arguments = QString(command.arguments).split(' ', Qt::SkipEmptyParts);
    const int least = arguments.size() - arguments.filter("[").size();
    const bool open = !arguments.filter("...").isEmpty();
    if (words.size() < least || (words.size() > arguments.size() && !open))
        throw CommandError{"usage: " + usage(command)};
}

} // namespace

void execute(const Bench& bench, const QString& line)
{
    Words words = wordsOf(line);
    const Command& command = commands[find(words.isEmpty() ? line : words.takeFirst(), commandNames())];
    checkCount(command, words);
    if (!command.waits)
        bench.script.clearEvents();
    const QVariant result = command.run(bench, words);
    if (result.isValid())
        bench.report.result(command.name, result);
}
