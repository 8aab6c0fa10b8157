#include "options.h"

#include "commandline.h"
#include "scenario.h"

#include <QRandomGenerator>

namespace boxsim {

namespace {

constexpr char About[] =
    R"(Simulates the CAN box of a car on a serial line. The first line on standard output is the path that the head unit
opens; standard output then tells what the head unit asks of the car. Statements that change the car are read from
standard input; "help" lists them.

Exit codes:
  0  quit, SIGINT, SIGTERM or SIGHUP, or the end of standard input, of the scenario or of the capture
  2  wrong arguments, or a file of theirs that cannot be used
  4  the line cannot be opened, or the device is gone
  5  the scenario holds a statement that cannot be carried out
  6  standard output can no longer be written)";

QList<QCommandLineOption> knownOptions()
{
    return commonOptions() +
           QList<QCommandLineOption>{
               {"link", "Keep a symbolic link to the pseudo-terminal at <path>.", "path"},
               {"port", "Use the serial device <device>, 38400 8N1, instead of a pseudo-terminal.", "device"},
               {"scenario", "Play a scenario: a file, or one that boxsim brings, by its name.", "scenario"},
               {"exit-after-scenario",
                "End when the scenario has been played and every held key is released."},
               {"replay", "Play the box's half of the capture <file>, and end; - is standard input.", "file"},
               {"lenient", "Leave out the damaged lines of the capture instead of ending at the first."},
               {"fault", "Begin with a fault, as \"loss 1%\"; may be given more than once.", "fault"},
               {"seed", "Draw the faults' chances from <number>: the same run again.", "number"},
               {"force", "Take values of the car that are out of their range, as far as the frame has room."},
               {"trace", "Show the bytes of both directions, and the frames in them."},
               {"log", "Show the box's log lines."},
               {"quiet", "Keep messages other than errors from standard error."},
               {"json", "Write one JSON object a line, all on standard output."},
           };
}

QStringList faultNames()
{
    QStringList names;
    for (const FaultRow& row : faultRows())
        names.append(row.name);
    return names;
}

QStringList valuesOf(const QString& valueName, const QString&)
{
    if (valueName == "fault")
        return faultNames();
    return valueName == "scenario" ? Scenario::names() + QStringList("<file>") : QStringList();
}

// The statements that --seed and --fault say.
QVector<Parsed> readFaults(const QCommandLineParser& parser)
{
    const quint32 drawn = QRandomGenerator::global()->bounded(1U << 31);
    QVector<Parsed> faults{
        parse("seed " + (parser.isSet("seed") ? parser.value("seed") : QString::number(drawn)))};
    if (!faults[0].error.isEmpty())
        refuse("--seed: " + faults[0].error);
    for (const QString& fault : parser.values("fault")) {
        const Parsed parsed = parse(fault);
        if (!faultNames().contains(fault.simplified().section(' ', 0, 0)))
            refuse(QString("--fault: \"%1\" is none of %2").arg(fault, faultNames().join(", ")));
        if (!parsed.statement || !parsed.statement->isFault)
            refuse("--fault: " + (parsed.statement ? "it turns nothing on" : parsed.error));
        faults.append(parsed);
    }
    return faults;
}

void check(const QCommandLineParser& parser)
{
    if (!parser.positionalArguments().isEmpty())
        refuse("unexpected argument " + parser.positionalArguments().constFirst());
    if (parser.isSet("port") && parser.isSet("link"))
        refuse("--link goes with a pseudo-terminal, not with --port");
    if (parser.isSet("port"))
        checkDevice(parser.value("port"));
    if (parser.isSet("exit-after-scenario") && !parser.isSet("scenario"))
        refuse("--exit-after-scenario goes with --scenario");
    if (parser.isSet("replay") && parser.isSet("scenario"))
        refuse("--replay and --scenario exclude each other");
    if (parser.isSet("replay") && parser.isSet("fault"))
        refuse("--replay and --fault exclude each other");
    if (parser.isSet("lenient") && !parser.isSet("replay"))
        refuse("--lenient goes with --replay");
}

} // namespace

Options readOptions(const QStringList& arguments)
{
    answerCompletion(arguments, knownOptions(), {valuesOf});
    QCommandLineParser parser;
    parser.setApplicationDescription(About);
    readArguments(parser, knownOptions(), arguments);
    check(parser);
    return {parser.value("port"),
            parser.value("link"),
            parser.value("scenario"),
            parser.isSet("exit-after-scenario"),
            parser.value("replay"),
            parser.isSet("lenient"),
            parser.isSet("force") ? Ranges::Ignored : Ranges::Kept,
            parser.isSet("json"),
            parser.isSet("trace"),
            parser.isSet("log"),
            parser.isSet("quiet"),
            readFaults(parser)};
}

} // namespace boxsim
