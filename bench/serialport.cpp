#include "serialport.h"

#include "hostsetup.h"
#include "linewatch.h"
#include "serialline.h"

#include <QPointer>

namespace canservice {

// The line outlives the port, so a port that goes while its service handles a chunk leaves nothing undone.
// Only an instance that is of no use stays until the library is unloaded, after the line.
class SerialPort::Private
{
public:
    QPointer<SerialLine> line = hostSetup().line;
};

SerialPort::SerialPort(QObject* parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{
    connect(d->line, &SerialLine::received, this, [this](const QByteArray& chunk) {
        emit LineWatch::instance().received(chunk);
        emit read(chunk);
        emit LineWatch::instance().handled(); // the port may be gone by now
    });
}

SerialPort::~SerialPort()
{
    if (d->line)
        d->line->close();
}

bool SerialPort::open(QString portName, int baud)
{
    return d->line->open(portName, baud);
}

void SerialPort::close()
{
    d->line->close();
}

int SerialPort::writeData(const QByteArray& data, bool)
{
    const int taken = d->line->write(data);
    if (taken == data.size())
        emit LineWatch::instance().sent(data);
    return taken;
}

} // namespace canservice
