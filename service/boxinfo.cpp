// What the box tells of itself and its system: the version text and the camera mode. A touch on the camera
// picture goes back to it.

#include "log.h"
#include "payload.h"
#include "simpleservice.h"

#include <algorithm>

namespace canservice {

namespace {

constexpr int SystemInfoBytes = 2;

constexpr int TouchKey = 0;
constexpr float TouchScaleY = 1.6666666F; // picture height to touch height: just below 5/3

/// Towards zero; out of range, the nearest end of the range, as the head unit's processor converts.
qint32 truncated(float value)
{
    const auto whole = static_cast<qint64>(value);
    return static_cast<qint32>(std::clamp<qint64>(whole, INT32_MIN, INT32_MAX));
}

} // namespace

// UTF-8, up to the first 0x00. Announced even when it did not change.
void SimpleService::doVersion(int, QByteArray& payload)
{
    if (update(m_versionPayload, payload)) {
        const auto length = qstrnlen(payload.constData(), static_cast<uint>(payload.size()));
        m_versionString = QString::fromUtf8(payload.constData(), static_cast<int>(length));
    }
    CAN_DEBUG(m_versionString);
    emit sigVersionData();
}

void SimpleService::doSystemInfo(int, QByteArray& payload)
{
    if (!hasSize(payload, SystemInfoBytes, Q_FUNC_INFO))
        return;
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

int SimpleService::sendCameraKey(int key, CameraData data)
{
    if (key != TouchKey)
        return 0;
    const int scaledY = truncated(static_cast<float>(data.touchY) * TouchScaleY);
    CAN_DEBUG(TouchScaleY, scaledY);
    sendTouchSet(bytesOf(1, data.touchX >> 8, data.touchX, scaledY >> 8, scaledY, 0));
    return 0;
}

} // namespace canservice
