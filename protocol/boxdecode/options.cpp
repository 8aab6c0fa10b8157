#include "options.h"

#include "commandline.h"

#include <QFileInfo>
#include <QRegularExpression>

#include <cmath>
#include <limits>
#include <unistd.h>

using namespace protocol;

namespace {

constexpr char About[] =
    R"(Shows what the bytes between head unit and CAN box mean. An input is a capture of canbench, a pcapng or candump
file of boxdecode, or raw bytes; - is standard input, which is read as it comes. Whatever the bytes, all of them are
shown: frames with a wrong checksum, noise and unfinished frames too. Those are summed up on standard error.

With --tap boxdecode stands between a head unit and a CAN box, as in

  boxdecode --tap /dev/ttyUSB0 /dev/ttyUSB1 --record drive-%F-%H%M%S.capture

where the head unit is wired to the first serial device and the box to the second. It hands every byte on at once, and
shows and records both directions until a signal ends it. A device that goes away is told and awaited.

A filter has terms separated by commas: the name of a frame, group, topic or field (climate, radar,
doors.leftFrontDoorOpen), a type (24), rx (from the CAN box), tx (to it), bad (whatever is no good frame), ack (answers
that belong to no frame), unknown (types without a description). A term with ! leaves out what it names.

Exit codes:
  0  the inputs are over, or the first --count units are written, or SIGINT, SIGTERM or SIGHUP
  2  wrong arguments, or a file of theirs that cannot be used
  6  standard output or the record can no longer be written)";

constexpr const char* formats[] = {"text", "json", "csv", "candump", "pcapng"}; // as Options::Output

constexpr struct
{
    const char* option;
    Options::Output output;
} others[] = {{"stats", Options::Stats},
              {"diff", Options::Diff},
              {"write-dbc", Options::Dbc},
              {"write-dissector", Options::Dissector}};

QList<QCommandLineOption> knownOptions()
{
    return commonOptions() +
           QList<QCommandLineOption>{
               {"raw", "Read the raw bytes of a file; may be given several times.", "file"},
               {"hex", "Read bytes in hexadecimal, as in \"2E 24 02 80 00 59\".", "bytes"},
               {"format", "text (the default), json, csv, candump or pcapng.", "format", "text"},
               {"all", "Show all fields of each frame, not only those that changed."},
               {"filter", "Show only some units; see above.", "terms"},
               {"from", "Show only what came at that time or later, in seconds of the capture.", "seconds"},
               {"to", "Show only what came at that time or earlier.", "seconds"},
               {"count", "End after so many units.", "number"},
               {"stats", "Show of each type how often it came, and which bits and bytes changed."},
               {"diff", "Show what differs between two inputs, times aside."},
               {"write-dbc", "Write the frames as a DBC file, and read nothing."},
               {"write-dissector", "Write a dissector for Wireshark, and read nothing."},
               {"tap", "Stand between the head unit on the first device and the CAN box on the second."},
               {"record",
                "Write what crosses the tap to a capture too; its name may hold codes of the time, as %F. "
                "SIGUSR1 "
                "opens "
                "it anew.",
                "file"},
               {"overwrite", "Replace a capture that exists."},
               {"car-model", "The id of the car model, 0 to 65535; otherwise the capture's.", "id"},
               {"protocol", "Read another description of the protocol.", "file"},
               {"color", "auto (the default: on a terminal, unless NO_COLOR is set), always or never.",
                "when", "auto"},
           };
}

// The time of the option in microseconds, or @p otherwise.
int64_t time(const QCommandLineParser& parser, const QString& option, int64_t otherwise)
{
    if (!parser.isSet(option))
        return otherwise;
    bool valid = false;
    const double seconds = parser.value(option).toDouble(&valid);
    if (!valid || !(seconds >= 0 && seconds < 1e12))
        refuse("--" + option + " needs seconds, as in 1.5");
    return std::llround(seconds * 1e6);
}

std::vector<Options::Input> inputsOf(const QCommandLineParser& parser)
{
    std::vector<Options::Input> inputs;
    for (const QString& file : parser.positionalArguments())
        inputs.push_back({InputKind::ByContent, file, {}});
    for (const QString& file : parser.values("raw"))
        inputs.push_back({InputKind::Raw, file, {}});
    for (const QString& hex : parser.values("hex")) {
        std::vector<uint8_t> bytes;
        if (!bytesOfHex(hex.toStdString(), bytes))
            refuse("--hex needs bytes of two hexadecimal digits each, not " + hex);
        inputs.push_back({InputKind::Raw, {}, {bytes.begin(), bytes.end()}});
    }
    if (inputs.empty() && isatty(STDIN_FILENO) != 0)
        refuse("no input: name a file, or - for what is typed");
    if (inputs.empty())
        inputs.push_back({InputKind::ByContent, "-", {}});
    return inputs;
}

// The devices of --tap.
QStringList tapOf(const QCommandLineParser& parser, Options::Output output)
{
    const QStringList devices = parser.positionalArguments();
    if (output > Options::Stats || parser.isSet("raw") || parser.isSet("hex"))
        refuse("--tap excludes --raw, --hex, --diff, --write-dbc and --write-dissector");
    if (devices.size() != 2)
        refuse("--tap needs two serial devices: the head unit's, then the CAN box's");
    const QFileInfo headUnit(devices[0]);
    const QFileInfo box(devices[1]);
    if (headUnit == box)
        refuse("--tap needs two devices, and both names are of one");
    return {headUnit.absoluteFilePath(), box.absoluteFilePath()};
}

CaptureOptions recordOf(const QCommandLineParser& parser, int carModel)
{
    if (parser.isSet("record") && !parser.isSet("tap"))
        refuse("--record goes with --tap; canbench records a session of its own");
    if (parser.isSet("overwrite") && !parser.isSet("record"))
        refuse("--overwrite goes with --record");
    if (parser.value("record") == "-")
        refuse("--record names a file; standard output has what --format tells");
    return {parser.value("record"), "recorded by boxdecode between head unit and CAN box",
            parser.isSet("overwrite"), carModel};
}

Options::Output outputOf(const QCommandLineParser& parser)
{
    std::vector<Options::Output> asked;
    for (const auto& [option, output] : others)
        if (parser.isSet(option))
            asked.push_back(output);
    if (asked.size() > (parser.value("format") == "text" ? 1 : 0))
        refuse("--stats, --diff, --write-dbc and --write-dissector exclude one another and --format");
    if (!asked.empty())
        return asked.front();
    const auto* format = std::find(std::begin(formats), std::end(formats), parser.value("format"));
    if (format == std::end(formats))
        refuse("--format is text, json, csv, candump or pcapng, not " + parser.value("format"));
    return static_cast<Options::Output>(format - formats);
}

bool isColoured(const QString& when)
{
    if (when != "auto" && when != "always" && when != "never")
        refuse("--color is auto, always or never, not " + when);
    return when == "always" ||
           (when == "auto" && isatty(STDOUT_FILENO) != 0 && qEnvironmentVariableIsEmpty("NO_COLOR"));
}

QStringList framesOf(const Description& description)
{
    QStringList names;
    for (const Frame& frame : description.frames())
        names.append(toString(frame.name));
    return names;
}

void readSelection(const QCommandLineParser& parser, const Description& description, Selection& selection)
{
    selection.from = time(parser, "from", selection.from);
    selection.to = time(parser, "to", selection.to);
    for (const QString& filter : parser.values("filter")) {
        const std::string word = selection.add(filter.toStdString(), description);
        if (word.empty())
            continue;
        refuse(QString("--filter knows no \"%1\"; frames are %2")
                   .arg(QString::fromStdString(word), framesOf(description).join(", ")));
    }
}

// What the shell completes of values; of a filter's terms the last one.
QStringList valuesOf(const QString& valueName, const QString& word)
{
    if (valueName == "format")
        return {std::begin(formats), std::end(formats)};
    if (valueName == "when")
        return {"auto", "always", "never"};
    if (valueName != "terms")
        return {};
    const QStringList terms =
        framesOf(Description::standard()) + QStringList{"rx", "tx", "bad", "ack", "unknown"};
    const QString before = word.left(word.lastIndexOf(',') + 1);
    return QStringList(terms).replaceInStrings(QRegularExpression("^"), before);
}

} // namespace

Options readOptions(const QStringList& arguments)
{
    answerCompletion(arguments, knownOptions(), {valuesOf, true});
    QCommandLineParser parser;
    parser.setApplicationDescription(About);
    parser.addPositionalArgument("file", "What to read; standard input by default.", "[file...|-]");
    readArguments(parser, knownOptions(), arguments);
    Options options;
    if (parser.isSet("protocol")) {
        QString error;
        options.description = Description::load(parser.value("protocol"), &error);
        if (!options.description)
            refuse(error);
    }
    options.output = outputOf(parser);
    const bool readsNothing = options.output == Options::Dbc || options.output == Options::Dissector;
    if (parser.isSet("tap"))
        options.tap = tapOf(parser, options.output);
    else if (!readsNothing)
        options.inputs = inputsOf(parser);
    else if (parser.isSet("raw") || parser.isSet("hex") || !parser.positionalArguments().isEmpty())
        refuse("--write-dbc and --write-dissector have no input");
    if (options.output == Options::Diff && options.inputs.size() != 2)
        refuse("--diff needs two inputs");
    options.all = parser.isSet("all");
    options.coloured = isColoured(parser.value("color"));
    if (parser.isSet("count"))
        options.count = static_cast<uint64_t>(number(parser, "count", 1, std::numeric_limits<int>::max()));
    if (parser.isSet("car-model"))
        options.carModel = number(parser, "car-model", 0, 65535);
    options.record = recordOf(parser, options.carModel.value_or(-1));
    readSelection(parser, options.description ? *options.description : Description::standard(),
                  options.selection);
    return options;
}
