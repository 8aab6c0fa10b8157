#include "wire.h"

#include <QTimer>

using namespace std::chrono;

namespace {

constexpr nanoseconds ByteTime = nanoseconds(10s) / 38400; // ten bits

} // namespace

void Wire::send(const QByteArray& chunk)
{
    m_free = std::max(m_free, now()) + chunk.size() * ByteTime;
    m_chunks.push_back(chunk);
    m_claim.set(true);
    QTimer::singleShot(ceil<milliseconds>(m_free - now()), Qt::PreciseTimer, this, [this] {
        const QByteArray first = m_chunks.front();
        m_chunks.pop_front();
        m_claim.set(!m_chunks.empty());
        emit received(first);
    });
}
