#include "workbench.h"

#include "clock.h"
#include "hostsetup.h"
#include "linewatch.h"
#include "note.h"

#include <utility>

Workbench::Workbench(CanServiceBase& service, Report& report, bool trace)
    : script([this](const QString& line) { carryOut(line); })
    , m_report(report)
    , m_trace(trace)
    , m_toHeadUnit(protocol::Description::standard(), protocol::Splitter::Receiver::HeadUnit,
                   hostSetup().carModelId)
    , m_toBox(protocol::Description::standard(), protocol::Splitter::Receiver::Box, hostSetup().carModelId)
{
    script.age = [&report] { return now() - report.begin(); };
    const LineWatch& line = LineWatch::instance();
    QObject::connect(&line, &LineWatch::received, &script,
                     [this](const QByteArray& bytes) { addBytes("rx", bytes); });
    QObject::connect(&line, &LineWatch::sent, &script,
                     [this](const QByteArray& bytes) { addBytes("tx", bytes); });
    QObject::connect(&line, &LineWatch::goneForGood, &script, [this] { script.end(DeviceGone); });
    script.answer = [this](const QString& command, int number, ExitCode code, const QString& reason) {
        const char* key = code == BadCommand ? "refused" : code == ExpectationFailed ? "failed" : "";
        m_report.answer(command, number, key, reason);
    };
    work(service);
}

void Workbench::work(CanServiceBase& service)
{
    m_service = &service;
    m_status = -1;
    m_car.emplace(service);
    m_looked.emplace(service);
    m_link.emplace();
    m_tap.emplace([this](const auto& signal, const auto& arguments) { script.add(show(signal, arguments)); });
    m_tap->connectTo(service, CanServiceBase::staticMetaObject,
                     QMetaMethod::fromSignal(&CanServiceBase::notifyCanbusStatus));
    QObject::connect(&service, &CanServiceBase::notifyCanbusStatus, &script,
                     [this](int status) { showStatus(status); });
}

void Workbench::carryOut(const QString& line)
{
    const CommandKind kind = kindOf(line);
    if (kind != CommandKind::Waiting)
        script.begin(line);
    if (kind == CommandKind::HostCall)
        call(line, hostSetup().ranges);
    else
        execute(bench(hostSetup().ranges), line);
}

// A call stands in the capture before what it brings about, and not at all where its arguments are wrong.
void Workbench::call(const QString& line, Ranges ranges)
{
    if (kindOf(line) != CommandKind::HostCall)
        throw CommandError{"no call of the host"};
    m_call = line;
    try {
        execute(bench(ranges), line);
    } catch (const CommandError&) {
        m_call.clear();
        throw;
    }
    recordCall();
}

void Workbench::recordCall()
{
    if (const QString call = std::exchange(m_call, {}); !call.isEmpty())
        record("do", call);
}

void Workbench::record(const QString& what, const QString& detail)
{
    if (capture.isOpen() && !capture.write(what, detail))
        script.end(CannotWrite);
}

// What the numbers of two signals stand for.
QString meaningOf(const QString& signal, const Reading& argument)
{
    if (signal == "notifyCanbusStatus")
        return argument.data == 3 ? "alive" : argument.data == 0 ? "lost" : "";
    static const QStringList states{"pressed", "released", "held", "released after that"};
    return signal == "keyEvent" && argument.name == "state" ? states.value(argument.data.toInt()) : QString();
}

// Shows a signal with what it changed. Returns it as a script can expect it.
Event Workbench::show(const QString& signal, QVector<Reading> arguments)
{
    m_link->addSignal();
    for (Reading& argument : arguments)
        argument.meaning = meaningOf(signal, argument);
    QVector<Reading> changed;
    for (const QString& topic : CarState::topicsOf(signal))
        changed += m_car->takeChanges(topic);
    QStringList parts;
    for (const Reading& reading : arguments + changed)
        parts.append(reading.assignment());
    m_report.signal(signal, arguments, changed, parts);
    return {signal, arguments + changed, {}};
}

// The status comes with every frame: one that repeats the last is an event, and shown only in a trace.
void Workbench::showStatus(int status)
{
    if (status != m_status || m_trace)
        m_statusEvent = show("notifyCanbusStatus", {{{}, "status", status, {}}});
    m_status = status;
    script.add(m_statusEvent);
}

// The bytes, and what the frames are that end with them.
void Workbench::trace(const QString& direction, const QString& hex, const QByteArray& bytes)
{
    protocol::Narrator& narrator = direction == "rx" ? m_toHeadUnit : m_toBox;
    narrator.setCarModel(hostSetup().carModelId);
    if (m_report.isJson())
        return m_report.bytes(direction, hex, narrator.tellKeys(bytes, now(), direction.toStdString()));
    const QString told = narrator.tell(bytes, now());
    const QString line = m_report.stamp() + ' ' + direction + ' ' + hex;
    writeError(told.isEmpty() ? line : line + "  " + told);
}

void Workbench::addBytes(const QString& direction, const QByteArray& bytes)
{
    recordCall();
    if (m_trace || capture.isOpen()) {
        const QString hex = bytes.toHex().toUpper();
        if (m_trace)
            trace(direction, hex, bytes);
        record(direction, hex);
    }
    script.add({direction, {}, bytes});
}
