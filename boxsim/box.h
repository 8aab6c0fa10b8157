#pragma once

#include "car.h"
#include "clock.h"
#include "faults.h"
#include "frame.h"

#include <QObject>
#include <QQueue>
#include <QTimer>

#include <chrono>
#include <map>
#include <memory>

namespace boxsim {

/// The decoder box: answers the head unit and reports the car's state to it.
class Box : public QObject
{
    Q_OBJECT

public:
    Car car;
    Faults faults;

    Box();

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

    /// Sends the frame @p type by itself again and again, unless the head unit has stopped the box.
    void sendEvery(std::chrono::milliseconds period, int type);
    /// Ends all that sendEvery() began.
    void endRepetition() { m_repeated.clear(); }

    /// Sets faults.silent, and forgets what has not gone yet.
    void fallSilent();
    /// Ends that.
    void answerAgain();

    /// Turns a fault on that stays, as StandingFaults::turnOn() does, or off.
    void turnOn(Fault fault, const QVector<double>& numbers);
    void turnOff(Fault fault);
    /// Ends all faults, those of a moment too.
    void endFaults();
    /// Begins the chances of the faults anew.
    void setSeed(quint32 seed) { m_standing.setSeed(seed); }

    /// The statements that would turn on the faults that are on.
    QStringList faultStatements() const { return faults.statements() + m_standing.statements(); }
    /// The statements that would have another box send the same by itself.
    QStringList repetitionStatements() const;

    /// Whether the head unit has acknowledged a frame since it last announced itself.
    bool isLinkUp() const { return m_linkUp; }

signals:
    /// One chunk for the line.
    void chunkReady(QByteArray bytes, QString meaning);
    /// A unit has come in, with what it means.
    void unitReceived(QByteArray bytes, QString meaning);
    /// The head unit asked something of the car.
    void asked(QString what);
    /// Something for the log.
    void noted(QString text);
    /// A fault has hit something that the box sends.
    void hit(boxsim::Hit hit);
    /// The head unit has announced itself.
    void announced();
    /// A good frame of the head unit has taken effect.
    void taken(int type);
    /// The head unit acknowledges frames from now on.
    void linkCameUp();

private:
    // What goes over the line as a whole, in chunks of that size.
    struct Packet
    {
        QByteArray bytes;
        QString meaning;
        int chunkSize;
    };

    struct Chunk
    {
        QByteArray bytes;
        QString meaning;
        bool pause;                     // the next chunk waits, so that the line keeps the two apart
        std::chrono::nanoseconds since; // when it was there to be sent, by now()
    };

    void handle(const Received& unit);
    void handleFrame(const Received& unit);
    void acknowledge(const QByteArray& answer, const QString& meaning);
    void send(int type, const QString& meaning);
    void tellUnsent(const QString& fault, const QByteArray& bytes, const QString& meaning);
    QString swallower(int type);
    QByteArray spoil(const QByteArray& intact, const QString& meaning);
    void wait(Packet packet, Fault delay);
    void release();
    void enterLine(const Packet& packet);
    void drain();
    void handOn(Chunk chunk);
    void flood();
    void applyFaults();

    std::chrono::nanoseconds m_keysReleased{0}; // when the last held key is released, by now()
    Receiver m_receiver;
    bool m_stopped = false; // by the head unit
    bool m_linkUp = false;
    std::map<int, std::unique_ptr<QTimer>> m_repeated; // by the frame's type

    // On its way a packet is first held back, by its due time; then its chunks wait for the line.
    StandingFaults m_standing;
    std::multimap<std::chrono::nanoseconds, Packet> m_delayed;
    std::map<Fault, std::chrono::nanoseconds> m_lastDue; // by what delays them: these keep their order
    QTimer m_delay;
    TimeClaim m_delays;
    QQueue<Chunk> m_chunks;
    std::chrono::nanoseconds m_lineFree{0}; // when the last chunk is through, by now()
    QTimer m_line;
    TimeClaim m_lines;
    QTimer m_flood;
    int m_nextFlooding = 0;  // index of a frame type
    double m_floodBytes = 0; // for which the line has room
};

} // namespace boxsim
