#pragma once

#include <canservicebase.h>
#include <serialport.h>

#include <QPluginLoader>

/// The head unit at next to no cost: its services answer with constants, writes are counted and dropped, and
/// each signal of the service has one slot that counts. Log lines are filtered out by the default logging
/// category.
class NullHost
{
public:
    static NullHost& instance();

    CanServiceBase& service() { return *m_service; }
    /// Deletes the service and lets the plug-in make a fresh one, whose signals have no slot.
    void recreate();
    /// Gives each signal of the service its slot.
    void connectSignals();

    int carModel = 20;
    canservice::SerialPort* port = nullptr; ///< the service's
    int signalCount = 0;
    int writeCount = 0;

private:
    NullHost();

    QPluginLoader m_loader;
    CanServiceBase* m_service = nullptr;
};

/// A good frame of the CAN box.
QByteArray frameOf(int type, const QByteArray& payload);
