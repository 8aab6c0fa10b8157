#include "playback.h"

#include "clock.h"
#include "linewatch.h"
#include "note.h"

#include <algorithm>

using namespace std::chrono;

Playback::Playback(CaptureReader& reader, Workbench& bench, Report& report, PlayedHeadUnit headUnit,
                   Options options)
    : m_reader(reader)
    , m_bench(bench)
    , m_report(report)
    , m_headUnit(std::move(headUnit))
    , m_options(options)
    , m_replay(reader)
    , m_end(options.to ? options.to : reader.endTime())
{
    reader.note = [](const QString& text) { note(text); };
    bench.playback = this;
    bench.script.outlastInput();
    m_replay.end = options.to;
    m_replay.longestGap = options.longestGap;
    connect(&m_replay, &Replay::due, this, &Playback::play);
    connect(&m_replay, &Replay::arrived, this, &Playback::arrive);
    connect(&m_replay, &Replay::finished, this, &Playback::finish);
}

void Playback::start()
{
    m_beganAt = realTime();
    m_replay.start();
    if (m_options.steps)
        m_replay.pause();
    if (m_options.from > 0ns)
        seek(m_options.from);
}

void Playback::resume()
{
    m_isStepping = false;
    m_replay.resume();
}

void Playback::seek(Time time)
{
    m_pausesThere = m_replay.isPaused();
    if (time < m_replay.time()) {
        if (!m_reader.rewind())
            throw CommandError{"this capture is read from a pipe and cannot go back"};
        renew();
        m_replay.start();
    }
    m_report.setMuted(true);
    m_bench.script.hold();
    m_replay.rush(time);
}

void Playback::arrive()
{
    m_report.setMuted(false);
    if (m_pausesThere)
        m_replay.pause();
    m_bench.script.release();
}

void Playback::step()
{
    m_isStepping = true;
    m_bench.script.hold();
    m_replay.rush(Time::max() / 2);
}

// Puts a fresh plug-in in the place of the one that has seen what is played again.
void Playback::renew()
{
    m_report.restart(m_reader.header().date);
    m_frames = {};
    if (m_check)
        m_check.emplace();
    CanServiceBase& service = m_headUnit.renew();
    m_bench.work(service);
    service.start();
}

void Playback::startCheck()
{
    m_check.emplace();
    connect(&LineWatch::instance(), &LineWatch::sent, this,
            [this](const QByteArray& bytes) { m_check->add(m_replay.time(), bytes); });
}

void Playback::play(const CaptureRecord& record)
{
    showProgress();
    switch (record.kind) {
    case CaptureRecord::Received:
        receive(record.bytes);
        break;
    case CaptureRecord::Sent:
        if (m_check)
            m_check->expect(record.time, record.bytes);
        break;
    case CaptureRecord::Call:
        call(record);
        break;
    }
}

void Playback::receive(const QByteArray& chunk)
{
    if (m_check)
        m_check->countChunk();
    m_headUnit.receive(chunk);
    if (!m_isStepping)
        return;
    const auto isFrame = [](const boxsim::Received& unit) { return unit.kind == boxsim::Received::Good; };
    const auto units = m_frames.feed(chunk, floor<milliseconds>(m_replay.time()).count());
    if (std::any_of(units.begin(), units.end(), isFrame))
        endStep();
}

void Playback::endStep()
{
    m_isStepping = false;
    m_replay.pause();
    m_bench.script.release();
}

void Playback::call(const CaptureRecord& record)
{
    try {
        m_bench.call(record.call, Ranges::Ignored); // it was made once
        m_report.call(record.call, record.line);
    } catch (const CommandError& error) {
        const QString text =
            m_reader.place(record.line) + QString("cannot do \"%1\": %2").arg(record.call, error.text);
        m_reader.isLenient ? note(text) : endOver(text);
    }
}

void Playback::finish()
{
    if (!m_reader.error().isEmpty())
        return endOver(m_reader.error());
    if (++m_passes != m_options.passes) {
        if (!m_reader.rewind())
            return endOver(m_reader.error());
        renew();
        return start();
    }
    clearProgress();
    if (m_check)
        m_check->stopAdding();
    m_bench.script.finish();
}

void Playback::endOver(const QString& error)
{
    complain(error);
    m_bench.script.end(BadArguments);
}

// How much of the capture is played.
QString Playback::portion() const
{
    const auto inSeconds = [](Time time) { return QString::number(duration<double>(time).count(), 'f', 1); };
    const QString played = inSeconds(m_replay.time()) + " s";
    return m_end ? played + " of " + inSeconds(*m_end) + " s" : played;
}

QString Playback::progress() const
{
    return QString("%1, speed %2%3")
        .arg(portion(), speed() > 0 ? QString::number(speed()) : "max", isPaused() ? ", paused" : "");
}

void Playback::showProgress()
{
    if (!wantsProgress())
        return;
    QString text = portion();
    // At max it is as fast as it was up to here.
    const double pace = speed() > 0 ? speed() : m_replay.time() / duration<double>(realTime() - m_beganAt);
    if (m_end && pace > 0)
        text += QString(", %1 s left")
                    .arg((duration<double>(*m_end - m_replay.time()) / pace).count(), 0, 'f', 0);
    ::showProgress(text);
}
