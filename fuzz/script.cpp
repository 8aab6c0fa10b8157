// What canbench reads: a script, whose commands are then carried out on a loaded plug-in.

#include "commands.h"
#include "session.h"

#include <QTemporaryFile>

#include <iostream>

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::cerr.setstate(std::ios::failbit); // what the script notes
    QTemporaryFile file;
    if (!file.open() || file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size)) < 0)
        qFatal("cannot write %s", qPrintable(file.fileName()));
    file.close();
    Session session;
    CanServiceBase& service = RecordingHost::instance().service();
    RecordingHost::instance().onWrite = [](const QByteArray&) {};
    const CarState car(service);
    const Report report([](const QString&) {}, false);
    Script script([&](const QString& line) { execute({service, car, report, script}, line); });
    bool ended = false;
    QObject::connect(&script, &Script::ended, [&] { ended = true; });
    if (!script.readFile(file.fileName()).isEmpty())
        qFatal("cannot read the script");
    for (int second = 0; second < 600 && !ended; ++second)
        session.wait(1000);
    return 0;
}
