// The car's keys: press and release frames of the steering wheel, the panel and the Bluetooth keys become the
// host's key events. The three frame types share one key state, so one held key is followed at a time:
//
//   idle    press: event 0, long-press timer starts -> down
//   down    release: event 1 -> idle; timer fires: event 2 -> held; a further press is dropped
//   held    release: event 3 -> idle; a further press is dropped

#include "log.h"
#include "payload.h"
#include "simpleservice.h"

namespace canservice {

namespace {

constexpr int KeyBytes = 2;
constexpr int LongPressMs = 1500;

enum Action { Released = 0, Pressed = 1 };

// The host's key event states.
enum KeyState { KeyDown = 0, KeyUp = 1, KeyHeld = 2, KeyUpAfterHeld = 3 };

// Host key by Bluetooth key code.
constexpr int bluetoothKeys[] = {0, 9, 10};
constexpr int BluetoothKeys = sizeof bluetoothKeys / sizeof *bluetoothKeys;

} // namespace

// The event of a release carries the code of the key that went down, whatever the release frame says.
void SimpleService::handleKey(int key, int action, bool fromSteeringWheel)
{
    if (action == Pressed && !m_keyDown) {
        m_keyFromSteeringWheel = fromSteeringWheel;
        m_keyDown = true;
        m_pressedKey = key;
        m_longPressTimer.start(LongPressMs);
        emit keyEvent(m_pressedKey, KeyDown, fromSteeringWheel);
    } else if (action == Released && m_keyDown) {
        const KeyState state = m_longPressTimer.isActive() ? KeyUp : KeyUpAfterHeld;
        m_longPressTimer.stop();
        // A steering-wheel frame that releases a panel key reports it as the steering wheel's.
        emit keyEvent(m_pressedKey, state, fromSteeringWheel || m_keyFromSteeringWheel);
        m_keyDown = false;
    }
}

void SimpleService::doSWC(int, QByteArray& payload)
{
    if (!hasSize(payload, KeyBytes, Q_FUNC_INFO))
        return;
    handleKey(byteAt(payload, 0), byteAt(payload, 1), true);
}

void SimpleService::doPanelKey(int, QByteArray& payload)
{
    if (!hasSize(payload, KeyBytes, Q_FUNC_INFO))
        return;
    handleKey(byteAt(payload, 0), byteAt(payload, 1), false);
}

void SimpleService::doSWCBtInfo(int, QByteArray& payload)
{
    if (!hasSize(payload, KeyBytes, Q_FUNC_INFO))
        return;
    const int code = byteAt(payload, 0);
    const int action = byteAt(payload, 1);
    CAN_DEBUG(code, code == 1, code == 2);
    if (code >= BluetoothKeys)
        return;
    const int key = bluetoothKeys[code];
    CAN_DEBUG(m_keyDown, action, key);
    handleKey(key, action, true);
}

// The key stays down, so that its release reports that it was held.
void SimpleService::onLongPressTimeout()
{
    emit keyEvent(m_pressedKey, KeyHeld, m_keyFromSteeringWheel);
}

} // namespace canservice
