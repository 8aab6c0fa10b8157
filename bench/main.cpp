#include "boxline.h"
#include "deviceline.h"
#include "hostsetup.h"
#include "languages.h"
#include "linewatch.h"
#include "note.h"
#include "options.h"
#include "playback.h"
#include "process.h"
#include "replayline.h"
#include "virtualclock.h"
#include "watcher.h"
#include "workbench.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QPluginLoader>
#include <QPointer>
#include <QScopeGuard>
#include <QSocketNotifier>

#include <csignal>
#include <memory>

using namespace std::chrono_literals;

namespace {

// Every symbol is resolved at once, so that one that the bench lacks is named here and not met later.
CanServiceBase* loadService(const QString& path)
{
    QPluginLoader loader(path);
    loader.setLoadHints(QLibrary::ResolveAllSymbolsHint);
    QObject* instance = loader.instance();
    auto* service = qobject_cast<CanServiceBase*>(instance);
    if (!service) {
        const QString other("its interface is %1, canbench's is " CanServiceBase_iid
                            " (set at configure time, -DCANSERVICE_IID)");
        const QString why =
            instance ? other.arg(loader.metaData().value("IID").toString()) : loader.errorString();
        const QString metaData = QJsonDocument(loader.metaData()).toJson(QJsonDocument::Compact);
        const QString remedy = QFile::exists(path) ? "" : "the package canservice-toyota has the plug-in; ";
        complain(QString("cannot use %1: %2; %3--plugin names another library\n  metadata: %4")
                     .arg(path, why, remedy, metaData));
    }
    return service;
}

// Tells what canbench, or the script, runs on and, who types, how both ends are worked. @p kind and @p path
// are the line's for JSON.
void tell(const ScriptFile* script, const char* kind, const QString& path, const QString& line,
          const QString& otherEnd)
{
    const VirtualClock* clock = VirtualClock::installed();
    const bool isScaled = clock && clock->pace() > 0;
    const QString time = !clock     ? "in real time"
                         : isScaled ? QString("at speed %1").arg(clock->pace())
                                    : "in virtual time";
    const QString carModel = hostSetup().carModels.describe(hostSetup().carModelId);
    const QString place = QString("on %1, car model %2, %3").arg(line, carModel, time);
    note(script ? script->name + ' ' + place
                : place + "; type \"help\" for the head unit's commands, " + otherEnd,
         {{"program", "canbench"},
          {"version", CANBENCH_VERSION},
          {"on", kind},
          {"path", path},
          {"carModel", hostSetup().carModelId},
          {"clock", !clock     ? "real"
                    : isScaled ? "scaled"
                               : "virtual"}});
}

// Opens the capture and takes from it what the command line does not tell of the car.
QString openCapture(CaptureReader& reader, const Options& options)
{
    reader.isLenient = options.lenient;
    reader.note = [](const QString& text) { note(text); };
    HostSetup& setup = hostSetup();
    QString error = reader.open(options.replay);
    if (setup.carModelId == HostSetup::NotTold)
        setup.carModelId = reader.header().carModel.value_or(HostSetup::NotTold);
    if (setup.carModelIndex == HostSetup::NotTold)
        setup.carModelIndex = reader.header().carModelIndex.value_or(255);
    if (error.isEmpty() && setup.carModelId == HostSetup::NotTold)
        return options.replay + " does not tell the car model; name it with --car-model";
    return error;
}

// What the line of the set-up leads to.
QString lineName(const Options& options)
{
    if (!options.replay.isEmpty())
        return "the capture " + options.replay;
    return hostSetup().device.isEmpty() ? "a simulated box inside" : hostSetup().device;
}

// The line of the set-up.
std::unique_ptr<SerialLine> makeLine(const Options& options, const ScriptFile* script)
{
    if (!options.replay.isEmpty()) {
        tell(script, "capture", options.replay, lineName(options),
             "\"pause\", \"seek\", \"speed\" and \"step\" work the capture");
        return std::make_unique<ReplayLine>();
    }
    if (!hostSetup().device.isEmpty()) {
        tell(script, "device", hostSetup().device, lineName(options), "its other end is worked there");
        auto line = std::make_unique<DeviceLine>(hostSetup().device, hostSetup().giveUp);
        QObject::connect(line.get(), &DeviceLine::goneForGood, &LineWatch::instance(),
                         &LineWatch::goneForGood);
        QObject::connect(line.get(), &DeviceLine::absent, &LineWatch::instance(), &LineWatch::absent);
        QObject::connect(line.get(), &DeviceLine::present, &LineWatch::instance(), &LineWatch::present);
        if (!hostSetup().waitsForDevice)
            line->endAtOnce("--wait waits for it");
        return line;
    }
    tell(script, "box", {}, lineName(options), "\"box help\" for the box's, as in box door front-left open");
    return std::make_unique<BoxLine>();
}

// Reads and checks all scripts before anything happens. Returns how canbench ends over what is wrong.
ExitCode readScripts(const Options& options, QVector<ScriptFile>& scripts)
{
    QStringList mistakes;
    const BenchParts parts{hostSetup().device.isEmpty() && options.replay.isEmpty(),
                           !options.replay.isEmpty(), hostSetup().ranges};
    for (const QString& name : options.scripts) {
        const ScriptFile script = ScriptFile::read(name);
        if (!script.error.isEmpty()) {
            complain(QString("cannot read %1: %2").arg(name, script.error));
            return BadArguments;
        }
        mistakes += mistakesIn(script, parts);
        scripts.append(script);
    }
    for (const QString& mistake : qAsConst(mistakes))
        tellError(mistake, {});
    return mistakes.isEmpty() ? CleanEnd : BadCommand;
}

// The head unit whose plug-in @p service holds, as a capture on @p line is played to it.
PlayedHeadUnit headUnit(ReplayLine& line, std::unique_ptr<CanServiceBase>& service)
{
    const auto renew = [&service, carModel = hostSetup().carModelId]() -> CanServiceBase& {
        hostSetup().carModelId = carModel;
        service.reset(); // first, since the library makes one instance
        service.reset(loadService(hostSetup().pluginPath));
        return *service;
    };
    return {[&line](const QByteArray& chunk) { line.receive(chunk); }, renew};
}

// What a command may wait for bytes on their way: longer than any one takes, for a box can flood the line.
constexpr auto LongestSettling = 10s;

// What the capture is to be, with the car of the moment.
CaptureOptions capturedCar(CaptureOptions capture)
{
    capture.carModel = hostSetup().carModelId;
    capture.carModelIndex = hostSetup().carModelIndex;
    return capture;
}

// Lets signals of the process end the script and open the capture anew. A capture that comes through a pipe
// may stand still, and canbench with it: then the signals end the process, as ever.
void connectSignals(Workbench& bench, const std::function<void()>& interrupt, const Options& options)
{
    const auto notifier = [&bench](std::initializer_list<int> numbers) {
        const int descriptor = takeOverSignals(numbers);
        QObject::connect(&bench.script, &QObject::destroyed, [descriptor] { close(descriptor); });
        return new QSocketNotifier(descriptor, QSocketNotifier::Read, &bench.script);
    };
    const auto take = [&bench, interrupt](int descriptor) {
        if (takeSignal(descriptor) != SIGINT || !bench.script.discardTyped())
            interrupt();
    };
    if (options.replay != "-")
        QObject::connect(notifier(endSignals), &QSocketNotifier::activated, &bench.script, take);
    QObject::connect(notifier({SIGUSR1}), &QSocketNotifier::activated, &bench.script,
                     [&bench, capture = options.capture](int descriptor) {
                         takeSignal(descriptor);
                         if (bench.capture.isOpen())
                             bench.capture.openAnew(capturedCar(capture));
                     });
}

// Runs the head unit until its script ends. Returns the exit code, but for what could not be written.
int work(Workbench& bench, Report& report, const Options& options, std::unique_ptr<CanServiceBase>& service,
         SerialLine& line, CaptureReader& reader)
{
    std::optional<Playback> playback;
    if (auto* replayed = dynamic_cast<ReplayLine*>(&line))
        playback.emplace(reader, bench, report, headUnit(*replayed, service), options.playback);
    else if (VirtualClock* clock = VirtualClock::installed())
        bench.script.settle = [clock] { clock->passClaims(LongestSettling); };
    if (options.playback.steps)
        bench.script.emptyLine = "step";
    if (options.check)
        playback->startCheck();
    service->start();
    if (playback)
        playback->start();
    const int code = QCoreApplication::exec();
    service->stop();
    note(bench.link().summary());
    if (const QString diagnosis = bench.link().diagnosis(); !diagnosis.isEmpty())
        complain(diagnosis);
    const bool isAsRecorded = !playback || playback->finishCheck();
    return isAsRecorded || code != CleanEnd ? code : ExpectationFailed;
}

void tellUnwritten(int error)
{
    complain("cannot write standard output: " + qt_error_string(error));
}

struct Ending
{
    int code;
    bool isLast = true; // no other script can run
};

// Joins the head unit to what it reads and writes: @p script or, where that is nullptr, standard input.
Ending serve(const Options& options, const ScriptFile* script, Report& report, Report::Print& print,
             StandardOutput& output, std::unique_ptr<CanServiceBase>& service, SerialLine& line,
             CaptureReader& reader)
{
    if (!output.isIntact())
        return {CannotWrite};
    const bool isRecording = !options.capture.path.isEmpty();
    Workbench bench(*service, report, options.trace);
    if (auto* inside = qobject_cast<BoxLine*>(&line)) {
        QObject::connect(inside, &BoxLine::said, &bench.script,
                         [shown = &report](const QString& text) { shown->box(text); });
        QObject::connect(inside, &BoxLine::hit, &bench.script,
                         [shown = &report](const boxsim::Hit& hit) { shown->fault(hit); });
    }
    output.onFailure = [running = QPointer<Script>(&bench.script)](int error) {
        tellUnwritten(error);
        if (running) // the plug-in goes after it, and may still have something to tell
            running->end(CannotWrite);
    };
    // Queued, since what ends the script may happen before the event loop runs.
    std::optional<Watcher> watcher;
    const auto end = [&watcher](int code) { watcher ? watcher->stand(code) : QCoreApplication::exit(code); };
    QObject::connect(&bench.script, &Script::ended, qApp, end, Qt::QueuedConnection);
    if (script)
        bench.script.take(*script);
    else if (options.replay != "-" && !options.watch) // else these take up standard input
        bench.script.readStandardInput(options.json, candidates);
    if (!options.replay.isEmpty())
        report.restart(reader.header().date);
    if (isRecording && !bench.capture.open(capturedCar(options.capture), report.begin()))
        return {BadArguments};
    if (options.watch)
        watcher.emplace(bench, print, lineName(options), script != nullptr);
    const auto interrupt = [&] { watcher ? watcher->quit() : bench.script.interrupt(); };
    connectSignals(bench, interrupt,
                   options); // only now that the files are open, since that waits where one is a pipe
    const int code = work(bench, report, options, service, line, reader);
    const bool isWritten = output.isIntact() && (!isRecording || bench.capture.isOpen());
    if (!isWritten)
        return {CannotWrite};
    const bool isJudged = code == CleanEnd || code == ExpectationFailed || code == BadCommand;
    return {code, !isJudged || bench.script.isInterrupted()};
}

// Runs the head unit once.
Ending run(const Options& options, const ScriptFile* script, CaptureReader& reader)
{
    StandardOutput output;
    output.onFailure = tellUnwritten;
    Report::Print print = [&](const QString& text) {
        clearProgress();
        if (options.capture.path == "-")
            printLine(stderr, text);
        else
            output.print(text);
    };
    Report report([&print](const QString& text) { print(text); }, options.json,
                  options.replay.isEmpty() ? dateOf(now()) : reader.header().date);
    onTold = [&report](const QJsonObject& keys) { report.event(keys); };
    const auto deaf = qScopeGuard([] { onTold = [](const QJsonObject&) {}; });
    const std::unique_ptr<SerialLine> line = makeLine(options, script);
    hostSetup().line = line.get();
    std::unique_ptr<CanServiceBase> service(loadService(hostSetup().pluginPath));
    return service ? serve(options, script, report, print, output, service, *line, reader) : Ending{NoPlugin};
}

// Runs each script with a plug-in and a line of its own, or standard input. Returns the first exit code that
// is no clean end.
int runAll(const Options& options, const QVector<ScriptFile>& scripts, CaptureReader& reader)
{
    if (scripts.isEmpty())
        return run(options, nullptr, reader).code;
    int code = CleanEnd;
    int done = 0;
    int failures = 0;
    for (const int carModel = hostSetup().carModelId; done < scripts.size(); ++done) {
        hostSetup().carModelId = carModel;
        if (done > 0 && !options.replay.isEmpty() && !reader.rewind()) {
            complain(reader.error());
            return BadArguments;
        }
        const Ending ending = run(options, &scripts[done], reader);
        failures += ending.code == CleanEnd ? 0 : 1;
        code = code == CleanEnd ? ending.code : code;
        if (ending.isLast)
            return ending.code;
    }
    if (done > 1)
        note(QString("%1 scripts, %2 failed").arg(done).arg(failures));
    return code;
}

// Shows the car models that --car-model list asks for.
ExitCode listCarModels(const QString& word, bool isJson)
{
    const CarModels& models = hostSetup().carModels;
    if (models.names().isEmpty()) {
        complain("no car models are known: " + hostSetup().pluginPath + " cannot be used, or declares none");
        return NoPlugin;
    }
    const QList<int> ids = models.find(word);
    if (ids.isEmpty()) {
        complain(models.refusal(word));
        return BadArguments;
    }
    StandardOutput output;
    output.onFailure = tellUnwritten;
    const JsonLines lines(now(), dateOf(now()));
    for (int id : isJson ? ids : QList<int>())
        output.print(lines.line(models.keysOf(id)));
    if (!isJson)
        output.print(models.table(ids).join('\n'));
    return output.isIntact() ? CleanEnd : CannotWrite;
}

// Logs what Qt and the plug-in have to tell.
void handleMessage(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    static constexpr const char* levels[] = {"debug", "warning", "critical", "fatal", "info"};
    tellError(text, {{"log", text}, {"level", levels[type]}});
}

} // namespace

int main(int argc, char* argv[])
{
    prepareStandardStreams();
    qInstallMessageHandler(handleMessage);
    if (VirtualClock* clock = clockFor(QStringList(argv, argv + argc)))
        QCoreApplication::setEventDispatcher(clock);
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName("canbench");
    QCoreApplication::setApplicationVersion(CANBENCH_VERSION);
    const Options options = readOptions(QCoreApplication::arguments());
    if (options.quiet)
        beQuiet();
    if (!options.log)
        QLoggingCategory::setFilterRules("default.debug=false");
    selectLanguage(options.language);
    if (options.listedModels)
        return listCarModels(*options.listedModels, options.json);
    QVector<ScriptFile> scripts;
    const ExitCode ending = readScripts(options, scripts);
    if (ending != CleanEnd || options.checksScripts)
        return ending;
    CaptureReader reader;
    const QString error = options.replay.isEmpty() ? QString() : openCapture(reader, options);
    if (!error.isEmpty()) {
        complain(error);
        return BadArguments;
    }
    return runAll(options, scripts, reader);
}
