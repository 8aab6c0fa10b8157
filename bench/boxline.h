#pragma once

#include "serialline.h"
#include "statement.h"
#include "wire.h"

/// The line leads to a simulated CAN box inside this process and takes the time of 38400 baud.
class BoxLine : public SerialLine
{
    Q_OBJECT

public:
    BoxLine();

    bool open(const QString& portName, int baud) override;
    void close() override { m_isOpen = false; }
    int write(const QByteArray& data) override;
    boxsim::Simulation& box() { return m_simulation; }

signals:
    /// The simulated box shows @p text.
    void said(const QString& text);
    /// A fault has hit something that it sends.
    void hit(const boxsim::Hit& hit);

private:
    bool m_isOpen = false;
    boxsim::Box m_box;
    boxsim::Simulation m_simulation;
    Wire m_toBox;
    Wire m_toHeadUnit;
};
