#pragma once

#include "serialline.h"

/// The line carries what a capture holds; what the head unit sends goes nowhere.
class ReplayLine : public SerialLine
{
    Q_OBJECT

public:
    bool open(const QString&, int) override { return m_isOpen = true; }
    void close() override { m_isOpen = false; }
    int write(const QByteArray& data) override { return m_isOpen ? data.size() : -1; }

    /// A chunk of the capture has come.
    void receive(const QByteArray& chunk)
    {
        if (m_isOpen)
            emit received(chunk);
    }

private:
    bool m_isOpen = false;
};
