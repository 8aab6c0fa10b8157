#include "source.h"

#include "format.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace protocol {

namespace {

constexpr size_t BlockSize = 1 << 18;
constexpr int SilenceAfterMs = 50;

void appendCount(std::string& out, uint64_t count, const char* one, const char* more)
{
    if (count > 0)
        out += (out.empty() ? "" : ", ") + std::to_string(count) + (count == 1 ? one : more);
}

} // namespace

void Problems::add(const Item& item)
{
    badFrames += item.unit.kind == UnitKind::BadFrame;
    unfinished += item.unit.kind == UnitKind::Unfinished;
    if (item.unit.kind == UnitKind::Noise) {
        ++noise;
        noiseBytes += item.unit.size;
    }
}

std::string Problems::text() const
{
    std::string text;
    appendCount(text, badFrames, " frame with a wrong checksum", " frames with a wrong checksum");
    appendCount(text, noiseBytes, " byte of noise", " bytes of noise");
    appendCount(text, unfinished, " unfinished frame", " unfinished frames");
    appendCount(text, refused, " place that cannot be read", " places that cannot be read");
    return text;
}

Source::Source(std::string name, InputKind kind, const Description& description, Listener listener)
    : m_name(std::move(name))
    , m_listener(std::move(listener))
    , m_stream(description,
               [this](const Item& item) {
                   problems.add(item);
                   m_listener.unit(item);
               })
    , m_reader(kind, description, *this)
{
}

Source::~Source()
{
    if (m_file > STDIN_FILENO)
        ::close(m_file);
}

int Source::open(const std::string& path)
{
    m_file = path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status;
    if (m_file < 0 || ::fstat(m_file, &status) != 0)
        return errno;
    if (S_ISDIR(status.st_mode))
        return EISDIR;
    m_size = S_ISREG(status.st_mode) ? status.st_size : 0;
    return 0;
}

int Source::percent() const
{
    return m_size > 0 ? static_cast<int>(std::min<int64_t>(100, m_read * 100 / m_size)) : -1;
}

Source::Event Source::read(int endSignal)
{
    if (m_file < 0) {
        m_reader.feed(m_given.data(), m_given.size());
        return end();
    }
    m_last = wait(endSignal);
    if (m_last == Interrupted)
        end();
    if (m_last != Data)
        return m_last;
    m_block.resize(BlockSize);
    const ssize_t size = ::read(m_file, m_block.data(), m_block.size());
    if (size < 0)
        return errno == EINTR ? Data : Failed;
    if (size == 0)
        return end();
    m_read += size;
    m_reader.feed(m_block.data(), static_cast<size_t>(size));
    return Data;
}

// A pause, then silence are told before it waits for good.
Source::Event Source::wait(int endSignal)
{
    pollfd files[] = {{endSignal, POLLIN, 0}, {m_file, POLLIN, 0}};
    const int timeout = m_last == Data ? 0 : m_last == Pause ? SilenceAfterMs : -1;
    const int ready = ::poll(files, 2, timeout);
    if (files[0].revents != 0)
        return Interrupted;
    if (ready == 0)
        return m_last == Data ? Pause : Silence;
    return Data;
}

Source::Event Source::end()
{
    m_reader.finish();
    m_stream.finish();
    return End;
}

void Source::refuse(uint64_t place, std::string_view text, const char* why)
{
    ++problems.refused;
    std::string message = m_name + ':' + std::to_string(place) + ": " + why;
    if (!text.empty()) {
        message += ": ";
        appendQuoted(message, text);
    }
    m_listener.problem(message);
}

} // namespace protocol
