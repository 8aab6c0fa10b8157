#pragma once

#include "clock.h"

#include <QFile>

#include <chrono>
#include <memory>

/// What a capture is to be.
struct CaptureOptions
{
    QString path;    ///< may hold strftime's codes, in local time; "-" is standard output, empty is none
    QString purpose; ///< what its header says about it
    bool overwrites = false; ///< an existing file is replaced
    int carModel = -1;       ///< what its header tells of the car; -1 tells nothing
    int carModelIndex = 255; ///< beside the model; 255 is none
};

/// The header of a capture whose time 0 is @p begin, by now().
QString captureHeader(const CaptureOptions& options, std::chrono::nanoseconds begin);

/// A capture file: what the line carried and what the host called, as text. It is not buffered, so that it
/// holds what happened before a crash. When it cannot be written, that is told once, and it is closed.
class Capture
{
public:
    /// Begins the capture, whose time 0 is @p begin, by now(). @return whether that succeeded; why not is
    /// told.
    bool open(const CaptureOptions& options, std::chrono::nanoseconds begin);
    bool isOpen() const { return m_file != nullptr; }

    /// Goes on in a new file, whose time 0 is now, for instance when the old one was moved away. Where that
    /// cannot be, it is told, and the old one goes on.
    void openAnew(CaptureOptions options);

    /// Writes that @p what has happened at @p time, one of rx, tx and do, and with what. @return whether that
    /// succeeded.
    bool write(const QString& what, const QString& detail, std::chrono::nanoseconds time = now());

private:
    bool writeLine(const QString& line);

    std::unique_ptr<QFile> m_file;
    std::chrono::nanoseconds m_begin{0};
};
