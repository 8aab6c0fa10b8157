#include "recordinghost.h"

#include <canbusmanager.h>
#include <configmanager.h>
#include <settings.h>
#include <translator.h>

#include <QLoggingCategory>
#include <QMetaMethod>

#include <numeric>

#include <unistd.h>

namespace {

RecordingHost& host()
{
    return RecordingHost::instance();
}

QString spaced(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

// Only the plug-in's lines have the "--" separator; what else is said goes to stderr. The head of a line
// repeats what Qt is told, and names the thread that logs.
void recordLogLine(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    const int separator = text.indexOf(QLatin1String(" -- "));
    if (separator < 0) {
        static_cast<void>(fprintf(stderr, "%s\n", qPrintable(text)));
        return;
    }
    const QString head = QString(type == QtDebugMsg ? "[DBG] " : "[ERR] ") + QString::number(gettid()) + ' ' +
                         context.function + ' ' + QString::number(context.line);
    const bool isUsual = (type == QtDebugMsg || type == QtCriticalMsg) && text.left(separator) == head &&
                         QByteArray(context.file).startsWith("service/") && context.line > 0 &&
                         QByteArray(context.category) == "default";
    host().logLines.append(text);
    host().note((type == QtDebugMsg ? "debug " : "error ") + text.mid(separator + 4) +
                (isUsual ? "" : " of another kind: " + text));
    host().called(text.left(separator));
}

} // namespace

RecordingHost& RecordingHost::instance()
{
    static RecordingHost recordingHost;
    return recordingHost;
}

RecordingHost::RecordingHost()
    : m_loader(QStringLiteral(PLUGIN_FILE))
{
    if (!m_loader.load())
        qFatal("%s", qPrintable(m_loader.errorString()));
}

CanServiceBase& RecordingHost::restart()
{
    shutDown();
    carModel = 20;
    carModelIndex = 255;
    driverPosition = 0;
    texts.clear();
    onCall = nullptr;
    onWrite = nullptr;
    listsQuestions = false;
    setLogs(false);
    m_journal.clear();
    logLines.clear();
    return create();
}

CanServiceBase& RecordingHost::create()
{
    m_service = qobject_cast<CanServiceBase*>(m_loader.instance());
    const QMetaObject& meta = CanServiceBase::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        QMetaObject::connect(m_service, i, this, QObject::staticMetaObject.methodCount() + i,
                             Qt::DirectConnection);
    return *m_service;
}

void RecordingHost::shutDown()
{
    delete m_service;
}

void RecordingHost::called(const QString& call)
{
    if (onCall)
        onCall(call);
}

void RecordingHost::asked(const QString& question, const QString& arguments)
{
    if (listsQuestions)
        note(("asks " + question + ' ' + arguments).trimmed());
    called(question);
}

void RecordingHost::setLogs(bool on)
{
    m_logs = on;
    QLoggingCategory::setFilterRules(on ? QStringLiteral("*=true") : QStringLiteral("default=false"));
    qInstallMessageHandler(on ? recordLogLine : nullptr);
}

// Each signal of CanServiceBase is connected to the method number that lies as far behind QObject's as its
// own.
int RecordingHost::qt_metacall(QMetaObject::Call call, int id, void** arguments)
{
    id = QObject::qt_metacall(call, id, arguments);
    if (id < 0 || call != QMetaObject::InvokeMetaMethod)
        return id;
    if (onWrite && !onCall)
        return -1;
    const QMetaMethod signal = CanServiceBase::staticMetaObject.method(id);
    QStringList values;
    for (int i = 0; i < signal.parameterCount(); ++i)
        values.append(QVariant(signal.parameterType(i), arguments[i + 1]).toString());
    const QString line =
        QStringLiteral("%1(%2)").arg(QString::fromLatin1(signal.name()), values.join(QLatin1Char(',')));
    if (!onWrite)
        note(line);
    called(line);
    return -1;
}

void RecordingHost::receive(const QByteArray& chunk)
{
    if (port) // a service that deleted itself took it along
        emit port->read(chunk);
}

void RecordingHost::receiveFrame(int type, const QByteArray& payload)
{
    receive(frameOf(type, payload));
}

QByteArray frameOf(int type, const QByteArray& payload)
{
    const QByteArray body =
        static_cast<char>(type) + QByteArray(1, static_cast<char>(payload.size())) + payload;
    return '\x2E' + body + static_cast<char>(~std::accumulate(body.begin(), body.end(), 0));
}

QStringList RecordingHost::take()
{
    QStringList lines;
    lines.swap(m_journal);
    return lines;
}

// The host services.

class canservice::SerialPort::Private
{
};

canservice::SerialPort::SerialPort(QObject* parent)
    : QObject(parent)
{
    host().port = this;
}

canservice::SerialPort::~SerialPort()
{
    host().port = nullptr;
}

bool canservice::SerialPort::open(QString portName, int baud)
{
    host().note(QStringLiteral("open %1 %2").arg(portName).arg(baud));
    host().isPortOpen = true;
    host().called(QStringLiteral("open"));
    return true;
}

void canservice::SerialPort::close()
{
    host().note(QStringLiteral("close"));
    host().isPortOpen = false;
    host().called(QStringLiteral("close"));
}

int canservice::SerialPort::writeData(const QByteArray& data, bool flag)
{
    const int taken = host().isPortOpen ? data.size() : -1;
    if (host().onWrite)
        host().onWrite(data);
    if (host().onWrite && !host().onCall)
        return taken;
    const QString line =
        QStringLiteral("%1 %2 %3")
            .arg(host().isPortOpen ? "write" : "lost", spaced(data), flag ? "true" : "false");
    if (!host().onWrite)
        host().note(line);
    host().called(line);
    return taken;
}

int CanBusManager::getCarModelId()
{
    host().asked(QStringLiteral("getCarModelId"));
    return host().carModel;
}

int CanBusManager::getHwdCarModelIndex()
{
    host().asked(QStringLiteral("getHwdCarModelIndex"));
    return host().carModelIndex;
}

QString canservice::ConfigManager::getPluginFullPath()
{
    host().asked(QStringLiteral("getPluginFullPath"));
    return QStringLiteral("/plugins/test.so");
}

int mem::SettingsExe::getValue(QString key, QString file, bool flag)
{
    host().note(QStringLiteral("setting %1 %2 %3").arg(key, file, flag ? "true" : "false"));
    host().called(QStringLiteral("getValue"));
    return host().driverPosition;
}

QString Translator::translate(int id)
{
    host().asked(QStringLiteral("translate"), QString::number(id));
    return host().texts.value(id, QStringLiteral("<%1>").arg(id));
}
