#pragma once

#include <QDateTime>
#include <QFile>

#include <chrono>
#include <functional>
#include <optional>

/// One line of a capture.
struct CaptureRecord
{
    enum Kind { Received, Sent, Call }; ///< as the head unit sees it

    std::chrono::nanoseconds time; ///< since the capture's time 0
    Kind kind;
    QByteArray bytes; ///< of Received and Sent
    QString call;     ///< of Call: the command of canbench
    int line = 0;     ///< where it stands in the file, from 1
};

/// What a capture's header tells.
struct CaptureHeader
{
    int version = 1;
    QDateTime date; ///< of the capture's time 0; invalid where it is not told
    std::optional<int> carModel;
    std::optional<int> carModelIndex;
};

/// Reads a capture of the versions 1 and 2 as a stream, so that it may be longer than the memory, and may
/// still be written to its end by somebody else.
///
/// A last line without an end was cut off when its writer was; it is told and left out.
class CaptureReader
{
public:
    /// Is told what is left out, with file and line.
    std::function<void(const QString&)> note = [](const QString&) {};
    /// A damaged line is told and left out; otherwise it ends the reading.
    bool isLenient = false;

    /// Opens @p path, where "-" is standard input, and reads the header. @return what is wrong, else empty.
    QString open(const QString& path);
    const CaptureHeader& header() const { return m_header; }

    /// The next record; nothing at the end and behind an error().
    std::optional<CaptureRecord> next();
    /// What is wrong with file and line; empty while nothing is.
    const QString& error() const { return m_error; }

    /// The file and its line @p number, as messages begin.
    QString place(int number) const;

    /// Goes back to the beginning. @return whether that is possible: a pipe has been read once and for all.
    bool rewind();

    /// The time of the last record, where that can be told without reading everything.
    std::optional<std::chrono::nanoseconds> endTime() const;

private:
    QString readHeader();
    bool readLine();
    void passOver(const QString& why);
    QFile m_file;
    CaptureHeader m_header;
    QByteArray m_buffer; // as long as a line may be
    QByteArray m_line;   // without its end
    int m_number = 0;
    bool m_isPending = false; // the line was read with the header and is none of it
    std::chrono::nanoseconds m_last{0};
    QString m_error;
};
