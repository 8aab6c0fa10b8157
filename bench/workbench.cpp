#include "workbench.h"

#include "linewatch.h"

#include <iostream>

Workbench::Workbench(CanServiceBase& service, const Report& report, bool trace)
    : script([this, &service](const QString& line) {
        execute({service, m_car, m_report, script}, line);
    })
    , m_report(report)
    , m_trace(trace)
    , m_car(service)
    , m_tap([this](const auto& signal, const auto& arguments) { script.add(show(signal, arguments)); })
{
    const LineWatch& line = LineWatch::instance();
    QObject::connect(&line, &LineWatch::received, &script,
                     [this](const QByteArray& bytes) { addBytes("rx", bytes); });
    QObject::connect(&line, &LineWatch::sent, &script,
                     [this](const QByteArray& bytes) { addBytes("tx", bytes); });
    QObject::connect(&line, &LineWatch::goneForGood, &script, [this] { script.end(DeviceGone); });
    m_tap.connectTo(service, CanServiceBase::staticMetaObject,
                    QMetaMethod::fromSignal(&CanServiceBase::notifyCanbusStatus));
    QObject::connect(&service, &CanServiceBase::notifyCanbusStatus, &script,
                     [this](int status) { showStatus(status); });
}

// Shows a signal with what it changed. Returns it as a script can expect it.
Event Workbench::show(const QString& signal, const QVector<Reading>& arguments)
{
    const QString topic = CarState::topicOf(signal);
    const QVector<Reading> changed = topic.isEmpty() ? QVector<Reading>() : m_car.takeChanges(topic);
    QStringList parts;
    for (const Reading& reading : arguments + changed)
        parts.append(reading.assignment());
    m_report.signal(signal, arguments, changed, parts);
    return {signal, parts, {}};
}

// The status comes with every frame: one that repeats the last is an event, and shown only in a trace.
void Workbench::showStatus(int status)
{
    if (status != m_status || m_trace)
        m_statusEvent = show("notifyCanbusStatus", {{{}, "status", status, {}}});
    m_status = status;
    script.add(m_statusEvent);
}

void Workbench::addBytes(const QString& direction, const QByteArray& bytes)
{
    if (m_trace || capture.isOpen()) {
        const QString line = m_report.stamp() + ' ' + direction + ' ' + bytes.toHex().toUpper();
        if (m_trace)
            std::cerr << line.toStdString() << '\n';
        if (capture.isOpen() && !capture.write(line))
            script.end(CannotWrite);
    }
    script.add({direction, {}, bytes});
}
