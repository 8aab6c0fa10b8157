#include "nullhost.h"

#include <canbusmanager.h>
#include <configmanager.h>
#include <settings.h>
#include <translator.h>

#include <QLoggingCategory>

#include <numeric>

namespace {

NullHost& host()
{
    return NullHost::instance();
}

template<typename... Signals> void countEach(CanServiceBase& service, Signals... signal)
{
    (QObject::connect(&service, signal, [] { ++host().signalCount; }), ...);
}

} // namespace

NullHost& NullHost::instance()
{
    static NullHost nullHost;
    return nullHost;
}

NullHost::NullHost()
    : m_loader(QStringLiteral(PLUGIN_FILE))
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    if (!m_loader.load())
        qFatal("%s", qPrintable(m_loader.errorString()));
}

void NullHost::recreate()
{
    delete m_service;
    m_service = qobject_cast<CanServiceBase*>(m_loader.instance());
}

void NullHost::connectSignals()
{
    using S = CanServiceBase;
    countEach(*m_service, &S::notifyCanbusStatus, &S::acStatusChanged, &S::doorChanged,
              &S::canDrivingPositionChanged, &S::sigRadarChanged, &S::otherInfoDataChanged, &S::tireAlert,
              &S::tireDataChanged, &S::drivingDataChanged, &S::fuelDataChanged, &S::unitDataChanged,
              &S::sigVersionData, &S::sigCameraMode, &S::keyEvent);
}

QByteArray frameOf(int type, const QByteArray& payload)
{
    const QByteArray body =
        static_cast<char>(type) + QByteArray(1, static_cast<char>(payload.size())) + payload;
    return '\x2E' + body + static_cast<char>(~std::accumulate(body.begin(), body.end(), 0));
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

canservice::SerialPort::~SerialPort() = default;

bool canservice::SerialPort::open(QString, int)
{
    return true;
}

void canservice::SerialPort::close() {}

int canservice::SerialPort::writeData(const QByteArray& data, bool)
{
    ++host().writeCount;
    return data.size();
}

int CanBusManager::getCarModelId()
{
    return host().carModel;
}

int CanBusManager::getHwdCarModelIndex()
{
    return 7;
}

QString canservice::ConfigManager::getPluginFullPath()
{
    return QStringLiteral("libkelmo_Toyota.so");
}

int mem::SettingsExe::getValue(QString, QString, bool)
{
    return 1;
}

// Two texts in turn are enough to make a change of unit a change of text.
QString Translator::translate(int id)
{
    static const QString texts[] = {QStringLiteral("km"), QStringLiteral("mls")};
    return texts[id % 2];
}
