#include "commands.h"

#include <QProcess>
#include <QRegularExpression>

using namespace std::chrono_literals;

namespace {

struct Command
{
    const char* name;
    const char*
        arguments; // in upper case what stands for a value; in brackets what can be left out; "..." repeats
    const char* help;
    void (*run)(const Bench&, const QStringList&);
    bool keepsEvents = false; // leaves what has happened to a later expect
};

struct Request
{
    const char* name;
    void (*send)(CanServiceBase&);
};

const Request requests[] = {
    {"climate", [](CanServiceBase& car) { car.requsetClimate(); }},
    {"park", [](CanServiceBase& car) { car.requsetParkAssist(); }},
    {"vehicle", [](CanServiceBase& car) { car.requsetVehicleInfo(); }},
    {"trip", [](CanServiceBase& car) { car.requsetDrinvingData(); }},
    {"fuel", [](CanServiceBase& car) { car.requsetFuel(); }},
    {"units", [](CanServiceBase& car) { car.requsetUnitSettings(); }},
    {"other", [](CanServiceBase& car) { car.requsetOtherInfo(); }},
    {"gauges", [](CanServiceBase& car) { car.requsetGauges(); }},
    {"settings", [](CanServiceBase& car) { car.requsetCarSetting(); }},
    {"maintenance", [](CanServiceBase& car) { car.requsetMaintenance(); }},
    {"speed", [](CanServiceBase& car) { car.requestSpeed(); }},
    {"driving-data", [](CanServiceBase& car) { car.requestDrivingData(); }},
    {"maintenance-data", [](CanServiceBase& car) { car.requestMaintenanceData(); }},
};

template<typename Table> QStringList namesIn(const Table& table)
{
    QStringList names;
    for (const auto& row : table)
        names.append(row.name);
    return names;
}

// The row of the table that has the name, or an error that lists the names.
template<typename Table> const auto& find(const Table& table, const QString& name, const QString& kind)
{
    for (const auto& row : table) {
        if (name == QLatin1String(row.name))
            return row;
    }
    throw CommandError{QString("no %1 \"%2\"; there is: %3").arg(kind, name, namesIn(table).join(", "))};
}

QByteArray toBytes(const QString& text)
{
    static const QRegularExpression pairs("^([0-9A-Fa-f]{2})+$");
    if (!pairs.match(text).hasMatch())
        throw CommandError{
            QString("\"%1\" is not a sequence of bytes; write two hexadecimal digits each").arg(text)};
    return QByteArray::fromHex(text.toLatin1());
}

void request(const Bench& bench, const QStringList& words)
{
    find(requests, words[0], "request").send(bench.service);
}

void send(const Bench& bench, const QStringList& words)
{
    QByteArray bytes = toBytes(words.join(QString()));
    bench.report.result("sendAnyData", bench.service.sendAnyData(bytes));
}

void showState(const Bench& bench, const QStringList& words)
{
    const QString topic = words.value(0);
    if (!topic.isEmpty() && !CarState::topics().contains(topic))
        throw CommandError{
            QString("no topic \"%1\"; there is: %2").arg(topic, CarState::topics().join(", "))};
    bench.report.state(bench.car.read(topic));
}

void help(const Bench& bench, const QStringList& words);

const Command commands[] = {
    {"start", "", "Announce the head unit to the CAN box and send the start-up settings.",
     [](const Bench& bench, const QStringList&) { bench.service.start(); }},
    {"stop", "", "Take leave of the CAN box and close the line.",
     [](const Bench& bench, const QStringList&) { bench.service.stop(); }},
    {"request", "WHAT", "Ask the CAN box for its frames; a wrong WHAT lists what there is.", request},
    {"send", "HEX...", "Write bytes to the line as they are.", send},
    {"state", "[TOPIC]", "Show how the car is; a wrong TOPIC lists what there is.", showState},
    {"help", "[COMMAND]", "Show the commands, or one of them.", help},
    {"quit", "", "End canbench.", [](const Bench& bench, const QStringList&) { bench.script.end(CleanEnd); }},
};

QString usage(const Command& command)
{
    return QString("%1 %2").arg(command.name, command.arguments).trimmed();
}

void help(const Bench& bench, const QStringList& words)
{
    if (!words.isEmpty()) {
        const Command& command = find(commands, words[0], "command");
        return bench.report.text(usage(command) + "\n    " + command.help);
    }
    QStringList lines;
    for (const Command& command : commands)
        lines.append(QString("%1 %2").arg(usage(command), -40).arg(command.help));
    bench.report.text(lines.join('\n'));
}

void checkCount(const Command& command, const QStringList& words)
{
    const QStringList arguments = QString(command.arguments).split(' ', Qt::SkipEmptyParts);
    const auto optional = arguments.filter("[").size();
    const bool open = QString(command.arguments).contains("...");
    if (words.size() < arguments.size() - optional || (words.size() > arguments.size() && !open))
        throw CommandError{"usage: " + usage(command)};
}

} // namespace

void execute(const Bench& bench, const QString& line)
{
    QStringList words = QProcess::splitCommand(line);
    const Command& command = find(commands, words.takeFirst(), "command");
    checkCount(command, words);
    if (!command.keepsEvents)
        bench.script.clearEvents();
    command.run(bench, words);
}
