#pragma once

#include <QByteArray>
#include <QVector>

namespace boxsim {

/// What a climate key of the head unit does in the simulated car.
struct ClimateKey
{
    int command;            ///< in the key frame of vertical layouts, 0: only landscape has it
    int byte;               ///< in the bit field of landscape layouts
    int mask;               ///< of the one bit there, 0: only vertical has it
    const char* value;      ///< the words of its row in valueRows()
    double (*step)(double); ///< the value's next number
};

/// The key with the command byte @p command; nullptr when the car has none.
const ClimateKey* climateKey(int command);

/// The keys whose bits are set in @p bitField.
QVector<const ClimateKey*> climateKeys(const QByteArray& bitField);

} // namespace boxsim
