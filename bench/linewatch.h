#pragma once

#include <QByteArray>
#include <QObject>

/// Tells what happens on the serial line to whoever looks on. The service owns the port itself.
class LineWatch : public QObject
{
    Q_OBJECT

public:
    static LineWatch& instance();

    /// Why the device is not there; empty while it is, and where there is none.
    QString absence;

signals:
    /// A chunk has come from the CAN box; emitted just before the service gets it.
    void received(const QByteArray& chunk);

    /// The service has had the chunk.
    void handled();

    /// Bytes of the service were taken over for sending.
    void sent(const QByteArray& bytes);

    /// The device is not there, for the reason @p why; @p isLoss: and was before.
    void absent(const QString& why, bool isLoss);

    /// The device is open.
    void present();

    /// The device has been absent for HostSetup::giveUp; nothing tries to open it any more.
    void goneForGood();

private:
    LineWatch();
};
