#include "options.h"

#include "exitcode.h"
#include "hostsetup.h"
#include "languages.h"
#include "note.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>

namespace {

constexpr char Description[] =
    R"(The bench head unit: loads a CAN service plug-in as the head unit does, shows what it announces and hands it
commands. Signals, states and answers go to standard output, everything else to standard error. Commands are read
from standard input; "help" lists them.

Exit codes:
  0  end of input, quit, SIGINT, SIGTERM or SIGHUP
  1  an expectation of a script was not met, or a --script was interrupted
  2  wrong arguments, or a file of theirs that cannot be used
  3  the plug-in cannot be loaded
  4  the device has been away for longer than --give-up
  5  a script holds a command that cannot be carried out
  6  standard output or the capture can no longer be written)";

// Ends the program over arguments that cannot be used.
[[noreturn]] void refuse(const QString& text)
{
    note(text + "; --help tells what can be given");
    std::exit(BadArguments);
}

int number(const QCommandLineParser& parser, const QString& option, int lowest, int highest)
{
    bool valid = false;
    const int value = parser.value(option).toInt(&valid);
    if (!valid || value < lowest || value > highest)
        refuse(QString("--%1 needs a number from %2 to %3").arg(option).arg(lowest).arg(highest));
    return value;
}

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
    return {
        {{"h", "help"}, "Show this help."},
        {"version", "Show the version."},
        {"port", "The serial device that is wired to the CAN box; needed.", "device"},
        {"car-model", "The id of the car model, 0 to 65535; needed.", "id"},
        {"car-model-index",
         "The car model index for the CAN box, 0 to 254; 255, the default, announces none.", "index", "255"},
        {"settings-root",
         "The directory that stands for the head unit's root file system; otherwise the sample of canbench.",
         "directory"},
        {"plugin", "The plug-in to load; otherwise the one beside canbench or in its library folder.",
         "file"},
        {"language", "The language of units and labels: " + languages().join(", ") + "; en by default.",
         "language", "en"},
        {"trace", "Show the raw bytes of both directions."},
        {"log", "Show the plug-in's log lines."},
        {"json", "Write one JSON object a line."},
        {"record", "Write the raw bytes of both directions to a capture file.", "file"},
        {"purpose", "What the capture's header says about its purpose.", "text", "recorded by canbench"},
        {"give-up",
         "End when the device has been away for so long, up to 86400; 300 by default, 0 waits for ever.",
         "seconds", "300"},
        {"script", "Run the commands of a file instead of standard input's.", "file"},
    };
}

} // namespace

Options readOptions(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(Description);
    parser.addOptions(knownOptions());
    if (!parser.parse(arguments))
        refuse(parser.errorText().chopped(1)); // its full stop
    if (parser.isSet("help"))
        parser.showHelp();
    if (parser.isSet("version"))
        parser.showVersion();
    if (!parser.positionalArguments().isEmpty())
        refuse("unexpected argument " + parser.positionalArguments().constFirst());
    for (const QCommandLineOption& option : knownOptions()) {
        if (!option.valueName().isEmpty() && parser.isSet(option) && parser.value(option).isEmpty())
            refuse("--" + option.names().constLast() + " needs a value");
    }
    if (parser.value("purpose").contains('\n'))
        refuse("--purpose is one line");
    if (!parser.isSet("port") || !parser.isSet("car-model"))
        refuse("--port and --car-model are needed");
    if (!languages().contains(parser.value("language")))
        refuse("--language is one of " + languages().join(", "));
    HostSetup& setup = hostSetup();
    setup.device = QFileInfo(parser.value("port")).absoluteFilePath();
    setup.carModelId = number(parser, "car-model", 0, 65535);
    setup.carModelIndex = number(parser, "car-model-index", 0, 255);
    setup.giveUp = std::chrono::seconds(number(parser, "give-up", 0, 86400));
    setup.settingsRoot = parser.isSet("settings-root") ? parser.value("settings-root")
                                                       : findNear({"settings", "../share/canbench/settings"});
    setup.pluginPath = parser.isSet("plugin") ? QFileInfo(parser.value("plugin")).absoluteFilePath()
                                              : findNear({PLUGIN_PLACES});
    return {parser.value("language"), parser.value("script"), parser.value("record"), parser.value("purpose"),
            parser.isSet("json"),     parser.isSet("trace"),  parser.isSet("log")};
}
