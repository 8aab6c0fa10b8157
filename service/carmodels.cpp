// Car-model classes: membership of the current car model id in an enumeration of SimpleService.

#include "log.h"
#include "simpleservice.h"

#include <canbusmanager.h>

#include <QMetaEnum>

namespace canservice {

// Looked up on each call, so that a change of the car model takes effect at once. The key's name is asked for
// only where it is logged.
bool SimpleService::isCarModelListed(const char* enumeration, const char* label, const char* operation)
{
    const QMetaEnum models = staticMetaObject.enumerator(staticMetaObject.indexOfEnumerator(enumeration));
    const int id = CanBusManager::instance()->getCarModelId();
    CAN_DEBUG_OF(operation, models.keyCount());
    for (int i = 0, count = models.keyCount(); i < count; ++i) {
        if (models.value(i) == id) {
            CAN_DEBUG_OF(operation, label, QString::fromLatin1(models.valueToKey(id)), " = ", id);
            return true;
        }
    }
    return false;
}

bool SimpleService::isLandscapeAc()
{
    return !isCarModelListed("KelmoToyotaVerticalCarModle", "VVVV -->>", Q_FUNC_INFO);
}

bool SimpleService::onNotSuppHeatingCoolDisp()
{
    return !isCarModelListed("KelmoToyotaHeatingCoolingCarModle", "HHHHCCC -->>", Q_FUNC_INFO);
}

} // namespace canservice
