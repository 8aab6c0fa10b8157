#pragma once

#include <QFile>

/// A capture file: what the line carried, as text. It is not buffered, so that it holds what happened before
/// a crash. When it cannot be written, that is told once, and it is closed.
class Capture
{
public:
    /// Begins the capture @p path anew, with a header that tells @p purpose. @return whether that succeeded.
    bool open(const QString& path, const QString& purpose);
    bool isOpen() const { return m_file.isOpen(); }

    /// Writes @p line and a line's end. @return whether that succeeded.
    bool write(const QString& line);

private:
    QFile m_file;
};
