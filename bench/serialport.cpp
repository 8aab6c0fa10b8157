#include "serialport.h"

#include "clock.h"
#include "hostsetup.h"
#include "linewatch.h"
#include "note.h"

#include <QSerialPort>
#include <QTimer>

#include <unistd.h>

using namespace std::chrono_literals;

namespace {

// The device is tried again after a pause that doubles from try to try. The longest one leaves time to open
// it within a second of its return.
constexpr auto FirstPause = 100ms;
constexpr auto LongestPause = 800ms;

constexpr qint64 QueueLimit = 65536; // bytes that may wait for a peer that does not read
constexpr auto FlushTime = 500ms;    // what closing the line may wait for the queue

} // namespace

namespace canservice {

// QSerialPort goes on reporting errors without end after a hang-up, and neither its deletion nor a nested
// event loop is safe inside its signals. So both of its signals are queued, any error is a loss, and a loss
// closes the device at once; it is then tried again until it comes back.
class SerialPort::Private : public QObject
{
public:
    explicit Private(SerialPort* port);

    bool open(const QString& portName, int baud);
    void close();
    int write(const QByteArray& data);

private:
    bool openDevice();
    void waitForDevice(const QString& what, const QString& why);
    void tryAgain();
    void lose(QSerialPort::SerialPortError error);
    void receive();
    void handOn(const QByteArray& chunk);

    SerialPort* m_port;
    QString m_name; // as it was given; QSerialPort's leaves out /dev
    QSerialPort m_device;
    QTimer m_retry;
    std::chrono::nanoseconds m_lostAt{0}; // by now()
    bool m_queueFull = false;
};

SerialPort::Private::Private(SerialPort* port)
    : m_port(port)
{
    connect(&m_device, &QSerialPort::readyRead, this, &Private::receive, Qt::QueuedConnection);
    connect(&m_device, &QSerialPort::errorOccurred, this, &Private::lose, Qt::QueuedConnection);
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &Private::tryAgain);
}

bool SerialPort::Private::open(const QString& portName, int baud)
{
    close();
    // 8 data bits, no parity and 1 stop bit are what QSerialPort starts with.
    m_name = portName.isEmpty() ? hostSetup().device : portName;
    m_device.setPortName(m_name);
    m_device.setBaudRate(baud);
    if (openDevice())
        return true;
    waitForDevice("cannot open", m_device.errorString());
    return false;
}

bool SerialPort::Private::openDevice()
{
    m_queueFull = false;
    return m_device.open(QIODevice::ReadWrite);
}

void SerialPort::Private::close()
{
    m_retry.stop();
    if (!m_device.isOpen())
        return;
    const auto deadline = now() + FlushTime;
    const auto left = [&] { return std::chrono::ceil<std::chrono::milliseconds>(deadline - now()).count(); };
    while (m_device.bytesToWrite() > 0 && left() > 0 &&
           m_device.waitForBytesWritten(static_cast<int>(left()))) {
    }
    m_device.close();
}

void SerialPort::Private::waitForDevice(const QString& what, const QString& why)
{
    note(QString("%1 %2: %3; waiting for it").arg(what, m_name, why));
    m_lostAt = now();
    m_retry.start(FirstPause);
}

void SerialPort::Private::tryAgain()
{
    if (openDevice()) {
        note(m_name + " is open");
        return;
    }
    const auto giveUp = hostSetup().giveUp;
    if (giveUp > 0s && now() - m_lostAt > giveUp) {
        note(QString("%1 has been away for %2 s, giving up").arg(m_name).arg(giveUp.count()));
        emit LineWatch::instance().goneForGood();
        return;
    }
    m_retry.start(std::min<std::chrono::milliseconds>(2 * m_retry.intervalAsDuration(), LongestPause));
}

void SerialPort::Private::lose(QSerialPort::SerialPortError error)
{
    if (error == QSerialPort::NoError || !m_device.isOpen())
        return;
    // Where the device has gone, the text is that of whichever call met it first.
    const bool isGone = error == QSerialPort::ReadError || error == QSerialPort::ResourceError;
    const QString why = isGone ? "the device is gone" : m_device.errorString();
    const QByteArray rest = m_device.readAll();
    m_device.close();
    waitForDevice("lost", why);
    handOn(rest);
}

// QIODevice::readAll() would move 16 KiB of memory about for every chunk.
void SerialPort::Private::receive()
{
    if (m_device.isOpen())
        handOn(m_device.read(m_device.bytesAvailable()));
}

// The service may close or delete the port while it handles the chunk, so nothing is done after that.
void SerialPort::Private::handOn(const QByteArray& chunk)
{
    if (chunk.isEmpty())
        return;
    emit LineWatch::instance().received(chunk);
    emit m_port->read(chunk);
}

int SerialPort::Private::write(const QByteArray& data)
{
    if (!m_device.isOpen())
        return -1;
    const qint64 queued = m_device.bytesToWrite();
    if (queued + data.size() > QueueLimit) {
        if (!m_queueFull)
            note(QString("the peer does not read: %1 bytes wait, refusing more").arg(queued));
        m_queueFull = true;
        return 0;
    }
    m_queueFull = m_queueFull && queued > 0;
    // Bytes leave at once; only what the device does not take waits for the event loop. QSerialPort::flush()
    // would report a loss where the peer's buffer is full.
    const ssize_t sent =
        queued > 0 ? 0 : ::write(m_device.handle(), data.constData(), static_cast<size_t>(data.size()));
    if (sent < data.size())
        m_device.write(data.mid(static_cast<int>(std::max<ssize_t>(sent, 0))));
    emit LineWatch::instance().sent(data);
    return data.size();
}

SerialPort::SerialPort(QObject* parent)
    : QObject(parent)
    , d(std::make_unique<Private>(this))
{
}

SerialPort::~SerialPort() = default;

bool SerialPort::open(QString portName, int baud)
{
    return d->open(portName, baud);
}

void SerialPort::close()
{
    d->close();
}

int SerialPort::writeData(const QByteArray& data, bool)
{
    return d->write(data);
}

} // namespace canservice
