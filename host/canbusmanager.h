#pragma once

#include <qglobal.h>

/// Tells which car the head unit is set up for.
class Q_DECL_EXPORT CanBusManager
{
public:
    static CanBusManager* instance();

    /// The id of the car model, in the numbering that the head unit's application and the service share. It
    /// may change while the head unit runs.
    int getCarModelId();

    /// The car model index that is announced to the CAN box, 0 to 254; 255 means that none is announced.
    int getHwdCarModelIndex();
};
