#include "tap.h"

#include "note.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int Baud = 38400;
constexpr int LongestPiece = 1024;    // bytes: a pipe takes their line as a whole or not at all
constexpr int PipeSize = 1024 * 1024; // more than a minute of a full line

} // namespace

void Gap::add(int count)
{
    if (m_count == 0)
        note(m_begin);
    m_count += count;
}

void Gap::end()
{
    if (m_count > 0)
        note(m_end.arg(m_count));
    m_count = 0;
}

Tap::Tap(const QString& headUnit, const QString& box, CaptureOptions capture)
    : m_options(std::move(capture))
    , m_headUnit(headUnit)
    , m_box(box)
    , m_droppedForHeadUnit("what the CAN box sends is dropped: " + headUnit + " does not take it",
                           "dropped on the way to the head unit: %1 bytes")
    , m_droppedForBox("what the head unit sends is dropped: " + box + " does not take it",
                      "dropped on the way to the CAN box: %1 bytes")
    , m_unseen("nobody reads standard output; what crosses meanwhile is not shown", "not shown: %1 chunks")
{
    connect(&m_box, &SerialLine::received, this,
            [this](const QByteArray& bytes) { carry("rx", bytes, m_headUnit, m_droppedForHeadUnit); });
    connect(&m_headUnit, &SerialLine::received, this,
            [this](const QByteArray& bytes) { carry("tx", bytes, m_box, m_droppedForBox); });
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        qFatal("cannot make a pipe: %s", qPrintable(qt_error_string(errno)));
    m_output = ends[0];
    m_lines = ends[1];
    fcntl(m_lines, F_SETPIPE_SZ, PipeSize); // where that is too much for the system, it stays as it is
    fcntl(m_lines, F_SETFL, O_NONBLOCK);
}

Tap::~Tap()
{
    stop();
}

bool Tap::start()
{
    if (!m_options.path.isEmpty() && !m_capture.open(m_options, m_begin))
        return false;
    show(captureHeader(m_options, m_begin));
    m_headUnit.open({}, Baud);
    m_box.open({}, Baud);
    return true;
}

void Tap::recordAnew()
{
    if (m_capture.isOpen())
        m_capture.openAnew(m_options);
}

void Tap::stop()
{
    if (m_lines < 0)
        return;
    m_headUnit.close();
    m_box.close();
    for (Gap* gap : {&m_droppedForHeadUnit, &m_droppedForBox, &m_unseen})
        gap->end();
    ::close(m_lines);
    m_lines = -1;
}

void Tap::carry(const QString& what, const QByteArray& bytes, DeviceLine& receiver, Gap& dropped)
{
    const auto time = now();
    if (receiver.write(bytes) < bytes.size())
        return dropped.add(bytes.size());
    dropped.end();
    for (int at = 0; at < bytes.size(); at += LongestPiece)
        tell(what, bytes.mid(at, LongestPiece), time);
}

void Tap::tell(const QString& what, const QByteArray& bytes, std::chrono::nanoseconds time)
{
    const QString hex = bytes.toHex().toUpper();
    if (m_capture.isOpen() && !m_capture.write(what, hex, time))
        emit failed();
    show(stamp(time - m_begin) + ' ' + what + ' ' + hex);
}

void Tap::show(const QString& text)
{
    const QByteArray line = text.toUtf8() + '\n';
    if (::write(m_lines, line.constData(), static_cast<size_t>(line.size())) == line.size())
        m_unseen.end();
    else if (errno == EAGAIN)
        m_unseen.add(1);
}
