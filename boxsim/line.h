#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <QString>
#include <QTimer>

#include <memory>

namespace boxsim {

/// The serial line: a pseudo-terminal of its own, or a serial device at 38400 baud, 8N1.
///
/// A pseudo-terminal carries nothing while nobody has it open, as a wire without a listener does: what is
/// written then is lost, and whoever opens it does not read what was meant for somebody before.
class Line : public QObject
{
    Q_OBJECT

public:
    /// @param device the serial device; empty stands for a pseudo-terminal
    /// @param link   where a symbolic link to the pseudo-terminal is kept; may be empty
    Line(QString device, QString link);
    ~Line() override;

    /// Opens the line. @return an empty text, or what went wrong and what to do about it.
    QString open();

    /// What the head unit opens: the link, else the pseudo-terminal, else the device.
    QString path() const;

    /// Writes @p bytes. Never waits: what a full buffer does not take is lost, and noted as lost.
    void write(const QByteArray& bytes, const QString& meaning);

    /// Closes the pseudo-terminal and makes another one under the same link.
    void hangUp();

signals:
    void received(QByteArray chunk);
    void sent(QByteArray bytes, QString meaning);
    /// Something that people are told.
    void noted(QString text);
    /// Something for the log.
    void logged(QString text);
    /// The line is gone for good; @p reason tells why.
    void lost(QString reason);

private:
    QString openDevice();
    QString openTerminal();
    QString placeLink();
    void removeLink();
    void readAvailable();
    void setPeer(bool present);
    bool resetTerminal();

    QString m_device;
    QString m_link;
    QString m_terminal; // path of the pseudo-terminal, empty for a device
    int m_fd = -1;
    bool m_peer = false; // somebody has the line open; always true for a device
    std::unique_ptr<QSocketNotifier> m_notifier;
    QTimer m_lookForPeer;
};

} // namespace boxsim
