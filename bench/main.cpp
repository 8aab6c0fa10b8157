#include "hostsetup.h"
#include "languages.h"
#include "note.h"
#include "options.h"
#include "process.h"
#include "workbench.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QPluginLoader>
#include <QSocketNotifier>

#include <iostream>
#include <memory>

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
        note(QString("cannot use %1: %2; %3--plugin names another library\n  metadata: %4")
                 .arg(path, why, remedy, metaData));
    }
    return service;
}

int run(const Options& options, CanServiceBase& service)
{
    StandardOutput output;
    const Report report([&](const QString& line) { output.print(line); }, options.json);
    Workbench bench(service, report, options.trace);
    output.onFailure = [&](int error) {
        note("cannot write standard output: " + qt_error_string(error));
        bench.script.end(CannotWrite);
    };
    QObject::connect(&bench.script, &Script::ended, &QCoreApplication::exit);
    if (options.script.isEmpty()) {
        bench.script.readStandardInput();
    } else if (const QString error = bench.script.readFile(options.script); !error.isEmpty()) {
        note(QString("cannot read %1: %2").arg(options.script, error));
        return BadArguments;
    }
    if (!options.record.isEmpty() && !bench.capture.open(options.record, options.purpose))
        return BadArguments;
    // Only now that the files are open, since that waits where one is a pipe.
    QSocketNotifier signalled(takeOverEndSignals(), QSocketNotifier::Read);
    QObject::connect(&signalled, &QSocketNotifier::activated, &bench.script, &Script::interrupt);
    service.start();
    const int code = QCoreApplication::exec();
    service.stop();
    const bool isWritten = output.isIntact() && (options.record.isEmpty() || bench.capture.isOpen());
    return isWritten ? code : CannotWrite;
}

} // namespace

int main(int argc, char* argv[])
{
    prepareStandardStreams();
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
