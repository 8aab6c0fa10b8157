#include "options.h"

#include "commandline.h"
#include "hostsetup.h"
#include "languages.h"
#include "screen.h"
#include "virtualclock.h"
#include "words.h"

#include <QCoreApplication>
#include <QDir>

#include <unistd.h>

namespace {

constexpr char Description[] =
    R"(The bench head unit: loads a CAN service plug-in as the head unit does, shows what it announces and hands it
commands. Its line is a simulated CAN box inside canbench, with --port a real one, with --replay a capture. Signals,
states and answers go to standard output, everything else to standard error. Commands are read from standard input;
"help" lists them.

Exit codes:
  0  end of input, quit, SIGINT, SIGTERM or SIGHUP
  1  an expectation of a script was not met, a --script was interrupted, or --check has found a difference
  2  wrong arguments, or a file of theirs that cannot be used
  3  the plug-in cannot be loaded
  4  the device cannot be opened, or has been away for longer than --give-up
  5  a script holds a command that cannot be carried out
  6  standard output or the capture can no longer be written)";

constexpr int OwnCarModel = 153; // of the simulated box inside
constexpr int NoCarModelIndex = 255;

// Where the build tree or an installation keeps the file, seen from the executable.
QString findNear(const QStringList& places)
{
    const QDir here(QCoreApplication::applicationDirPath());
    for (const QString& place : places) {
        if (here.exists(place))
            return QDir::cleanPath(here.absoluteFilePath(place));
    }
    return QDir::cleanPath(here.absoluteFilePath(places.first()));
}

QList<QCommandLineOption> knownOptions()
{
    return commonOptions() +
           QList<QCommandLineOption>{
               {"port", "The serial device that is wired to a CAN box, instead of a simulated box inside.",
                "device"},
               {"replay", "A capture that is played, instead of a box; - is standard input.", "file"},
               {"speed",
                "How fast a capture is played: 0.01 to 1000 times as fast as it was, or max; 1 by default.",
                "factor", "1"},
               {"from", "Play up to this time at once, and show what comes then.", "seconds"},
               {"to", "End at this time of the capture.", "seconds"},
               {"loop", "Play it so often, each time with a fresh plug-in; for ever without a number.",
                "times"},
               {"skip-gaps", "Pass a longer time without a record at once.", "seconds"},
               {"step", "Play the next frame at each press of the return key."},
               {"check", "Compare what the head unit sends with what it sent in the capture."},
               {"lenient", "Leave out the damaged lines of a capture instead of ending at the first."},
               {"car-model",
                "The car model, by its id, 0 to 65535, or its name; needed with --port. A box inside has "
                "153, a capture its own. list shows the names and what each changes, list camry those with "
                "that word.",
                "model"},
               {"car-model-index",
                "The car model index for the CAN box, 0 to 254; 255, the default but for a capture, "
                "announces none.",
                "index"},
               {"settings-root",
                "The directory that stands for the head unit's root file system; otherwise the sample of "
                "canbench.",
                "directory"},
               {"plugin", "The plug-in to load; otherwise the one beside canbench or in its library folder.",
                "file"},
               {"language",
                "The language of units and labels: " + languages().join(", ") + "; en by default.",
                "language", "en"},
               {"trace", "Show the bytes of both directions, and the frames in them."},
               {"log", "Show the plug-in's log lines."},
               {"quiet", "Keep messages other than errors from standard error."},
               {"watch",
                "Show the line, the car and the last events on the whole terminal. F1 tells the keys."},
               {"json", "Write one JSON object a line. Commands from a pipe are then answered one by one, "
                        "and a wrong one "
                        "ends nothing."},
               {"record",
                "Write the raw bytes of both directions and the host's calls to a capture; its name may hold "
                "codes of the time, as %F; - is standard output. SIGUSR1 opens it anew.",
                "file"},
               {"overwrite", "Replace a capture that exists."},
               {"purpose", "What the capture's header says about its purpose.", "text",
                "recorded by canbench"},
               {"give-up",
                "End when the device has been away for so long, up to 86400; 300 by default, 0 waits for "
                "ever.",
                "seconds"},
               {"clock",
                "real, or virtual: time passes only while a command waits or bytes are on the line, and as "
                "fast as "
                "the work is done. virtual is the default for a box inside with --script or piped commands.",
                "clock"},
               {"script",
                "Run the commands of a file instead of standard input's; - is standard input as a script. It "
                "is "
                "checked before anything happens. Given more than once, each has a fresh plug-in and box.",
                "file"},
               {"check-script", "Only check each --script."},
               {"force", "Carry commands out whose values are out of their range."},
               {"wait", "Wait for a device that cannot be opened, as a session at a terminal does."},
           };
}

constexpr double RealTime = -1;

// How many seconds of the clock pass in a real one, 0 where that is not bounded. With a box inside time is
// virtual, unless somebody sits there.
double paceOf(const QCommandLineParser& parser)
{
    if (parser.isSet("replay"))
        return parser.isSet("step") ? 0 : speedOf(parser.value("speed")).value_or(RealTime);
    const bool isPlain = !parser.isSet("watch") && (parser.isSet("script") || !isatty(STDIN_FILENO));
    const bool isVirtual = parser.isSet("clock") ? parser.value("clock") == "virtual" : isPlain;
    return isVirtual && !parser.isSet("port") ? 0 : RealTime;
}

void checkClock(const QCommandLineParser& parser)
{
    const QString clock = parser.isSet("clock") ? parser.value("clock") : "real";
    if (clock != "real" && clock != "virtual")
        refuse("--clock is real or virtual");
    if (clock == "virtual" && parser.isSet("port"))
        refuse("--clock virtual needs a simulated box inside, not --port");
    if (parser.isSet("clock") && parser.isSet("replay"))
        refuse("--speed is the clock of --replay; max is virtual time");
    if (!speedOf(parser.value("speed")))
        refuse("--speed is a number from 0.01 to 1000, or max");
}

void checkLine(const QCommandLineParser& parser)
{
    if (parser.isSet("port") && parser.isSet("replay"))
        refuse("--port and --replay exclude each other");
    if (parser.isSet("port"))
        checkDevice(parser.value("port"));
    if (parser.isSet("wait") && !parser.isSet("port"))
        refuse("--wait goes with --port");
    if (parser.isSet("port") && !parser.isSet("car-model"))
        refuse("--port needs --car-model, the model of the car at its other end");
    for (const char* option : {"speed", "lenient", "check", "from", "to", "loop", "skip-gaps", "step"}) {
        if (parser.isSet(option) && !parser.isSet("replay"))
            refuse(QString("--%1 goes with --replay").arg(option));
    }
    if (parser.isSet("loop") && (parser.isSet("check") || parser.value("replay") == "-"))
        refuse("--loop excludes --check and standard input");
    if (parser.isSet("step") && parser.isSet("speed"))
        refuse("--step and --speed exclude each other");
    checkClock(parser);
}

void checkFiles(const QCommandLineParser& parser)
{
    const QString replayed = parser.value("replay");
    const QFileInfo recorded(parser.value("record"));
    const QStringList scripts = parser.values("script");
    if (scripts.count("-") + (replayed == "-" ? 1 : 0) > 1)
        refuse("standard input can be read by one --script or --replay only");
    if (scripts.size() > 1 && (replayed == "-" || parser.isSet("record")))
        refuse("more than one --script excludes --record, and --replay of standard input");
    if (parser.isSet("check-script") && scripts.isEmpty())
        refuse("--check-script goes with --script");
    if (recorded.exists() && recorded == QFileInfo(replayed))
        refuse("--record would replace the capture that is played");
    if (parser.isSet("overwrite") && !parser.isSet("record"))
        refuse("--overwrite goes with --record");
}

// Standard input and output are its terminal.
void checkWatch(const QCommandLineParser& parser)
{
    if (!parser.isSet("watch"))
        return;
    if (parser.isSet("json"))
        refuse("--watch and --json exclude each other");
    if (parser.values("script").size() > 1)
        refuse("--watch goes with one --script");
    for (const char* option : {"replay", "record", "script"}) {
        if (parser.value(option) == "-")
            refuse(QString("--watch needs the terminal, which --%1 - would take").arg(option));
    }
    if (const QString lack = Screen::refusal(); !lack.isEmpty())
        refuse("--watch needs " + lack);
}

// The time of the capture that an option tells; nothing where it is not given.
std::optional<std::chrono::nanoseconds> captureTime(const QCommandLineParser& parser, const QString& option)
{
    if (!parser.isSet(option))
        return std::nullopt;
    const std::optional<std::chrono::milliseconds> time = captureTimeOf(parser.value(option));
    if (!time)
        refuse(QString("--%1 needs a time in seconds").arg(option));
    return time;
}

Playback::Options playbackOptions(const QCommandLineParser& parser)
{
    using std::chrono::nanoseconds;
    Playback::Options options;
    options.from = captureTime(parser, "from").value_or(nanoseconds::zero());
    options.to = captureTime(parser, "to");
    options.longestGap = captureTime(parser, "skip-gaps");
    if (parser.isSet("loop"))
        options.passes = number(parser, "loop", 0, 1000000);
    options.steps = parser.isSet("step");
    if (options.to && *options.to < options.from)
        refuse("--to lies before --from");
    return options;
}

// An option whose value may be left out is one that the parser does not know.
QStringList withLoopCount(QStringList arguments)
{
    const int at = arguments.indexOf("--loop");
    if (at > 0 && !numberOf(arguments.value(at + 1)))
        arguments[at] += "=0";
    return arguments;
}

// The word by which --car-model lists models, which may be an argument of its own; none where it does not.
std::optional<QString> listedModels(const QCommandLineParser& parser)
{
    QStringList words = parser.value("car-model").split(' ');
    if (words.takeFirst() != "list")
        return std::nullopt;
    return (words + parser.positionalArguments()).join(' ').trimmed();
}

int carModel(const QCommandLineParser& parser, const CarModels& models)
{
    const QString model = parser.value("car-model");
    if (const std::optional<int> named = models.idOf(model))
        return *named;
    if (!numberOf(model))
        refuse("--car-model: " + models.refusal(model));
    return number(parser, "car-model", 0, 65535);
}

// What is given for the car: its model and its index.
void readCar(const QCommandLineParser& parser, HostSetup& setup)
{
    setup.carModels = CarModels::ofPlugin(setup.pluginPath);
    if (listedModels(parser))
        return;
    if (parser.isSet("car-model"))
        setup.carModelId = carModel(parser, setup.carModels);
    else if (!parser.isSet("replay"))
        setup.carModelId = OwnCarModel;
    if (parser.isSet("car-model-index"))
        setup.carModelIndex = number(parser, "car-model-index", 0, 255);
    else if (!parser.isSet("replay"))
        setup.carModelIndex = NoCarModelIndex;
}

// What the shell completes of values.
QStringList valuesOf(const QString& valueName)
{
    if (valueName == "language")
        return languages();
    if (valueName == "clock")
        return {"real", "virtual"};
    if (valueName == "model")
        return QStringList("list") + CarModels::ofPlugin(findNear({PLUGIN_PLACES})).names().values();
    return valueName == "factor" ? QStringList("max") : QStringList();
}

} // namespace

VirtualClock* clockFor(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.addOptions(knownOptions());
    const double pace = parser.parse(withLoopCount(arguments)) ? paceOf(parser) : RealTime;
    if (pace == RealTime)
        return nullptr;
    auto* clock = new VirtualClock(VirtualClock::StandsUnclaimed);
    clock->setPace(pace);
    return clock;
}

Options readOptions(const QStringList& arguments)
{
    answerCompletion(arguments, knownOptions(),
                     {[](const QString& name, const QString&) { return valuesOf(name); }});
    QCommandLineParser parser;
    parser.setApplicationDescription(Description);
    readArguments(parser, knownOptions(), withLoopCount(arguments));
    if (!parser.positionalArguments().isEmpty() && !listedModels(parser))
        refuse("unexpected argument " + parser.positionalArguments().constFirst());
    if (parser.value("purpose").contains('\n'))
        refuse("--purpose is one line");
    checkLine(parser);
    checkFiles(parser);
    checkWatch(parser);
    if (!languages().contains(parser.value("language")))
        refuse("--language is one of " + languages().join(", "));
    HostSetup& setup = hostSetup();
    if (parser.isSet("port"))
        setup.device = QFileInfo(parser.value("port")).absoluteFilePath();
    if (parser.isSet("give-up"))
        setup.giveUp = std::chrono::seconds(number(parser, "give-up", 0, 86400));
    setup.waitsForDevice = parser.isSet("wait") || (!parser.isSet("script") && isatty(STDIN_FILENO));
    setup.settingsRoot = parser.isSet("settings-root") ? parser.value("settings-root")
                                                       : findNear({"settings", "../share/canbench/settings"});
    setup.pluginPath = parser.isSet("plugin") ? QFileInfo(parser.value("plugin")).absoluteFilePath()
                                              : findNear({PLUGIN_PLACES});
    readCar(parser, setup);
    setup.ranges = parser.isSet("force") ? Ranges::Ignored : Ranges::Kept;
    return {parser.value("language"),
            parser.values("script"),
            parser.isSet("check-script"),
            {parser.value("record"), parser.value("purpose"), parser.isSet("overwrite")},
            parser.value("replay"),
            parser.isSet("lenient"),
            parser.isSet("check"),
            playbackOptions(parser),
            parser.isSet("json"),
            parser.isSet("trace"),
            parser.isSet("log"),
            parser.isSet("quiet"),
            listedModels(parser),
            parser.isSet("watch")};
}
