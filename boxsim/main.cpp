#include "box.h"
#include "line.h"
#include "log.h"
#include "scenario.h"
#include "statement.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSocketNotifier>
#include <QTimer>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

using namespace boxsim;

constexpr int LastReadMs = 200;

const char* const About =
    "Simulates the CAN box of a car on a serial line. The first line on stdout is the path that the head "
    "unit\n"
    "opens; stdout then tells what the head unit asked of the car, stderr logs the bytes of both "
    "directions.\n"
    "Statements that change the car are read from stdin; type help to list them.\n\n"
    "Exit codes: 0 ended by quit, by a signal, by the end of stdin or of the scenario; 1 wrong usage;\n"
    "2 the line cannot be opened or is lost; 3 mistakes in the scenario; 4 stdout cannot be written.";

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
    parser.setApplicationDescription(QString::fromLatin1(About));
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
        error = QStringLiteral("Unexpected argument '%1'.").arg(parser.positionalArguments().constFirst());
    else if (!options.device.isEmpty() && !options.link.isEmpty())
        error = QStringLiteral("--link goes with a pseudo-terminal, not with --port.");
    else if (options.exitAfterScenario && options.scenario.isEmpty())
        error = QStringLiteral("--exit-after-scenario needs --scenario.");
    for (const char* name : {"port", "link", "scenario"})
        if (parser.isSet(name) && parser.value(name).isEmpty())
            error = QStringLiteral("--%1 needs a value.").arg(name);
    if (!error.isEmpty()) {
        logError(error + QStringLiteral(" See boxsim --help."));
        ::exit(Usage);
    }
    return options;
}

/// Opens those of the standard streams that are closed, or the line would become one of them.
void openStandardStreams()
{
    int fd = 0;
    do
        fd = ::open("/dev/null", O_RDWR);
    while (fd >= 0 && fd <= STDERR_FILENO);
    ::close(fd);
}

/// A descriptor that becomes readable when the process is asked to end.
int endSignals()
{
    sigset_t ending;
    sigemptyset(&ending);
    for (int number : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&ending, number);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    (void)std::signal(SIGPIPE, SIG_IGN); // who reads the log may leave
    (void)std::signal(SIGTTIN, SIG_IGN); // in the background, what is typed is the shell's: reading fails
    return signalfd(-1, &ending, SFD_CLOEXEC);
}

/// Runs the statements that are typed on stdin.
class Typed
{
public:
    explicit Typed(Box& box)
        : m_box(box)
    {
    }

    /// Takes what there is. @return false at the end of input.
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
            parsed.run(m_box);
        else
            logError(QStringLiteral("stdin:%1: %2").arg(m_number).arg(parsed.error));
    }

    Box& m_box;
    QByteArray m_pending;
    int m_number = 0;
};

} // namespace

int main(int argc, char* argv[])
{
    openStandardStreams();
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

    const QSocketNotifier endNotifier(endSignals(), QSocketNotifier::Read);
    QObject::connect(&endNotifier, &QSocketNotifier::activated, &app, &QCoreApplication::quit);

    Line line(options.device, options.link);
    Box box;
    Player player(box, scenario);
    QElapsedTimer clock;
    clock.start();
    QObject::connect(&line, &Line::received, &box,
                     [&](const QByteArray& chunk) { box.receive(chunk, clock.elapsed()); });
    QObject::connect(&line, &Line::lost, &app, [](const QString& reason) {
        logError(reason);
        QCoreApplication::exit(NoLine);
    });
    QObject::connect(&box, &Box::chunkReady, &line, &Line::write);
    QObject::connect(&box, &Box::hangUpWanted, &line, &Line::hangUp);
    // What the head unit has not read vanishes with the pseudo-terminal, so it is given a moment.
    const auto endSoon = [] { QTimer::singleShot(LastReadMs, &QCoreApplication::quit); };
    const auto endAfterKeys = [&] {
        QTimer::singleShot(static_cast<int>(box.keysReleased.remainingTime()), endSoon);
    };
    QObject::connect(&box, &Box::quitWanted, &app, endSoon);
    QObject::connect(&box, &Box::awaitStartWanted, &player, &Player::hold);
    QObject::connect(&box, &Box::announced, &player, &Player::resume);
    if (options.exitAfterScenario)
        QObject::connect(&player, &Player::finished, &app, endAfterKeys);

    const QString error = line.open();
    if (!error.isEmpty()) {
        logError(error);
        return NoLine;
    }
    show(line.path());
    logNote(QStringLiteral("ready"));

    const bool serves = !options.link.isEmpty() || !options.device.isEmpty() || !options.scenario.isEmpty();
    Typed typed(box);
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
