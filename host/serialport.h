#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

#include <memory>

namespace canservice {

/// The serial line to the CAN box, as the head unit's application provides it.
///
/// The service holds one by value, so the class has a fixed size of its own: whoever implements it keeps all
/// state behind the one opaque pointer. All members are called, and read() is emitted, on the thread that
/// owns the object.
class Q_DECL_EXPORT SerialPort : public QObject
{
    Q_OBJECT

public:
    explicit SerialPort(QObject* parent = nullptr);
    ~SerialPort() override;

    /// Opens the line at @p baud bits per second, 8 data bits, no parity, 1 stop bit. An empty @p portName
    /// stands for the device that the head unit has wired to the CAN box.
    /// @return whether the line is open. The service does not look at it.
    bool open(QString portName, int baud);

    /// Closes the line; what is written from then on is lost.
    void close();

    /// Writes @p data at once, in call order. What @p flag means is the host's affair: the service passes
    /// true with acknowledgements, start, stop, touch, climate and car-model frames, and false with all
    /// others.
    /// @return the number of bytes taken over, or -1 when the line is closed. An int, because a host that
    /// declares bool or a 64-bit count instead still returns its low part in the same register.
    int writeData(const QByteArray& data, bool flag);

Q_SIGNALS:
    /// One chunk of received bytes, of any length, in the order of the line. Its boundaries carry no meaning.
    void read(QByteArray data);

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace canservice
