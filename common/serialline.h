#pragma once

#include <QByteArray>
#include <QObject>

/// One end of a serial line: where bytes come from and go to. Whoever uses it does not know which kind it is.
class SerialLine : public QObject
{
    Q_OBJECT

public:
    /// Opens the line at @p baud bits per second, 8N1. An empty @p portName stands for what the set-up names.
    /// @return whether the line is open; one that is not may come later.
    virtual bool open(const QString& portName, int baud) = 0;

    /// Closes the line, after what was written has had a moment to leave.
    virtual void close() = 0;

    /// Sends @p data. @return the number of bytes taken over, or -1 when the line is closed.
    virtual int write(const QByteArray& data) = 0;

signals:
    /// A chunk has come. The receiver may close the line.
    void received(const QByteArray& chunk);
};
