#include "deviceline.h"

#include "clock.h"
#include "note.h"
#include "process.h"

#include <QFileInfo>

#include <unistd.h>

using namespace std::chrono_literals;

namespace {

// The device is tried again after a pause that doubles from try to try. The longest one leaves time to open
// it within a second of its return.
constexpr auto FirstPause = 100ms;
constexpr auto LongestPause = 800ms;

constexpr qint64 QueueLimit = 65536; // bytes that may wait for a peer that does not read
constexpr auto FlushTime = 500ms;    // what closing the line may wait for the queue

// Who may open the device.
QString permissionOf(const QFileInfo& device)
{
    const bool isGroups = device.permission(QFile::ReadGroup | QFile::WriteGroup) && device.groupId() != 0;
    const QString remedy("the group %1 has it: sudo adduser $USER %1, then log in again");
    return isGroups ? remedy.arg(device.group()) : QString("only %1 has it").arg(device.owner());
}

} // namespace

// QSerialPort goes on reporting errors without end after a hang-up, and neither its deletion nor a nested
// event loop is safe inside its signals. So both of its signals are queued, any error is a loss, and a loss
// closes the device at once; it is then tried again until it comes back.
DeviceLine::DeviceLine(QString device, std::chrono::seconds giveUp)
    : m_wired(std::move(device))
    , m_giveUp(giveUp)
{
    connect(&m_device, &QSerialPort::readyRead, this, &DeviceLine::receive, Qt::QueuedConnection);
    connect(&m_device, &QSerialPort::errorOccurred, this, &DeviceLine::lose, Qt::QueuedConnection);
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &DeviceLine::tryAgain);
}

bool DeviceLine::open(const QString& portName, int baud)
{
    close();
    // 8 data bits, no parity and 1 stop bit are what QSerialPort starts with.
    m_name = portName.isEmpty() ? m_wired : portName;
    m_device.setPortName(m_name);
    m_device.setBaudRate(baud);
    if (openDevice()) {
        emit present();
        return true;
    }
    if (m_remedy.isEmpty()) {
        waitForDevice("absent", "cannot open", obstacle());
    } else {
        complain(QString("cannot open %1: %2; %3").arg(m_name, obstacle(), m_remedy),
                 {{"device", "given-up"}, {"path", m_name}});
        emit absent(m_name + ": " + obstacle(), false);
        // Queued, since a plug-in may open the port before anybody listens.
        QMetaObject::invokeMethod(this, &DeviceLine::goneForGood, Qt::QueuedConnection);
    }
    return false;
}

bool DeviceLine::openDevice()
{
    m_queueFull = false;
    return m_device.open(QIODevice::ReadWrite);
}

// Why it could not be opened, and who can change that.
QString DeviceLine::obstacle() const
{
    const QFileInfo file(m_name);
    if (!file.exists())
        return m_device.errorString();
    if (!file.isReadable() || !file.isWritable())
        return "no permission; " + permissionOf(file);
    if (m_device.error() != QSerialPort::PermissionError)
        return m_device.errorString();
    const QStringList holders = processesWith(
        [&](const QFileInfo& open) { return open.symLinkTarget() == file.canonicalFilePath(); });
    return "another program has it: " +
           (holders.isEmpty() ? "sudo fuser -v " + m_name + " tells which" : holders.join(", "));
}

void DeviceLine::close()
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

void DeviceLine::waitForDevice(const QString& state, const QString& what, const QString& why)
{
    complain(QString("%1 %2: %3; waiting for it").arg(what, m_name, why),
             {{"device", state}, {"path", m_name}});
    emit absent(m_name + ": " + why, state == "lost");
    m_lostAt = now();
    m_retry.start(FirstPause);
}

void DeviceLine::tryAgain()
{
    if (openDevice()) {
        note(m_name + " is open", {{"device", "open"}, {"path", m_name}});
        emit present();
        return;
    }
    if (m_giveUp > 0s && now() - m_lostAt > m_giveUp) {
        complain(QString("%1 has been away for %2 s, giving up").arg(m_name).arg(m_giveUp.count()),
                 {{"device", "given-up"}, {"path", m_name}});
        emit goneForGood();
        return;
    }
    m_retry.start(std::min<std::chrono::milliseconds>(2 * m_retry.intervalAsDuration(), LongestPause));
}

void DeviceLine::lose(QSerialPort::SerialPortError error)
{
    if (error == QSerialPort::NoError || !m_device.isOpen())
        return;
    // Where the device has gone, the text is that of whichever call met it first.
    const bool isGone = error == QSerialPort::ReadError || error == QSerialPort::ResourceError;
    const QString why = isGone ? "the device is gone" : m_device.errorString();
    const QByteArray rest = m_device.readAll();
    m_device.close();
    waitForDevice("lost", "lost", why);
    handOn(rest);
}

// QIODevice::readAll() would move 16 KiB of memory about for every chunk.
void DeviceLine::receive()
{
    if (m_device.isOpen())
        handOn(m_device.read(m_device.bytesAvailable()));
}

// The receiver may close the line while it handles the chunk, so nothing is done after that.
void DeviceLine::handOn(const QByteArray& chunk)
{
    if (!chunk.isEmpty())
        emit received(chunk);
}

int DeviceLine::write(const QByteArray& data)
{
    if (!m_device.isOpen())
        return -1;
    const qint64 queued = m_device.bytesToWrite();
    if (queued + data.size() > QueueLimit) {
        if (!m_queueFull)
            complain(QString("the peer does not read: %1 bytes wait, refusing more").arg(queued));
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
    return data.size();
}
