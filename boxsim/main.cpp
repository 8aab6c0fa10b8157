#include "box.h"
#include "clock.h"
#include "exitcode.h"
#include "line.h"
#include "process.h"
#include "scenario.h"
#include "statement.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>

#include <array>
#include <cerrno>
#include <csignal>
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
    "Exit codes: 0 ended by quit, by a signal, by the end of stdin or of the scenario; 1 wrong usage;\n"
    "2 the line cannot be opened or is lost; 3 mistakes in the scenario; 4 stdout cannot be written.";

// Reports a mistake on standard error.
void logError(const QString& text)
{
    printLine(stderr, text);
}

// Logs an event on standard error, with its time.
void logNote(const QString& text)
{
    printLine(stderr, stamp(now()) + ' ' + text);
}

// Logs bytes of the line: "rx" or "tx", hex, what they mean.
void logBytes(const QString& direction, const QByteArray& bytes, const QString& meaning)
{
    logNote(direction + ' ' + bytes.toHex(' ').toUpper() + "  " + meaning);
}

// Ends the program when standard output cannot be written; a reader that has left a pipe is no failure.
void endOver(int error)
{
    if (error == EPIPE)
        return;
    logError("cannot write standard output: " + qt_error_string(error));
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
};

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
    });
    const bool understood = parser.parse(QCoreApplication::arguments());
    if (understood && parser.isSet("help"))
        parser.showHelp(Ended);
    if (understood && parser.isSet("version"))
        parser.showVersion();
    Options options{parser.value("port"), parser.value("link"), parser.value("scenario"),
                    parser.isSet("exit-after-scenario")};
    QString error = understood ? QString() : parser.errorText();
    if (!parser.positionalArguments().isEmpty())
        error = QString("Unexpected argument '%1'.").arg(parser.positionalArguments().constFirst());
    else if (!options.device.isEmpty() && !options.link.isEmpty())
        error = "--link goes with a pseudo-terminal, not with --port.";
    else if (options.exitAfterScenario && options.scenario.isEmpty())
        error = "--exit-after-scenario needs --scenario.";
    for (const char* name : {"port", "link", "scenario"})
        if (parser.isSet(name) && parser.value(name).isEmpty())
            error = QString("--%1 needs a value.").arg(name);
    if (!error.isEmpty()) {
        logError(error + " See boxsim --help.");
        ::exit(Usage);
    }
    return options;
}

// Runs the statements that are typed on stdin.
class Typed
{
public:
    explicit Typed(Simulation& simulation)
        : m_simulation(simulation)
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
        if (parsed.statement)
            parsed.run(m_simulation);
        else
            logError(QString("stdin:%1: %2").arg(m_number).arg(parsed.error));
    }

    Simulation& m_simulation;
    QByteArray m_pending;
    int m_number = 0;
};

// Shows and logs what happens on the line and in the box.
void connectLog(const Line& line, const Box& box, StandardOutput& output)
{
    QObject::connect(&line, &Line::sent, &box,
                     [](const auto& bytes, const auto& meaning) { logBytes("tx", bytes, meaning); });
    QObject::connect(&box, &Box::unitReceived, &box,
                     [](const auto& bytes, const auto& meaning) { logBytes("rx", bytes, meaning); });
    QObject::connect(&line, &Line::noted, &box, logNote);
    QObject::connect(&box, &Box::noted, &box, logNote);
    QObject::connect(&box, &Box::asked, &box, [&output](const QString& what) { output.print(what); });
}

// Joins the box to its line, and the scenario to the head unit's announcement.
void connectBox(Line& line, Box& box, Player& player, bool exitAfterScenario)
{
    QObject::connect(&line, &Line::received, &box, &Box::receive);
    QObject::connect(&box, &Box::chunkReady, &line, &Line::write);
    QObject::connect(&line, &Line::lost, &box, [](const QString& reason) {
        logError(reason);
        QCoreApplication::exit(NoLine);
    });
    QObject::connect(&box, &Box::announced, &player, &Player::resume);
    if (exitAfterScenario)
        QObject::connect(&player, &Player::finished, &box,
                         [&box] { QTimer::singleShot(box.keysHeldFor(), &box, endSoon); });
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

    Scenario scenario;
    if (!options.scenario.isEmpty())
        scenario = Scenario::read(options.scenario);
    for (const QString& error : qAsConst(scenario.errors))
        logError(error);
    if (!scenario.errors.isEmpty())
        return BadScenario;

    const QSocketNotifier endNotifier(takeOverEndSignals(), QSocketNotifier::Read);
    QObject::connect(&endNotifier, &QSocketNotifier::activated, &app, &QCoreApplication::quit);

    StandardOutput output;
    output.onFailure = endOver;
    Line line(options.device, options.link);
    Box box;
    Simulation simulation{box, [&](const QString& text) { output.print(text); }, [&] { line.hangUp(); }};
    Player player(simulation, scenario);
    simulation.awaitStart = [&] { player.hold(); };
    simulation.quit = endSoon;
    connectLog(line, box, output);
    connectBox(line, box, player, options.exitAfterScenario);

    const QString error = line.open();
    if (!error.isEmpty()) {
        logError(error);
        return NoLine;
    }
    output.print(line.path());
    logNote("ready");

    const bool serves = !options.link.isEmpty() || !options.device.isEmpty() || !options.scenario.isEmpty();
    Typed typed(simulation);
    QSocketNotifier typedNotifier(STDIN_FILENO, QSocketNotifier::Read);
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
