#pragma once

#include "clock.h"

#include <QObject>

#include <chrono>
#include <deque>

/// One direction of a serial line inside this process. Bytes take the time of 38400 baud, 8N1, one after the
/// other; a chunk is handed on as a whole when its last byte has come. Until then it claims time.
class Wire : public QObject
{
    Q_OBJECT

public:
    /// Sends @p chunk behind what is still on its way.
    void send(const QByteArray& chunk);

signals:
    void received(QByteArray chunk);

private:
    std::deque<QByteArray> m_chunks;    // on their way
    std::chrono::nanoseconds m_free{0}; // when the last of them has come
    TimeClaim m_claim;
};
