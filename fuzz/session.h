#pragma once

#include "operations.h"
#include "recordinghost.h"

#include <cstdint>
#include <optional>

/// What the parser must make of the line, worked out in another way than the service does it: whole frames
/// are cut from a buffer.
class Reference
{
public:
    /// The answers to @p chunk, which comes at @p now, in milliseconds.
    QByteArray receive(const QByteArray& chunk, qint64 now);
    void passTime(qint64 now);

    int alive = 0;               ///< good frames and signs of life
    QMap<int, QByteArray> taken; ///< the last good payload of each type

private:
    QByteArray m_frame; ///< from its header on
    qint64 m_due = -1;  ///< when the watchdog ends the frame
};

/// A loaded, fresh plug-in in virtual time whose every write is checked: the answers to what it receives are
/// those of the Reference, and what it writes of its own are frames that the protocol knows. What is not as
/// it must be ends the process.
class Session
{
public:
    Session();

    /// These three may be called within a call that the plug-in makes; answers are looked at when the first
    /// of them returns. A plug-in that deleted itself is replaced by a fresh one then.
    void receive(const QByteArray& chunk);
    void wait(qint64 ms);
    void call(const Operation& operation, const QStringList& arguments);
    /// Within the watchdog's time the parser is idle again: a good frame is acknowledged.
    void settle();
    /// settle(), and the records have their sizes and the values that came last.
    void inspect();

    int good = 0; ///< frames acknowledged
    int bad = 0;  ///< frames rejected

private:
    void check(const QByteArray& written);
    void leave();

    Reference m_reference;
    QByteArray m_answers;
    QByteArray m_expected;           ///< answers
    std::optional<QByteArray> m_raw; ///< what the host sends as it is
    int m_depth = 0;
    /// A frame that comes within a log line before another is stored is worked first: which of two values
    /// stays is then nobody's affair.
    bool m_isLastKnown = true;
    /// Nor is whether a frame that is left half received within a call has the watchdog before the next
    /// chunk.
    bool m_isWatchKnown = true;
};

/// A type between the lowest and the highest that the box has, the ends included: @p number, taken modulo
/// their count, from the lowest on.
int typeFromBox(int number);

/// @p frame with one of the Damages done to it at @p position, taken modulo its size.
QByteArray damaged(QByteArray frame, int damage, int position);
/// Bit flipped, byte lost, byte doubled, end lost, header put in, and a byte that may be the length replaced.
constexpr int Damages = 6;

/// Takes a fuzzer's input apart. Behind its end all is zero.
class Input
{
public:
    Input(const uint8_t* data, size_t size);

    bool atEnd() const { return m_rest.isEmpty(); }
    int byte();
    QByteArray bytes(int count);

private:
    QByteArray m_rest;
};

/// Runs one input. Each target has its own.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
/// Makes the application and its virtual time.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
