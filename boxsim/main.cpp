#include "box.h"
#include "exitcode.h"
#include "line.h"
#include "linereader.h"
#include "log.h"
#include "note.h"
#include "options.h"
#include "process.h"
#include "recordedbox.h"
#include "scenario.h"
#include "statement.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>

#include <cerrno>
#include <csignal>
#include <optional>

namespace {

using namespace boxsim;
using namespace std::chrono_literals;

constexpr auto LastRead = 200ms;

// Ends the program when standard output cannot be written; a reader that has left a pipe is no failure.
void endOver(int error)
{
    if (error == EPIPE)
        return;
    complain("cannot write standard output: " + qt_error_string(error));
    QTimer::singleShot(0, [] { QCoreApplication::exit(CannotWrite); }); // the event loop may not run yet
}

// What the head unit has not read vanishes with the pseudo-terminal, so it is given a moment.
void endSoon()
{
    QTimer::singleShot(LastRead, &QCoreApplication::quit);
}

// Runs the statements that have been typed.
void runTyped(LineReader& typed, Ranges ranges, const Simulation& simulation, Log& log)
{
    while (const std::optional<QString> line = typed.take()) {
        if (line->isEmpty() || line->startsWith('#'))
            continue;
        const Parsed parsed = parse(*line, ranges);
        const QString shown = parsed.statement ? parsed.answer(simulation) : QString();
        log.answer(*line, typed.number(), shown, parsed.error);
    }
}

// Shows and logs what happens on the line and in the box.
void connectLog(const Line& line, const Box& box, Log& log)
{
    const auto addLog = [&log](const QString& text) { log.log(text); };
    QObject::connect(&line, &Line::sent, &box,
                     [&log](const auto& bytes, const auto& meaning) { log.bytes("tx", bytes, meaning); });
    QObject::connect(&box, &Box::unitReceived, &box,
                     [&log](const auto& bytes, const auto& meaning) { log.bytes("rx", bytes, meaning); });
    QObject::connect(&line, &Line::noted, &box, [](const QString& text) { note(text); });
    QObject::connect(&line, &Line::logged, &box, addLog);
    QObject::connect(&box, &Box::noted, &box, addLog);
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
void connectRecorded(Line& line, RecordedBox& recorded, const CaptureReader& reader)
{
    QObject::connect(&line, &Line::received, &recorded, &RecordedBox::receive);
    QObject::connect(&recorded, &RecordedBox::chunkReady, &line, &Line::write);
    QObject::connect(&recorded, &RecordedBox::noted, &line, [](const QString& text) { note(text); });
    QObject::connect(&recorded, &RecordedBox::finished, &line, [&] {
        if (reader.error().isEmpty())
            return endSoon();
        complain(reader.error());
        QCoreApplication::exit(BadArguments);
    });
}

// What the box hears is logged whoever answers.
void connectLine(const Line& line, Box& box)
{
    QObject::connect(&line, &Line::received, &box, &Box::receive);
    QObject::connect(&line, &Line::lost, &box, [](const QString& reason) {
        complain(reason);
        QCoreApplication::exit(DeviceGone);
    });
}

// Tells what is wrong with a scenario, of which nothing is played.
ExitCode tellMistakes(const Scenario& scenario)
{
    for (const QString& error : scenario.errors)
        scenario.isRead ? tellError(error, {{"note", error}}) : complain(error);
    return scenario.isRead ? BadCommand : BadArguments;
}

} // namespace

int main(int argc, char* argv[])
{
    prepareStandardStreams();
    static_cast<void>(
        std::signal(SIGTTIN, SIG_IGN)); // in the background, what is typed is the shell's: reading fails
    const QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationVersion(BOXSIM_VERSION);
    QCoreApplication::setApplicationName("boxsim");
    const Options options = readOptions(QCoreApplication::arguments());
    if (options.quiet)
        beQuiet();

    StandardOutput output;
    output.onFailure = endOver;
    Log log(output, options);

    Scenario scenario;
    if (!options.scenario.isEmpty())
        scenario = Scenario::read(options.scenario, options.ranges);
    if (!scenario.errors.isEmpty())
        return tellMistakes(scenario);

    CaptureReader reader;
    reader.isLenient = options.lenient;
    reader.note = [](const QString& text) { note(text); };
    const QString damage = options.replay.isEmpty() ? QString() : reader.open(options.replay);
    if (!damage.isEmpty()) {
        complain(damage);
        return BadArguments;
    }

    // A capture that comes through a pipe may stand still, and boxsim with it: then signals end it as ever.
    const auto taken = options.replay == "-" ? std::initializer_list<int>{} : endSignals;
    LineReader typed;
    const QSocketNotifier endNotifier(takeOverSignals(taken), QSocketNotifier::Read);
    QObject::connect(&endNotifier, &QSocketNotifier::activated, &app, [&typed](int descriptor) {
        if (takeSignal(descriptor) != SIGINT || !typed.discardTyped())
            QCoreApplication::quit();
    });

    Line line(options.device, options.link);
    Box box;
    Simulation simulation{box, [&](const QString& text) { log.show(text); }, [&] { line.hangUp(); }};
    Player player(simulation, scenario);
    simulation.quit = endSoon;
    simulation.log = [&](const QString& statement) { log.statement(statement); };
    connectLog(line, box, log);
    connectLine(line, box);
    std::optional<RecordedBox> recorded;
    if (options.replay.isEmpty())
        connectBox(line, box, player, options.exitAfterScenario);
    else
        connectRecorded(line, recorded.emplace(reader), reader);

    const QString error = line.open();
    if (!error.isEmpty()) {
        complain(error);
        return DeviceGone;
    }
    log.ready(line.path());
    for (const Parsed& statement : options.faults)
        statement.run(simulation);

    QObject::connect(&typed, &LineReader::came, &app, [&] {
        runTyped(typed, options.ranges, simulation, log);
        typed.wantMore(true);
        if (typed.isOver() && !options.outlastsInput())
            QCoreApplication::quit();
    });
    if (options.replay != "-")
        typed.listen(candidates);
    player.start();
    return QCoreApplication::exec();
}
