#pragma once

#include "car.h"
#include "clock.h"
#include "frame.h"

#include <QObject>
#include <QQueue>

#include <chrono>

namespace boxsim {

/// How the box misbehaves. "Next" faults are used up by one frame.
struct Faults
{
    bool silent = false;      ///< sends nothing, takes nothing
    bool rejectNext = false;  ///< rejects the next good frame that comes in
    bool corruptNext = false; ///< wrong checksum
    int truncateNext = 0;     ///< how many bytes the end of the next frame lacks
    int splitNext = 0;        ///< size of the chunks that the next frame is sent in, 0: in one
    QByteArray noiseNext;     ///< stands in front of the next frame, in the same chunk
    int dropBytes = 0;        ///< how many of the next sent bytes get lost
};

/// The decoder box: answers the head unit and reports the car's state to it.
class Box : public QObject
{
    Q_OBJECT

public:
    Car car;
    Faults faults;

    /// Takes a chunk from the line.
    void receive(const QByteArray& chunk);

    /// Sends the frame @p type, unless the head unit has stopped the box.
    void report(int type);

    /// Sends the frame @p type, which must be one of frameTypes().
    void send(int type);

    /// Sends @p bytes as they are.
    void sendRaw(const QByteArray& bytes, const QString& meaning);

    /// Presses or releases a key.
    void setKey(KeyPad pad, Key key);

    /// Presses the key with @p code and releases it after @p duration.
    void holdKey(KeyPad pad, int code, std::chrono::milliseconds duration);

    /// How long it is until every held key is released.
    std::chrono::milliseconds keysHeldFor() const;

    /// Sets faults.silent, and forgets the rest of a split frame.
    void fallSilent();

signals:
    /// One chunk for the line.
    void chunkReady(QByteArray bytes, QString meaning);
    /// A unit has come in, with what it means.
    void unitReceived(QByteArray bytes, QString meaning);
    /// The head unit asked something of the car.
    void asked(QString what);
    /// Something for the log.
    void noted(QString text);
    /// The head unit has announced itself.
    void announced();

private:
    void handle(const Received& unit);
    void handleFrame(const Received& unit);
    void sendInChunks(const QByteArray& bytes, int chunkSize, const QString& meaning);
    void drain();

    struct Chunk
    {
        QByteArray bytes;
        QString meaning;
        bool pause; // the next chunk waits, so that the line keeps the two apart
    };

    std::chrono::nanoseconds m_keysReleased{0}; // when the last held key is released, by now()
    Receiver m_receiver;
    bool m_stopped = false; // by the head unit
    QQueue<Chunk> m_chunks;
    TimeClaim m_pause; // between two chunks
};

} // namespace boxsim
