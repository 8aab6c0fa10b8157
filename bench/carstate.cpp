#include "carstate.h"

namespace {

using Car = CanServiceBase;

struct CarValue
{
    const char* topic;
    const char* name;
    QVariant (*read)(Car&);
    QString (Car::*unit)() = nullptr;
};

// A float becomes the double that its six significant digits stand for, so that 2.3 is shown as 2.3.
QVariant plain(float number)
{
    return QString::number(static_cast<double>(number), 'g', 6).toDouble();
}

template<typename T> QVariant plain(const T& value)
{
    return QVariant(value);
}

template<auto Getter> QVariant get(Car& car)
{
    return plain((car.*Getter)());
}

template<int Index> QVariant drivingText(Car& car)
{
    DrivingData data;
    car.getDrivingData(data);
    return data.texts[Index];
}

template<int Index> QVariant fuelText(Car& car)
{
    FuelConsumptionData data;
    car.getFuelConsumptionData(data);
    return data.texts[Index];
}

template<auto List> QVariant fuelUnit(Car& car)
{
    UnitData data;
    car.getUnitData(data);
    return (data.*List).value(0);
}

template<auto Field> QVariant otherInfo(Car& car)
{
    OtherInfoData data;
    car.getOtherInfoData(data);
    return plain(data.*Field);
}

template<auto Field> QVariant carSetting(Car& car)
{
    return plain(static_cast<int>(car.getCarSettingData().*Field));
}

constexpr CarValue values[] = {
    {"box", "version", get<&Car::version>},
    {"doors", "doorStatus", get<&Car::getDoorStatus>},
    {"doors", "leftFrontDoorOpen", get<&Car::isLeftFrontDoorOpen>},
    {"doors", "rightFrontDoorOpen", get<&Car::isRightFrontDoorOpen>},
    {"doors", "leftRearDoorOpen", get<&Car::isLeftRearDoorOpen>},
    {"doors", "rightRearDoorOpen", get<&Car::isRightRearDoorOpen>},
    {"doors", "backDoorOpen", get<&Car::isRearDoorOpen>},
    {"doors", "frontDoorOpen", get<&Car::isFrontDoorOpen>},
    {"position", "drivingPosition", get<&Car::getCanDrivingPosition>},
    {"body", "speed", get<&Car::getSpeed>, &Car::getSpeedUnit},
    {"body", "outsideTemperature", get<&Car::getTemperature>, &Car::getTemperatureUnit},
    {"body", "outsideTemperatureText", get<&Car::getTemperatureStr>},
    {"body", "rotate", get<&Car::getRotate>},
    {"body", "coolantTemperature", get<&Car::getCoolantTemp>, &Car::getCoolantTempUnit},
    {"body", "batteryVoltage", get<&Car::getBatteryVoltageValue>, &Car::getBatteryVoltageUnit},
    {"body", "batteryAlert", get<&Car::getBatteryVoltageAlertType>},
    {"body", "earGlonass", get<&Car::getEarGlonass>},
    {"body", "ambientStatus", get<&Car::getAmbientStatus>},
    {"radar", "active", get<&Car::isRadarStatus>},
    {"radar", "frontLeft", get<&Car::getFrontRadarLeftDistance>},
    {"radar", "frontMiddleLeft", get<&Car::getFrontRadarMiddleLeftDistance>},
    {"radar", "frontMiddleRight", get<&Car::getFrontRadarMiddleRightDistance>},
    {"radar", "frontRight", get<&Car::getFrontRadarRightDistance>},
    {"radar", "rearLeft", get<&Car::getRearRadarLeftDistance>},
    {"radar", "rearMiddleLeft", get<&Car::getRearRadarMiddleLeftDistance>},
    {"radar", "rearMiddleRight", get<&Car::getRearRadarMiddleRightDistance>},
    {"radar", "rearRight", get<&Car::getRearRadarRightDistance>},
    {"radar", "leftFront", get<&Car::getLeftRadarFrontDistance>},
    {"radar", "leftMiddleFront", get<&Car::getLeftRadarMiddleFrontDistance>},
    {"radar", "leftMiddleRear", get<&Car::getLeftRadarMiddleRearDistance>},
    {"radar", "leftRear", get<&Car::getLeftRadarRearDistance>},
    {"radar", "rightFront", get<&Car::getRightRadarFrontDistance>},
    {"radar", "rightMiddleFront", get<&Car::getRightRadarMiddleFrontDistance>},
    {"radar", "rightMiddleRear", get<&Car::getRightRadarMiddleRearDistance>},
    {"radar", "rightRear", get<&Car::getRightRadarRearDistance>},
    {"other", "radarText", otherInfo<&OtherInfoData::text6>},
    {"other", "otherFlag", otherInfo<&OtherInfoData::otherFlag>},
    {"tyres", "frontLeftPressure", get<&Car::getTirePressureValueFL>, &Car::getTireUnit},
    {"tyres", "frontRightPressure", get<&Car::getTirePressureValueFR>, &Car::getTireUnit},
    {"tyres", "rearLeftPressure", get<&Car::getTirePressureValueRL>, &Car::getTireUnit},
    {"tyres", "rearRightPressure", get<&Car::getTirePressureValueRR>, &Car::getTireUnit},
    {"tyres", "frontLeftStatus", get<&Car::getTireStatusFL>},
    {"tyres", "frontRightStatus", get<&Car::getTireStatusFR>},
    {"tyres", "rearLeftStatus", get<&Car::getTireStatusRL>},
    {"tyres", "rearRightStatus", get<&Car::getTireStatusRR>},
    {"tyres", "alertType", get<&Car::getTireAlertType>},
    {"trip", "tripA", drivingText<0>},
    {"trip", "tripB", drivingText<2>},
    {"trip", "tripC", drivingText<1>},
    {"trip", "tripD", drivingText<4>},
    {"trip", "timeMileage", get<&Car::getTimeAllMileage>},
    {"trip", "oilMileage", get<&Car::getOilAllMileage>},
    {"trip", "mileageUnits", get<&Car::getMileageUnits>},
    {"fuel", "instantaneous", fuelText<0>},
    {"fuel", "history1", fuelText<1>},
    {"fuel", "history2", fuelText<2>},
    {"fuel", "history3", fuelText<3>},
    {"fuel", "history4", fuelText<4>},
    {"fuel", "history5", fuelText<5>},
    {"units", "fuelUnit", fuelUnit<&UnitData::curTexts>},
    {"units", "fuelUnitIndex", fuelUnit<&UnitData::curLevels>},
    {"units", "fuelUnitCount", fuelUnit<&UnitData::maxLevels>},
    {"climate", "powerOff", get<&Car::isPowerOff>},
    {"climate", "ac", get<&Car::isAc>},
    {"climate", "acMax", get<&Car::isAcMax>},
    {"climate", "insideAir", get<&Car::isInside>},
    {"climate", "automatic", get<&Car::isAuto>},
    {"climate", "dual", get<&Car::isDual>},
    {"climate", "frontDefrost", get<&Car::isFrontDefrost>},
    {"climate", "rearDefrost", get<&Car::isRearDefrost>},
    {"climate", "windMode", get<&Car::getAcWindMode>},
    {"climate", "fan", get<&Car::getAcWindScale>},
    {"climate", "leftTemperature", get<&Car::getAcTemperature>, &Car::getAcTemperatureUnit},
    {"climate", "rightTemperature", get<&Car::getAcRightTemperature>, &Car::getAcRightTemperatureUnit},
    {"climate", "showRequest", get<&Car::getAcShowRequest>},
    {"climate", "airCare", get<&Car::isAirCareActive>},
    {"climate", "airClearStatus", get<&Car::getAcAirClearStatus>},
    {"climate", "profile", get<&Car::getAirConProfile>},
    {"climate", "steeringWheelHeat", get<&Car::isAcSwcHeat>},
    {"climate", "glassHeat", get<&Car::isAcGlassHeat>},
    {"climate", "frontLeftHeat", get<&Car::getAcFrontLeftHeat>},
    {"climate", "frontRightHeat", get<&Car::getAcFrontRightHeat>},
    {"climate", "rearLeftHeat", get<&Car::getAcRearLeftHeat>},
    {"climate", "rearRightHeat", get<&Car::getAcRearRightHeat>},
    {"climate", "leftVentilation", get<&Car::getLeftVentilation>},
    {"climate", "rightVentilation", get<&Car::getRightVentilation>},
    {"climate", "rearPowerOff", get<&Car::isPowerOffRear>},
    {"climate", "rearClimate", get<&Car::isRearClimate>},
    {"climate", "rearWindMode", get<&Car::getAcWindModeRear>},
    {"climate", "rearFan", get<&Car::getAcWindScaleRear>},
    {"climate", "rearTemperature", get<&Car::getAcRearTemperature>},
    {"climate", "manualMode", get<&Car::getManualClimateMode>},
    {"climate", "dualControllable", get<&Car::getDualControllableState>},
    {"camera", "cameraMode", get<&Car::getCameraMode>},
    {"settings", "setting0", carSetting<&CarSettingData::setting0>},
    {"settings", "setting1", carSetting<&CarSettingData::setting1>},
    {"settings", "setting2", carSetting<&CarSettingData::setting2>},
    {"settings", "setting3", carSetting<&CarSettingData::setting3>},
    {"settings", "setting4", carSetting<&CarSettingData::setting4>},
    {"settings", "setting5",
     [](Car& car) { return plain(QString::fromLatin1(car.getCarSettingData().setting5)); }},
    {"settings", "setting6", carSetting<&CarSettingData::setting6>},
    {"settings", "setting7", carSetting<&CarSettingData::setting7>},
    {"settings", "setting8", carSetting<&CarSettingData::setting8>},
    {"settings", "setting9", carSetting<&CarSettingData::setting9>},
    {"settings", "setting10", carSetting<&CarSettingData::setting10>},
};

// Which values a signal announces.
const QHash<QString, QString> announcedTopics = {
    {"acStatusChanged", "climate"}, {"doorChanged", "doors"},       {"canDrivingPositionChanged", "position"},
    {"sigRadarChanged", "radar"},   {"tireAlert", "tyres"},         {"otherInfoDataChanged", "other"},
    {"tireDataChanged", "tyres"},   {"drivingDataChanged", "trip"}, {"fuelDataChanged", "fuel"},
    {"unitDataChanged", "units"},   {"sigVersionData", "box"},      {"sigCameraMode", "camera"},
};

} // namespace

QString Reading::text() const
{
    return unit.isEmpty() ? data.toString() : data.toString() + ' ' + unit;
}

CarState::CarState(CanServiceBase& service)
    : m_service(service)
{
    for (const Reading& reading : read())
        m_known.insert(reading.name, reading);
}

QStringList CarState::topics()
{
    QStringList names;
    for (const CarValue& value : values)
        names.append(value.topic);
    names.removeDuplicates();
    return names;
}

QString CarState::topicOf(const QString& signal)
{
    return announcedTopics.value(signal);
}

QVector<Reading> CarState::read(const QString& topic) const
{
    QVector<Reading> readings;
    for (const CarValue& value : values) {
        if (topic.isEmpty() || topic == QLatin1String(value.topic))
            readings.append({value.topic, value.name, value.read(m_service),
                             value.unit ? (m_service.*value.unit)() : QString()});
    }
    return readings;
}

QVector<Reading> CarState::takeChanges(const QString& topic)
{
    QVector<Reading> changes;
    for (const Reading& reading : read(topic)) {
        Reading& known = m_known[reading.name];
        if (known.data != reading.data || known.unit != reading.unit)
            changes.append(reading);
        known = reading;
    }
    return changes;
}
