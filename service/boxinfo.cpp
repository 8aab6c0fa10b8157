// What the box tells of itself and its system: the version text and the camera mode.

#include "log.h"
#include "payload.h"
#include "simpleservice.h"

namespace canservice {

namespace {

constexpr int SystemInfoBytes = 2;

} // namespace

// UTF-8, up to the first 0x00. Announced even when it did not change.
void SimpleService::doVersion(int, QByteArray& payload)
{
    if (update(m_versionPayload, payload)) {
        const auto length = qstrnlen(payload.constData(), static_cast<uint>(payload.size()));
        m_versionString = QString::fromUtf8(payload.constData(), static_cast<int>(length));
    }
    CAN_DEBUG << m_versionString;
    emit sigVersionData();
}

void SimpleService::doSystemInfo(int, QByteArray& payload)
{
    if (payload.size() != SystemInfoBytes) {
        CAN_DEBUG << "paraBuf size:" << payload.size();
        return;
    }
    CAN_DEBUG << payload.toHex();
    if (update(m_cameraMode, byteAt(payload, 0) >> 2 & 1))
        emit sigCameraMode();
}

QString SimpleService::version()
{
    return m_versionString;
}

int SimpleService::getCameraMode()
{
    return m_cameraMode;
}

} // namespace canservice
