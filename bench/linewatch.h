#pragma once

#include <QByteArray>
#include <QObject>

/// Tells what happens on the serial line to whoever looks on. The service owns the port itself.
class LineWatch : public QObject
{
    Q_OBJECT

public:
    static LineWatch& instance();

signals:
    /// A chunk has come from the CAN box; emitted just before the service gets it.
    void received(const QByteArray& chunk);

    /// Bytes of the service were taken over for sending.
    void sent(const QByteArray& bytes);

    /// The device has been absent for HostSetup::giveUp; nothing tries to open it any more.
    void goneForGood();
};
