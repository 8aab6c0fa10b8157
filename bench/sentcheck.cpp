#include "sentcheck.h"

#include "box.h"
#include "clock.h"
#include "note.h"

#include <algorithm>

using namespace std::chrono;

namespace {

constexpr auto Tolerance = 2s;
constexpr int ToldDifferences = 10;

// What the bytes of the head unit mean.
QString meaningOf(const QByteArray& bytes)
{
    QStringList meanings;
    boxsim::Box box;
    QObject::connect(&box, &boxsim::Box::unitReceived,
                     [&](const QByteArray&, const QString& meaning) { meanings.append(meaning); });
    box.receive(bytes);
    return meanings.join(", ");
}

} // namespace

void SentCheck::expect(Time time, const QByteArray& bytes)
{
    tellUpTo(time - Tolerance);
    const Write write{time, bytes, m_chunk};
    if (!takeMatch(m_sent, write))
        m_expected.push_back(write);
}

void SentCheck::add(Time time, const QByteArray& bytes)
{
    tellUpTo(time - Tolerance);
    const Write write{time, bytes, m_chunk};
    if (!takeMatch(m_expected, write) && !m_isOver)
        m_sent.push_back(write);
}

bool SentCheck::takeMatch(Writes& writes, const Write& write)
{
    const auto match = std::find_if(writes.begin(), writes.end(), [&write](const Write& other) {
        return other.bytes == write.bytes && (write.bytes.size() > 1 || other.chunk == write.chunk);
    });
    if (match == writes.end())
        return false;
    writes.erase(match);
    ++m_matches;
    return true;
}

// What has found no match until @p time finds none any more.
void SentCheck::tellUpTo(Time time)
{
    const auto isDue = [time](const Writes& writes) { return !writes.empty() && writes.front().time < time; };
    while (isDue(m_expected) || isDue(m_sent)) {
        const bool isMissing =
            m_sent.empty() || (!m_expected.empty() && m_expected.front().time <= m_sent.front().time);
        tell(isMissing ? m_expected : m_sent, isMissing ? "not sent:" : "sent, and not in the capture:");
    }
}

// Tells the first of @p writes.
void SentCheck::tell(Writes& writes, const QString& what)
{
    const Write& write = writes.front();
    if (++m_differences <= ToldDifferences)
        complain(QString("%1 %2 %3  %4")
                     .arg(stamp(write.time), what, QString(write.bytes.toHex(' ').toUpper()),
                          meaningOf(write.bytes)));
    writes.pop_front();
}

int SentCheck::finish()
{
    tellUpTo(Time::max());
    const QString rest = m_differences > ToldDifferences ? ", the first of which are told above" : "";
    note(QString("check: %1 writes as in the capture, %2 differences%3")
             .arg(m_matches)
             .arg(m_differences)
             .arg(rest));
    return m_differences;
}
