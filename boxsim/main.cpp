#include "box.h"
#include "exitcode.h"
#include "line.h"
#include "log.h"
#include "process.h"
#include "recordedbox.h"
#include "scenario.h"
#include "statement.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>

#include <array>
#include <cerrno>
#include <csignal>
#include <optional>
#include <unistd.h>

namespace {

using namespace boxsim;
using namespace std::chrono_literals;

constexpr auto LastRead = 200ms;

constexpr char About[] =
    "Simulates the CAN box of a car on a serial line. The first line on stdout is the path that the head "
    "unit\n"
    "opens; stdout then tells what the head unit asked of the car, stderr logs the bytes of both "
    "directions.\n"
    "Statements that change the car are read from stdin; type help to list them.\n\n"
    "Exit codes: 0 ended by quit, by a signal, by the end of stdin, of the scenario or of the capture; 1 "
    "wrong "
    "usage;\n"
    "2 the line cannot be opened or is lost; 3 mistakes in the scenario or the capture; 4 stdout cannot be\n"
    "written.";

// Ends the program when standard output cannot be written; a reader that has left a pipe is no failure.
void endOver(int error)
{
    if (error == EPIPE)
        return;
    printLine(stderr, "cannot write standard output: " + qt_error_string(error));
    QTimer::singleShot(0, [] { QCoreApplication::exit(NoOutput); }); // the event loop may not run yet
}

// What the head unit has not read vanishes with the pseudo-terminal, so it is given a moment.
void endSoon()
{
    QTimer::singleShot(LastRead, &QCoreApplication::quit);
}

struct Options
{
    QString device;
    QString link;
    QString scenario;
    bool exitAfterScenario;
    QString replay;
    bool lenient;
    bool json;
    QVector<Parsed> faults; ///< the seed, and what is on from the start
};

// What --seed and --fault say, or what is wrong with them.
QString readFaults(const QCommandLineParser& parser, QVector<Parsed>& faults)
{
    const quint32 drawn = QRandomGenerator::global()->bounded(1U << 31);
    const QString seed = parser.isSet("seed") ? parser.value("seed") : QString::number(drawn);
    faults.append(parse("seed " + seed));
    QString error = faults[0].error.isEmpty() ? QString() : "--seed: " + faults[0].error + '.';
    QStringList names;
    for (const FaultRow& row : faultRows())
        names.append(row.name);
    for (const QString& fault : parser.values("fault")) {
        const Parsed parsed = parse(fault);
        faults.append(parsed);
        if (!names.contains(fault.simplified().section(' ', 0, 0)))
            error = QString("--fault: \"%1\" is none of %2.").arg(fault, names.join(", "));
        else if (!parsed.statement || !parsed.statement->isFault)
            error = QString("--fault: %1.")
                        .arg(parsed.statement ? "that turns on nothing that stays" : parsed.error);
    }
    return error;
}

Options readOptions()
{
    QCommandLineParser parser;
    parser.setApplicationDescription(About);
    parser.addOptions({
        {{"h", "help"}, "Show this help."},
        {"version", "Show the version."},
        {"link", "Keep a symbolic link to the pseudo-terminal at <path>.", "path"},
        {"port", "Use the serial device <device>, 38400 8N1, instead of a pseudo-terminal.", "device"},
        {"scenario", "Play the scenario <file>, or one that boxsim brings, by its name.", "file"},
        {"exit-after-scenario", "End when the scenario has been played and every held key is released."},
        {"replay", "Play the box's half of the capture <file>, and end; - is stdin.", "file"},
        {"lenient", "Leave out the damaged lines of the capture instead of ending at the first."},
        {"fault", "Begin with a fault, as \"loss 1%\"; may be given more than once.", "fault"},
        {"seed", "Draw the faults' chances from <number>: the same run again.", "number"},
        {"json", "Write one JSON object a line, log and answers too, all on stdout."},
    });
    const bool understood = parser.parse(QCoreApplication::arguments());
    if (understood && parser.isSet("help"))
        parser.showHelp(Ended);
    if (understood && parser.isSet("version"))
        parser.showVersion();
    Options options{parser.value("port"),     parser.value("link"),
                    parser.value("scenario"), parser.isSet("exit-after-scenario"),
                    parser.value("replay"),   parser.isSet("lenient"),
                    parser.isSet("json"),     {}};
    QString error = understood ? readFaults(parser, options.faults) : parser.errorText();
    if (!parser.positionalArguments().isEmpty())
        error = QString("Unexpected argument '%1'.").arg(parser.positionalArguments().constFirst());
    else if (!options.device.isEmpty() && !options.link.isEmpty())
        error = "--link goes with a pseudo-terminal, not with --port.";
    else if (options.exitAfterScenario && options.scenario.isEmpty())
        error = "--exit-after-scenario needs --scenario.";
    else if (!options.replay.isEmpty() && !options.scenario.isEmpty())
        error = "--replay and --scenario exclude each other.";
    else if (!options.replay.isEmpty() && parser.isSet("fault"))
        error = "--replay and --fault exclude each other.";
    else if (options.lenient && options.replay.isEmpty())
        error = "--lenient needs --replay.";
    for (const char* name : {"port", "link", "scenario", "replay"})
        if (parser.isSet(name) && parser.value(name).isEmpty())
            error = QString("--%1 needs a value.").arg(name);
    if (!error.isEmpty()) {
        printLine(stderr, error + " See boxsim --help.");
        ::exit(Usage);
    }
    return options;
}

// Runs the statements that are typed on stdin.
class Typed
{
public:
    Typed(const Simulation& simulation, Log& log)
        : m_simulation(simulation)
        , m_log(log)
    {
    }

    // Takes what there is. @return false at the end of input.
    bool read()
    {
        std::array<char, 4096> buffer{};
        const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
        m_pending += count > 0 ? QByteArray(buffer.data(), static_cast<int>(count)) : QByteArray("\n");
        for (int end = m_pending.indexOf('\n'); end >= 0; end = m_pending.indexOf('\n')) {
            run(QString::fromUtf8(m_pending.left(end)).trimmed());
            m_pending.remove(0, end + 1);
        }
        return count > 0;
    }

private:
    void run(const QString& line)
    {
        ++m_number;
        if (line.isEmpty() || line.startsWith('#'))
            return;
        const Parsed parsed = parse(line);
        const QString shown = parsed.statement ? parsed.answer(m_simulation) : QString();
        m_log.answer(line, m_number, shown, parsed.error);
    }

    const Simulation& m_simulation;
    Log& m_log;
    QByteArray m_pending;
    int m_number = 0;
};

// Shows and logs what happens on the line and in the box.
void connectLog(const Line& line, const Box& box, Log& log)
{
    const auto note = [&log](const QString& text) { log.note(text); };
    QObject::connect(&line, &Line::sent, &box,
                     [&log](const auto& bytes, const auto& meaning) { log.bytes("tx", bytes, meaning); });
    QObject::connect(&box, &Box::unitReceived, &box,
                     [&log](const auto& bytes, const auto& meaning) { log.bytes("rx", bytes, meaning); });
    QObject::connect(&line, &Line::noted, &box, note);
    QObject::connect(&box, &Box::noted, &box, note);
    QObject::connect(&box, &Box::hit, &box, [&log](const Hit& hit) { log.fault(hit); });
    QObject::connect(&box, &Box::asked, &box, [&log](const QString& what) { log.show(what); });
}

// Joins the box to its line, and the scenario to the head unit's announcement.
void connectBox(Line& line, Box& box, Player& player, bool exitAfterScenario)
{
    QObject::connect(&box, &Box::chunkReady, &line, &Line::write);
    if (exitAfterScenario)
        QObject::connect(&player, &Player::finished, &box,
                         [&box] { QTimer::singleShot(box.keysHeldFor(), &box, endSoon); });
}

// Joins a capture to the line, in the box's place.
void connectRecorded(Line& line, RecordedBox& recorded, const CaptureReader& reader, Log& log)
{
    QObject::connect(&line, &Line::received, &recorded, &RecordedBox::receive);
    QObject::connect(&recorded, &RecordedBox::chunkReady, &line, &Line::write);
    QObject::connect(&recorded, &RecordedBox::noted, &line, [&log](const QString& text) { log.note(text); });
    QObject::connect(&recorded, &RecordedBox::finished, &line, [&] {
        if (reader.error().isEmpty())
            return endSoon();
        log.error(reader.error());
        QCoreApplication::exit(BadScenario);
    });
}

// What the box hears is logged whoever answers.
void connectLine(const Line& line, Box& box, Log& log)
{
    QObject::connect(&line, &Line::received, &box, &Box::receive);
    QObject::connect(&line, &Line::lost, &box, [&log](const QString& reason) {
        log.error(reason);
        QCoreApplication::exit(NoLine);
    });
}

} // namespace

int main(int argc, char* argv[])
{
    prepareStandardStreams();
    static_cast<void>(
        std::signal(SIGTTIN, SIG_IGN)); // in the background, what is typed is the shell's: reading fails
    const QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationVersion(BOXSIM_VERSION);
    const Options options = readOptions();

    StandardOutput output;
    output.onFailure = endOver;
    Log log(output, options.json);

    Scenario scenario;
    if (!options.scenario.isEmpty())
        scenario = Scenario::read(options.scenario);
    for (const QString& error : qAsConst(scenario.errors))
        log.error(error);
    if (!scenario.errors.isEmpty())
        return BadScenario;

    CaptureReader reader;
    reader.isLenient = options.lenient;
    reader.note = [&log](const QString& text) { log.error(text); };
    const QString damage = options.replay.isEmpty() ? QString() : reader.open(options.replay);
    if (!damage.isEmpty()) {
        log.error(damage);
        return BadScenario;
    }

    // A capture that comes through a pipe may stand still, and boxsim with it: then signals end it as ever.
    const auto taken = options.replay == "-" ? std::initializer_list<int>{} : endSignals;
    const QSocketNotifier endNotifier(takeOverSignals(taken), QSocketNotifier::Read);
    QObject::connect(&endNotifier, &QSocketNotifier::activated, &app, &QCoreApplication::quit);

    Line line(options.device, options.link);
    Box box;
    Simulation simulation{box, [&](const QString& text) { log.show(text); }, [&] { line.hangUp(); }};
    Player player(simulation, scenario);
    simulation.quit = endSoon;
    simulation.log = [&](const QString& statement) { log.statement(statement); };
    connectLog(line, box, log);
    connectLine(line, box, log);
    std::optional<RecordedBox> recorded;
    if (options.replay.isEmpty())
        connectBox(line, box, player, options.exitAfterScenario);
    else
        connectRecorded(line, recorded.emplace(reader), reader, log);

    const QString error = line.open();
    if (!error.isEmpty()) {
        log.error(error);
        return NoLine;
    }
    log.ready(line.path());
    for (const Parsed& statement : options.faults)
        statement.run(simulation);

    const bool serves = !options.link.isEmpty() || !options.device.isEmpty() || !options.scenario.isEmpty() ||
                        !options.replay.isEmpty();
    Typed typed(simulation, log);
    QSocketNotifier typedNotifier(STDIN_FILENO, QSocketNotifier::Read);
    typedNotifier.setEnabled(options.replay != "-");
    QObject::connect(&typedNotifier, &QSocketNotifier::activated, &app, [&] {
        if (typed.read())
            return;
        typedNotifier.setEnabled(false);
        if (!serves)
            QCoreApplication::quit();
    });
    player.start();
    return QCoreApplication::exec();
}
