// What canbench reads: a script, which is checked, and whose commands are then carried out on a loaded
// plug-in.

#include "commands.h"
#include "session.h"

#include <iostream>

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::cerr.setstate(std::ios::failbit); // what the script notes
    const ScriptFile file{
        "script", QByteArray(reinterpret_cast<const char*>(data), static_cast<int>(size)), {}};
    mistakesIn(file, {true, true});
    Session session;
    CanServiceBase& service = RecordingHost::instance().service();
    RecordingHost::instance().onWrite = [](const QByteArray&) {};
    CarState car(service);
    const LinkState link;
    Report report([](const QString&) {}, false);
    Script script([&](const QString& line) { execute({service, car, link, report, script}, line); });
    bool ended = false;
    QObject::connect(&script, &Script::ended, [&] { ended = true; });
    script.take(file);
    for (int second = 0; second < 600 && !ended; ++second)
        session.wait(1000);
    return 0;
}
