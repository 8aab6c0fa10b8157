#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QStringList>
#include <QVector>

#include <chrono>
#include <optional>

namespace boxsim {

/// Faults of a moment. Those that are called "next" are used up by one frame.
struct Faults
{
    bool silent = false;      ///< sends nothing, takes nothing
    bool rejectNext = false;  ///< rejects the next good frame that comes in
    bool corruptNext = false; ///< wrong checksum
    int truncateNext = 0;     ///< how many bytes the end of the next frame lacks
    int splitNext = 0;        ///< size of the chunks that the next frame is sent in, 0: in one
    QByteArray noiseNext;     ///< stands in front of the next frame, in the same chunk
    int dropBytes = 0;        ///< how many of the next sent bytes get lost

    /// The statements that would turn them on.
    QStringList statements() const;
};

/// What can be wrong with all that the box sends, until it is turned off.
enum class Fault { Loss, Duplicate, Corrupt, Flip, Delay, Baud, NoAck, AckDelay, Flood, Stall, Mute };

/// Such a fault in the scenario language.
struct FaultRow
{
    Fault fault;
    QString name;
    QString values; ///< what stands behind the name, in the syntax of the language; may be empty
    QString help;
};

/// All of them, in the order in which help lists them and in that of Fault.
const QVector<FaultRow>& faultRows();

/// A fault has hit something that the box sends, or was to send.
struct Hit
{
    QString fault;
    QString meaning; ///< of the bytes
    QString effect;
    QByteArray bytes; ///< as they were before

    QString text() const;
    QJsonObject keys() const; ///< of an event in JSON
};

/// The faults that are on until they are turned off. All chances are drawn from one generator, so that a seed
/// makes them repeatable.
class StandingFaults
{
public:
    /// Turns @p fault on, as the words of its statement told in @p numbers. Each frame is muted by itself;
    /// any other fault takes the place of what it was before.
    void turnOn(Fault fault, const QVector<double>& numbers);
    void turnOff(Fault fault);
    void turnAllOff() { m_on.clear(); }

    bool isOn(Fault fault) const { return find(fault) != nullptr; }
    /// The statements that would turn on what is on.
    QStringList statements() const;

    void setSeed(quint32 seed) { m_random.seed(seed); }

    /// Whether the frame @p type is not sent.
    bool mutes(int type) const;
    /// Draws whether @p fault, which has a chance, strikes this time.
    bool strikes(Fault fault);
    /// Draws how long @p fault, which has times, holds something back this time.
    std::chrono::milliseconds delay(Fault fault);
    /// Draws the bits of @p bytes that are flipped. @return how many
    int flip(QByteArray& bytes);
    /// How long a slow line is busy with that many bytes.
    std::chrono::nanoseconds lineTime(int bytes) const;
    /// The first moment from @p time on, by now(), at which the line does not stall.
    std::chrono::nanoseconds stallEnd(std::chrono::nanoseconds time) const;

private:
    struct Setting
    {
        Fault fault;
        QVector<double> numbers;
        std::chrono::nanoseconds since; // by now()
    };
    const Setting* find(Fault fault) const;

    QVector<Setting> m_on; // in the order in which they were turned on
    QRandomGenerator m_random{1};
};

/// The chance that @p word tells, as 1% or 1/1000 do: 0 to 1.
std::optional<double> chanceOf(const QString& word);

/// The times that @p word tells, as 100ms or 50ms..200ms do: the least and the most, in ms.
std::optional<QVector<double>> timesOf(const QString& word);

} // namespace boxsim
