#pragma once

#include <canservicebase.h>
#include <serialport.h>

#include <QMap>
#include <QPluginLoader>
#include <QPointer>
#include <QStringList>

#include <functional>

/// The head unit as the tests play it: implements the host's services, loads the built plug-in as the real
/// host does, and writes down in one journal, in order, what the plug-in does:
///
///   open  38400           write FF true          doorChanged()              setting KEY FILE false
///   close                 lost FF true           keyEvent(5,0,true)         debug VALUES / error VALUES
///   asks translate 1141
///
/// "lost" is a write to the closed port. Log lines appear only while setLogs() says so, and with their values
/// only unless their head is not what it must be.
class RecordingHost : public QObject
{
public:
    static RecordingHost& instance();

    /// Deletes the plug-in's instance, forgets journal and settings, and lets the plug-in make a fresh one.
    CanServiceBase& restart();
    /// Lets the plug-in make an instance, with journal and settings as they are.
    CanServiceBase& create();
    /// Deletes the plug-in's instance.
    void shutDown();
    CanServiceBase& service() { return *m_service; }
    bool hasService() const { return m_service; }
    QPluginLoader& loader() { return m_loader; }

    /// The port delivers @p chunk.
    void receive(const QByteArray& chunk);
    /// The port delivers a good frame.
    void receiveFrame(int type, const QByteArray& payload);
    /// The journal since the last call.
    QStringList take();
    void note(const QString& line) { m_journal.append(line); }
    void called(const QString& call);
    /// called(), of a host service that answers; written down while listsQuestions says so.
    void asked(const QString& question, const QString& arguments = {});

    // What the host services answer.
    int carModel = 20;
    int carModelIndex = 255;
    int driverPosition = 0;
    QMap<int, QString> texts; ///< an id without a text is translated as "<id>"
    bool listsQuestions = false;
    /// Whether the plug-in's log lines are written down; without it they are filtered out, as in a quiet head
    /// unit.
    void setLogs(bool on);
    bool logs() const { return m_logs; }

    /// Called within each call that the plug-in makes, right after it was written down, with the line of a
    /// write or signal, the signature and source line of a log line, or the name of another host service.
    std::function<void(const QString& call)> onCall;
    /// When set: called with each write, and neither writes nor signals are written down. For runs whose
    /// journal would cost too much.
    std::function<void(const QByteArray& bytes)> onWrite;
    canservice::SerialPort* port = nullptr;
    bool isPortOpen = false;
    /// The whole texts of the log lines that were written down.
    QStringList logLines;

    int qt_metacall(QMetaObject::Call call, int id, void** arguments) override;

private:
    RecordingHost();

    QPluginLoader m_loader;
    QPointer<CanServiceBase> m_service;
    QStringList m_journal;
    bool m_logs = false;
};

/// A type that no frame will ever have, as protocol/canbox.json says; in conversations it is 2C.
constexpr int ReservedType = 0x2C;

/// A good frame of the CAN box.
QByteArray frameOf(int type, const QByteArray& payload);

/// The bytes of "2E 24 02", blanks ignored.
inline QByteArray hex(const QString& text)
{
    return QByteArray::fromHex(text.toLatin1());
}
