#include "linkstate.h"

#include "clock.h"
#include "linewatch.h"
#include "note.h"

using namespace std::chrono_literals;

namespace {

constexpr auto Window = 1s;             // of rate and load
constexpr auto WarningTime = 900ms;     // garbage is told within a second
constexpr auto PatienceTime = 1s;       // within which a box answers the start
constexpr auto SilenceTime = 2s;        // a box answers a request at once
constexpr double BytesPerSecond = 3840; // 38400 baud, 8N1

double milliseconds(std::chrono::nanoseconds time)
{
    return std::chrono::duration<double, std::milli>(time).count();
}

QString lineOf(const char* name, const Traffic& traffic)
{
    return QString("%1 %2 bytes, %3 frames, %4 bad, %5 bytes dropped, %6 acknowledgements, %7 rejections")
        .arg(name, -13)
        .arg(traffic.bytes)
        .arg(traffic.frames)
        .arg(traffic.badFrames)
        .arg(traffic.dropped)
        .arg(traffic.acknowledgements)
        .arg(traffic.rejections);
}

} // namespace

void FrameState::take(const QByteArray& next, std::chrono::nanoseconds at)
{
    if (count > 0 && next != payload)
        noteChanges(next, at);
    ++count;
    payload = next;
    time = at;
    if (payload.size() >= longest) {
        longest = payload.size();
        longestTime = at;
    }
    const auto now = std::chrono::floor<std::chrono::seconds>(at);
    if (now != second)
        inSecondBefore = (now - second).count() == 1 ? inSecond : 0;
    inSecond = now == second ? inSecond + 1 : 1;
    second = now;
}

// A byte that the payload before did not have has changed whole.
void FrameState::noteChanges(const QByteArray& next, std::chrono::nanoseconds at)
{
    changes.resize(std::max(changes.size(), static_cast<size_t>(next.size())));
    for (int byte = 0; byte < next.size(); ++byte) {
        const int changed = byte < payload.size() ? next[byte] ^ payload[byte] : 0xFF;
        for (unsigned bit = 0; bit < 8; ++bit) {
            if ((changed >> bit & 1) != 0)
                changes[static_cast<size_t>(byte)][bit] = at;
        }
    }
}

int FrameState::rate(std::chrono::nanoseconds at) const
{
    const auto passed = (std::chrono::floor<std::chrono::seconds>(at) - second).count();
    return passed == 0 ? inSecondBefore : passed == 1 ? inSecond : 0;
}

LinkState::Side::Side(protocol::Splitter::Receiver receiver)
    : splitter(receiver, [this](const protocol::Unit& unit) {
        using protocol::UnitKind;
        switch (unit.kind) {
        case UnitKind::Frame:
            takeFrame(unit);
            break;
        case UnitKind::BadFrame:
            ++traffic.badFrames;
            break;
        case UnitKind::Acknowledgement:
            ++traffic.acknowledgements;
            break;
        case UnitKind::Rejection:
            ++traffic.rejections;
            break;
        case UnitKind::Noise:
        case UnitKind::Unfinished:
            traffic.dropped += unit.size;
            break;
        }
    })
{
}

void LinkState::Side::takeFrame(const protocol::Unit& unit)
{
    ++traffic.frames;
    frames[unit.type()].take(
        QByteArray(reinterpret_cast<const char*>(unit.payload()), static_cast<int>(unit.payloadSize())),
        last);
}

void LinkState::Side::take(const QByteArray& chunk)
{
    traffic.bytes += static_cast<quint64>(chunk.size());
    last = now();
    splitter.feed(reinterpret_cast<const uint8_t*>(chunk.constData()), static_cast<size_t>(chunk.size()),
                  last / 1us);
    splitter.settle();
}

LinkState::LinkState()
    : m_fromBox(protocol::Splitter::Receiver::HeadUnit)
    , m_toBox(protocol::Splitter::Receiver::Box)
    , m_begin(now())
{
    const LineWatch& line = LineWatch::instance();
    connect(&line, &LineWatch::received, this, &LinkState::take);
    connect(&line, &LineWatch::handled, this, [this] { m_isHandling = false; });
    connect(&line, &LineWatch::sent, this, &LinkState::takeSent);
    connect(&line, &LineWatch::absent, this,
            [this](const QString&, bool isLoss) { m_losses += isLoss ? 1 : 0; });
    m_warning.setSingleShot(true);
    connect(&m_warning, &QTimer::timeout, this, [this] {
        m_hasWarned = true;
        complain(diagnosis());
    });
}

void LinkState::take(const QByteArray& chunk)
{
    m_chunkAt = realTime();
    m_isHandling = true;
    m_askedAt.reset();
    const Traffic before = m_fromBox.traffic;
    m_fromBox.take(chunk);
    const Traffic& after = m_fromBox.traffic;
    forgetOld();
    m_recent.push_back({m_fromBox.last, after.bytes - before.bytes, after.frames - before.frames});
    if (after.frames != before.frames) {
        m_warning.stop();
        m_hasWarned = false;
    } else if (after.badFrames + after.dropped != before.badFrames + before.dropped && !m_hasWarned &&
               !m_warning.isActive()) {
        m_warning.start(WarningTime);
    }
}

void LinkState::takeSent(const QByteArray& bytes)
{
    const Traffic before = m_toBox.traffic;
    m_toBox.take(bytes);
    const Traffic& after = m_toBox.traffic;
    if (after.frames != before.frames && !m_askedAt)
        m_askedAt = now();
    if (m_isHandling &&
        after.acknowledgements + after.rejections != before.acknowledgements + before.rejections)
        m_acknowledgement.add(realTime() - m_chunkAt);
}

void LinkState::addSignal()
{
    if (m_isHandling) // a timer's has nothing to do with the bytes
        m_announcement.add(realTime() - m_chunkAt);
}

void LinkState::forgetOld()
{
    while (!m_recent.empty() && now() - m_recent.front().time > Window)
        m_recent.pop_front();
}

template<typename Count> quint64 LinkState::inLastSecond(Count count) const
{
    quint64 sum = 0;
    for (const Chunk& chunk : m_recent)
        sum += now() - chunk.time <= Window ? chunk.*count : 0;
    return sum;
}

int LinkState::frameRate() const
{
    return static_cast<int>(inLastSecond(&Chunk::frames));
}

double LinkState::load() const
{
    return static_cast<double>(inLastSecond(&Chunk::bytes)) / BytesPerSecond;
}

// The causes stand in the order in which one hides the next.
QString LinkState::diagnosis() const
{
    const Traffic& in = fromBox();
    const Traffic& out = toBox();
    const quint64 answers = in.acknowledgements + in.rejections;
    if (const QString why = LineWatch::instance().absence; !why.isEmpty())
        return "there is no line: " + why;
    if (in.bytes == 0 && now() - m_begin < PatienceTime)
        return {};
    if (in.bytes == 0)
        return "nothing has come: is the box powered, is this its device, are its wires crossed over?";
    if (in.frames == 0 && (in.dropped > 0 || answers > out.frames))
        return QString("%1 bytes have come, and no good frame: is the other end a box at 38400 baud, 8N1?")
            .arg(in.bytes);
    if (in.badFrames * 10 > in.frames)
        return QString("%1 of %2 frames have a wrong checksum: is the line disturbed or a wire loose?")
            .arg(in.badFrames)
            .arg(in.frames + in.badFrames);
    if (in.dropped * 10 > in.bytes)
        return QString(
                   "%1 of %2 bytes belong to no frame: is the line disturbed, or has somebody else it open?")
            .arg(in.dropped)
            .arg(in.bytes);
    if (m_askedAt && now() - *m_askedAt > SilenceTime)
        return QString(
                   "the box was last heard %1 s ago, and does not answer: has it lost its power or a wire?")
            .arg(std::chrono::duration<double>(now() - m_fromBox.last).count(), 0, 'f', 1);
    if (out.frames > 2 && answers == 0)
        return "the box sends frames, and answers none: is the wire to it broken?";
    if (in.rejections > in.acknowledgements)
        return QString("the box rejects what it is sent (%1 times): is the wire to it disturbed?")
            .arg(in.rejections);
    return {};
}

QString LinkState::summary() const
{
    return QString(
               "the line: %1 frames (%2 bad) and %3 answers from the box, %4 bytes dropped; %5 frames and %6 "
               "answers to it; losses: %7")
        .arg(fromBox().frames)
        .arg(fromBox().badFrames)
        .arg(fromBox().acknowledgements + fromBox().rejections)
        .arg(fromBox().dropped)
        .arg(toBox().frames)
        .arg(toBox().acknowledgements + toBox().rejections)
        .arg(m_losses);
}

QStringList LinkState::lines() const
{
    const auto delay = [](const char* name, const Delay& of) {
        return QString("%1 %2 ms after the bytes, at most %3 ms")
            .arg(name, -13)
            .arg(milliseconds(of.last), 0, 'f', 3)
            .arg(milliseconds(of.longest), 0, 'f', 3);
    };
    return {lineOf("from the box", fromBox()), lineOf("to the box", toBox()),
            QString("%1 %2 frames a second, %3 % of the line, losses: %4")
                .arg("now", -13)
                .arg(frameRate())
                .arg(100 * load(), 0, 'f', 0)
                .arg(m_losses),
            delay("answers", m_acknowledgement), delay("signals", m_announcement)};
}
