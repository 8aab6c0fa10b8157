#include "session.h"

#include "description.h"
#include "virtualclock.h"

#include <QCoreApplication>

#include <numeric>

namespace {

using protocol::Description;

constexpr int WatchdogMs = 500;

RecordingHost& host()
{
    return RecordingHost::instance();
}

void require(bool holds, const char* what, const QByteArray& bytes = {})
{
    if (!holds)
        qFatal("%s: %s", what, bytes.toHex(' ').constData());
}

// With the inverted sum at the end, all bytes behind the header sum up to 0xFF.
bool isGood(const QByteArray& frame)
{
    return std::accumulate(frame.begin() + 1, frame.end(), 0u) % 256 == 255;
}

bool isFrameToBox(const QByteArray& frame)
{
    if (!frame.startsWith('\x2E') || frame.size() < 4 || frame.size() != frame.at(2) + 4)
        return false;
    const auto* described = Description::standard().frame(static_cast<unsigned char>(frame.at(1)));
    return described && described->direction == protocol::Direction::ToBox &&
           described->length == frame.at(2) && isGood(frame);
}

} // namespace

QByteArray Reference::receive(const QByteArray& chunk, qint64 now)
{
    QByteArray answers;
    if (!m_frame.isEmpty() && m_due < 0)
        m_due = now + WatchdogMs;
    if (m_frame.isEmpty() && chunk.startsWith('\xFF'))
        ++alive;
    m_frame.append(chunk);
    for (;;) {
        const int header = m_frame.indexOf('\x2E');
        m_frame.remove(0, header < 0 ? m_frame.size() : header);
        const int size = m_frame.size() < 3 ? 4 : 4 + static_cast<unsigned char>(m_frame.at(2));
        if (m_frame.size() < size)
            break;
        const bool good = isGood(m_frame.left(size));
        answers.append(good ? '\xFF' : '\xF0');
        if (good) {
            m_due = -1;
            ++alive;
            taken[static_cast<unsigned char>(m_frame.at(1))] = m_frame.mid(3, size - 4);
        }
        m_frame.remove(0, size);
    }
    return answers;
}

void Reference::passTime(qint64 now)
{
    if (m_due < 0 || now < m_due)
        return;
    m_due = -1;
    m_frame.clear();
}

Session::Session()
{
    host().restart();
    host().onWrite = [this](const QByteArray& bytes) { check(bytes); };
}

// Of what is sent as it is, nobody can say what it is.
void Session::check(const QByteArray& written)
{
    if (written == m_raw)
        m_raw.reset();
    else if (written.size() == 1)
        m_answers.append(written);
    else
        require(isFrameToBox(written), "wrote what is no frame", written);
}

void Session::receive(const QByteArray& chunk)
{
    if (++m_depth > 1)
        m_isLastKnown = m_isWatchKnown = false;
    if (host().isPortOpen)
        m_expected.append(m_reference.receive(chunk, VirtualClock::instance().now()));
    host().receive(chunk);
    leave();
}

void Session::wait(qint64 ms)
{
    ++m_depth;
    VirtualClock::instance().advance(ms);
    m_reference.passTime(VirtualClock::instance().now());
    leave();
}

void Session::call(const Operation& operation, const QStringList& arguments)
{
    ++m_depth;
    if (operation.name == QLatin1String("sendAnyData"))
        m_raw = hex(arguments.value(0));
    operation.call(host().service(), arguments);
    leave();
}

void Session::leave()
{
    if (m_depth == 1 && !std::exchange(m_isWatchKnown, true)) {
        --m_depth;
        receive({});
        return;
    }
    if (--m_depth > 0)
        return;
    require(m_answers == m_expected, "wrong answers", m_answers);
    good += m_answers.count('\xFF');
    bad += m_answers.count('\xF0');
    m_answers.clear();
    m_expected.clear();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    if (host().hasService())
        return;
    m_reference = {};
    m_isLastKnown = true;
    host().create();
}

void Session::settle()
{
    receive({});
    wait(WatchdogMs);
    const int before = good;
    receive(frameOf(ReservedType, {}));
    require(!host().isPortOpen || good == before + 1, "not idle");
}

void Session::inspect()
{
    settle();
    const auto onWrite = std::exchange(host().onWrite, nullptr);
    host().take();
    host().setLogs(true);
    host().receiveFrame(0x1D, QByteArray(4, '\0')); // logs how many sensors there are
    require(!host().isPortOpen || host().take().contains(QLatin1String("debug 19")), "not 19 sensors");
    host().setLogs(false);
    host().onWrite = onWrite;
    UnitData units;
    host().service().getUnitData(units);
    require(units.maxLevels.size() == 6 && units.curLevels.size() == 6 && units.curTexts.size() == 6,
            "not 6 units");
    if (!m_isLastKnown)
        return;
    const auto taken = [this](int type) { return m_reference.taken.value(type); };
    require(host().service().version() == QString::fromUtf8(taken(0x30).constData()), "wrong version",
            taken(0x30));
    require(host().service().getAcWindScale() == (taken(0x28).size() > 1 ? taken(0x28).at(1) & 7 : 0),
            "wrong fan", taken(0x28));
    require(taken(0x32).size() != 2 || host().service().getCameraMode() == (taken(0x32).at(0) >> 2 & 1),
            "wrong camera mode", taken(0x32));
}

int typeFromBox(int number)
{
    static const auto ends = [] {
        int lowest = 0xFF;
        int highest = 0;
        for (const protocol::Frame& frame : Description::standard().frames()) {
            if (frame.direction == protocol::Direction::ToBox)
                continue;
            lowest = std::min(lowest, frame.type);
            highest = std::max(highest, frame.type);
        }
        return std::pair(lowest, highest);
    }();
    return ends.first + number % (ends.second - ends.first + 1);
}

QByteArray damaged(QByteArray frame, int damage, int position)
{
    const int at = position % frame.size();
    switch (damage) {
    case 0:
        frame[at] = static_cast<char>(frame.at(at) ^ 1 << position % 8);
        return frame;
    case 1:
        return frame.remove(at, 1);
    case 2:
        return frame.insert(at, frame.at(at));
    case 3:
        return frame.left(at);
    case 4:
        return frame.insert(at, '\x2E');
    default:
        frame[2] = static_cast<char>(position);
        return frame;
    }
}

Input::Input(const uint8_t* data, size_t size)
    : m_rest(reinterpret_cast<const char*>(data), static_cast<int>(size))
{
}

int Input::byte()
{
    const QByteArray first = bytes(1);
    return first.isEmpty() ? 0 : static_cast<unsigned char>(first.at(0));
}

QByteArray Input::bytes(int count)
{
    const QByteArray taken = m_rest.left(count);
    m_rest.remove(0, count);
    return taken;
}

int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    QCoreApplication::setEventDispatcher(new VirtualClock);
    static const QCoreApplication app(*argc, *argv);
    return 0;
}
