#pragma once

#include "serialline.h"

#include <QSerialPort>
#include <QTimer>

#include <chrono>

/// The line is a serial device, tried again and again while it is away.
class DeviceLine : public SerialLine
{
    Q_OBJECT

public:
    /// @p device is what an empty port name stands for. It may be away for so long as @p giveUp, or for ever
    /// where that is 0.
    explicit DeviceLine(QString device, std::chrono::seconds giveUp = {});

    /// A device that cannot be opened is gone for good at once, which is told with the @p remedy; otherwise
    /// it is waited for.
    void endAtOnce(const QString& remedy) { m_remedy = remedy; }

    bool open(const QString& portName, int baud) override;
    void close() override;
    int write(const QByteArray& data) override;

signals:
    /// The device is not there, for the reason @p why; @p isLoss: and was before.
    void absent(const QString& why, bool isLoss);
    /// The device is open.
    void present();
    /// The device has been away for too long; nothing tries to open it any more.
    void goneForGood();

private:
    bool openDevice();
    QString obstacle() const;
    void waitForDevice(const QString& state, const QString& what, const QString& why);
    void tryAgain();
    void lose(QSerialPort::SerialPortError error);
    void receive();
    void handOn(const QByteArray& chunk);

    const QString m_wired;
    const std::chrono::seconds m_giveUp;
    QString m_remedy; // where nothing waits for a device that cannot be opened
    QString m_name;   // as it was given; QSerialPort's leaves out /dev
    QSerialPort m_device;
    QTimer m_retry;
    std::chrono::nanoseconds m_lostAt{0}; // by now()
    bool m_queueFull = false;
};
