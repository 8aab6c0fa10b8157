#include "commands.h"
#include "hostservices.h"
#include "linewatch.h"
#include "options.h"
#include "signaltap.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QPluginLoader>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <iostream>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

// Puts /dev/null in the place of closed standard streams, so that no file or device gets their numbers.
void openStandardStreams()
{
    int file = 0;
    while (file >= 0 && file <= STDERR_FILENO)
        file = open("/dev/null", O_RDWR);
    close(file);
}

// SIGINT, SIGTERM and SIGHUP become readable here instead of ending the process.
int takeOverSignals()
{
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGHUP);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    return signalfd(-1, &ending, SFD_CLOEXEC);
}

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
        note(QString("cannot use %1: %2; %3--plugin names another library\n  metadata: %4")
                 .arg(path, why, remedy, metaData));
    }
    return service;
}

// A capture that cannot be written is told of once, and closed.
bool write(QFile& capture, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    if (capture.isOpen() && capture.write(bytes) == bytes.size())
        return true;
    const bool isShort = capture.error() == QFile::NoError; // and QFile does not tell why
    note(QString("cannot write %1: %2")
             .arg(capture.fileName(), isShort ? qt_error_string(errno) : capture.errorString()));
    capture.close();
    return false;
}

// Unbuffered, so that a capture holds what happened before a crash.
bool openCapture(QFile& capture, const QString& purpose)
{
    capture.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered);
    const QString header = "# date: %1\n# line: 38400 baud, 8N1\n# car model: %2, index %3\n# purpose: %4\n"
                           "# (seconds.micros) rx|tx HEX; rx is what the head unit received\n";
    const HostSetup& setup = hostSetup();
    return write(capture, header.arg(QDateTime::currentDateTimeUtc().toString(Qt::ISODate))
                              .arg(setup.carModelId)
                              .arg(setup.carModelIndex)
                              .arg(purpose));
}

// Shows a signal with what it changed. Returns it as a script can expect it.
Event show(const Report& report, CarState& car, const QString& signal, const QVector<Reading>& arguments)
{
    const QString topic = CarState::topicOf(signal);
    const QVector<Reading> changed = topic.isEmpty() ? QVector<Reading>() : car.takeChanges(topic);
    QStringList parts;
    for (const Reading& reading : arguments + changed)
        parts.append(reading.assignment());
    report.signal(signal, arguments, changed, parts);
    return {signal, parts, {}};
}

// Writes down the bytes of both directions, and tells the script of them and of a line that is gone for good.
void connectLine(const Options& options, const Report& report, Script& script, QFile& capture)
{
    const auto onBytes = [&](const QString& direction, const QByteArray& bytes) {
        if (options.trace || capture.isOpen()) {
            const QString line = report.stamp() + ' ' + direction + ' ' + bytes.toHex().toUpper() + '\n';
            if (options.trace)
                std::cerr << line.toStdString();
            if (capture.isOpen() && !write(capture, line))
                script.end(CannotWrite);
        }
        script.add({direction, {}, bytes});
    };
    LineWatch& line = LineWatch::instance();
    QObject::connect(&line, &LineWatch::received, &script,
                     [=](const QByteArray& bytes) { onBytes(QStringLiteral("rx"), bytes); });
    QObject::connect(&line, &LineWatch::sent, &script,
                     [=](const QByteArray& bytes) { onBytes(QStringLiteral("tx"), bytes); });
    QObject::connect(&line, &LineWatch::goneForGood, &script, [&] { script.end(DeviceGone); });
}

// The status comes with every frame: one that repeats the last is an event, and shown only with @p all.
void connectStatus(CanServiceBase& service, const Report& report, CarState& car, Script& script, bool all)
{
    const auto onStatus = [&, all, last = -1, event = Event()](int status) mutable {
        if (status != last || all)
            event = show(report, car, "notifyCanbusStatus", {{{}, "status", status, {}}});
        last = status;
        script.add(event);
    };
    QObject::connect(&service, &CanServiceBase::notifyCanbusStatus, &script, onStatus);
}

int run(const Options& options, CanServiceBase& service)
{
    QFile capture(options.record);
    Report report(options.json);
    CarState car(service);
    Script script([&](const QString& line) { execute({service, car, report, script}, line); });
    QObject::connect(&script, &Script::ended, &QCoreApplication::exit);
    report.onFailure = [&](const QString& why) {
        note("cannot write standard output: " + why);
        script.end(CannotWrite);
    };
    connectLine(options, report, script, capture);
    SignalTap tap([&](const QString& signal, const QVector<Reading>& arguments) {
        script.add(show(report, car, signal, arguments));
    });
    tap.connectTo(service, CanServiceBase::staticMetaObject,
                  QMetaMethod::fromSignal(&CanServiceBase::notifyCanbusStatus));
    connectStatus(service, report, car, script, options.trace);

    if (options.script.isEmpty()) {
        script.readStandardInput();
    } else if (const QString error = script.readFile(options.script); !error.isEmpty()) {
        note(QString("cannot read %1: %2").arg(options.script, error));
        return BadArguments;
    }
    if (!options.record.isEmpty() && !openCapture(capture, options.purpose))
        return BadArguments;
    // Only now that the files are open, since that waits where one is a pipe.
    QSocketNotifier signalled(takeOverSignals(), QSocketNotifier::Read);
    QObject::connect(&signalled, &QSocketNotifier::activated, &script, &Script::interrupt);
    service.start();
    const int code = QCoreApplication::exec();
    service.stop();
    const bool isWritten = std::cout && (options.record.isEmpty() || capture.isOpen());
    return isWritten ? code : CannotWrite;
}

} // namespace

int main(int argc, char* argv[])
{
    openStandardStreams();
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); // a reader that has gone is an error of writing
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& text) {
        std::cerr << text.toStdString() << '\n';
    });
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName("canbench");
    QCoreApplication::setApplicationVersion(CANBENCH_VERSION);
    const Options options = readOptions(QCoreApplication::arguments());
    if (!options.log)
        QLoggingCategory::setFilterRules("default.debug=false");
    selectLanguage(options.language);
    const std::unique_ptr<CanServiceBase> service(loadService(hostSetup().pluginPath));
    return service ? run(options, *service) : NoPlugin;
}
