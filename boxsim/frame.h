#pragma once

#include <QByteArray>
#include <QVector>

namespace boxsim {

/// One frame of the line. On the line it stands as 0x2E, type, payload length, payload, checksum.
struct Frame
{
    int type = 0;
    QByteArray payload; ///< 255 bytes at most
};

/// The bytes of @p frame as they go over the line.
QByteArray encode(const Frame& frame);

/// One unit of what came in.
struct Received
{
    enum Kind { Good, BadChecksum, Unfinished, Ack, Nak, Noise };
    Kind kind;
    QByteArray bytes; ///< as they came over the line
    Frame frame;      ///< set for Good only
};

/// Cuts the received bytes into frames, one-byte answers and noise, however they are cut into chunks.
///
/// Recovery: outside a frame everything up to the next header or answer byte is noise. A frame with a wrong
/// checksum is consumed whole. A frame that has not gone on for longer than 500 ms is given up when the next
/// chunk comes.
class Receiver
{
public:
    /// Takes one chunk that arrived at @p now, in milliseconds of any steady clock.
    QVector<Received> feed(const QByteArray& chunk, qint64 now);

private:
    bool takeNext(QVector<Received>& out);

    QByteArray m_pending;
    qint64 m_lastChunk = 0;
};

} // namespace boxsim
