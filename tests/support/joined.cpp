#include "joined.h"

#include "linewatch.h"

#include <iostream>

Joined::Joined(bool json)
    : m_report([this](const QString& line) { lines.append(line); }, json)
    , m_standardError(std::cerr.rdbuf(m_told.rdbuf()))
{
    RecordingHost& host = RecordingHost::instance();
    m_bench = std::make_unique<Workbench>(host.restart(), m_report, false);
    host.onWrite = [this](const QByteArray& bytes) {
        emit LineWatch::instance().sent(bytes);
        m_toBox.send(bytes);
    };
    QObject::connect(&m_toBox, &Wire::received, &box, &boxsim::Box::receive);
    QObject::connect(&box, &boxsim::Box::chunkReady, &m_toHeadUnit, &Wire::send);
    QObject::connect(&m_toHeadUnit, &Wire::received, &box, [](const QByteArray& chunk) {
        emit LineWatch::instance().received(chunk);
        RecordingHost::instance().receive(chunk);
    });
    QObject::connect(&box, &boxsim::Box::asked,
                     [this](const QString& what) { lines.append("box: " + what); });
}

Joined::~Joined()
{
    RecordingHost::instance().onWrite = nullptr;
    std::cerr.rdbuf(m_standardError);
}

int Joined::run(const QByteArray& script)
{
    int code = -1;
    QObject::connect(&m_bench->script, &Script::ended, [&code](int ending) { code = ending; });
    m_bench->script.take({"script", script, {}});
    RecordingHost::instance().service().start();
    for (int second = 0; second < 600 && code < 0; ++second)
        VirtualClock::instance().advance(1000);
    return code;
}
