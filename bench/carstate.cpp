#include "carstate.h"

#include "clock.h"

#include <QHash>

#include <cmath>
#include <iterator>
#include <type_traits>

namespace {

using Car = CanServiceBase;

// Where a value is asked for, and what it is then.
struct Source
{
    QVariant (*read)(Car&);
    QVariant::Type type;
};

struct CarValue
{
    const char* topic;
    const char* name;
    Source source;
    QString (Car::*unit)() = nullptr;
};

// A float becomes the double that its six significant digits stand for, so that 2.3 is shown as 2.3. Halves
// of small numbers are exact.
QVariant plain(float number)
{
    constexpr float Small = 10000;
    if (std::abs(number) < Small && 2 * number == std::trunc(2 * number))
        return static_cast<double>(number);
    return QString::number(static_cast<double>(number), 'g', 6).toDouble();
}

template<typename T> QVariant plain(const T& value)
{
    return QVariant(value);
}

template<typename T> constexpr QVariant::Type typeOf()
{
    if constexpr (std::is_same_v<T, bool>)
        return QVariant::Bool;
    else if constexpr (std::is_floating_point_v<T>)
        return QVariant::Double;
    else if constexpr (std::is_integral_v<T>)
        return QVariant::Int;
    else
        return QVariant::String;
}

template<auto Read> QVariant readPlain(Car& car)
{
    return plain(Read(car));
}

template<auto Read>
constexpr Source From{readPlain<Read>, typeOf<std::invoke_result_t<decltype(Read), Car&>>()};

template<auto Getter> auto ask(Car& car)
{
    return (car.*Getter)();
}

template<int Index> QString askDriving(Car& car)
{
    DrivingData data;
    car.getDrivingData(data);
    return data.texts[Index];
}

template<int Index> QString askFuel(Car& car)
{
    FuelConsumptionData data;
    car.getFuelConsumptionData(data);
    return data.texts[Index];
}

template<auto List> auto askUnit(Car& car)
{
    UnitData data;
    car.getUnitData(data);
    return (data.*List).value(0);
}

template<auto Field> auto askOther(Car& car)
{
    OtherInfoData data;
    car.getOtherInfoData(data);
    return data.*Field;
}

// Numbers but one, which is a text.
template<auto Field> auto askSetting(Car& car)
{
    const auto value = car.getCarSettingData().*Field;
    if constexpr (std::is_integral_v<std::decay_t<decltype(value)>>)
        return static_cast<int>(value);
    else
        return QString::fromLatin1(value);
}

template<auto Getter> constexpr Source Get = From<ask<Getter>>;
template<int Index> constexpr Source DrivingText = From<askDriving<Index>>;
template<int Index> constexpr Source FuelText = From<askFuel<Index>>;
template<auto List> constexpr Source FuelUnit = From<askUnit<List>>;
template<auto Field> constexpr Source OtherInfo = From<askOther<Field>>;
template<auto Field> constexpr Source CarSetting = From<askSetting<Field>>;

constexpr CarValue values[] = {
    {"box", "version", Get<&Car::version>},
    {"doors", "doorStatus", Get<&Car::getDoorStatus>},
    {"doors", "leftFrontDoorOpen", Get<&Car::isLeftFrontDoorOpen>},
    {"doors", "rightFrontDoorOpen", Get<&Car::isRightFrontDoorOpen>},
    {"doors", "leftRearDoorOpen", Get<&Car::isLeftRearDoorOpen>},
    {"doors", "rightRearDoorOpen", Get<&Car::isRightRearDoorOpen>},
    {"doors", "backDoorOpen", Get<&Car::isRearDoorOpen>},
    {"doors", "frontDoorOpen", Get<&Car::isFrontDoorOpen>},
    {"position", "drivingPosition", Get<&Car::getCanDrivingPosition>},
    {"body", "speed", Get<&Car::getSpeed>, &Car::getSpeedUnit},
    {"body", "outsideTemperature", Get<&Car::getTemperature>, &Car::getTemperatureUnit},
    {"body", "outsideTemperatureText", Get<&Car::getTemperatureStr>},
    {"body", "rotate", Get<&Car::getRotate>},
    {"body", "coolantTemperature", Get<&Car::getCoolantTemp>, &Car::getCoolantTempUnit},
    {"body", "batteryVoltage", Get<&Car::getBatteryVoltageValue>, &Car::getBatteryVoltageUnit},
    {"body", "batteryAlert", Get<&Car::getBatteryVoltageAlertType>},
    {"body", "earGlonass", Get<&Car::getEarGlonass>},
    {"body", "ambientStatus", Get<&Car::getAmbientStatus>},
    {"radar", "active", Get<&Car::isRadarStatus>},
    {"radar", "frontLeft", Get<&Car::getFrontRadarLeftDistance>},
    {"radar", "frontMiddleLeft", Get<&Car::getFrontRadarMiddleLeftDistance>},
    {"radar", "frontMiddleRight", Get<&Car::getFrontRadarMiddleRightDistance>},
    {"radar", "frontRight", Get<&Car::getFrontRadarRightDistance>},
    {"radar", "rearLeft", Get<&Car::getRearRadarLeftDistance>},
    {"radar", "rearMiddleLeft", Get<&Car::getRearRadarMiddleLeftDistance>},
    {"radar", "rearMiddleRight", Get<&Car::getRearRadarMiddleRightDistance>},
    {"radar", "rearRight", Get<&Car::getRearRadarRightDistance>},
    {"radar", "leftFront", Get<&Car::getLeftRadarFrontDistance>},
    {"radar", "leftMiddleFront", Get<&Car::getLeftRadarMiddleFrontDistance>},
    {"radar", "leftMiddleRear", Get<&Car::getLeftRadarMiddleRearDistance>},
    {"radar", "leftRear", Get<&Car::getLeftRadarRearDistance>},
    {"radar", "rightFront", Get<&Car::getRightRadarFrontDistance>},
    {"radar", "rightMiddleFront", Get<&Car::getRightRadarMiddleFrontDistance>},
    {"radar", "rightMiddleRear", Get<&Car::getRightRadarMiddleRearDistance>},
    {"radar", "rightRear", Get<&Car::getRightRadarRearDistance>},
    {"other", "radarText", OtherInfo<&OtherInfoData::text6>},
    {"other", "otherFlag", OtherInfo<&OtherInfoData::otherFlag>},
    {"tyres", "frontLeftPressure", Get<&Car::getTirePressureValueFL>, &Car::getTireUnit},
    {"tyres", "frontRightPressure", Get<&Car::getTirePressureValueFR>, &Car::getTireUnit},
    {"tyres", "rearLeftPressure", Get<&Car::getTirePressureValueRL>, &Car::getTireUnit},
    {"tyres", "rearRightPressure", Get<&Car::getTirePressureValueRR>, &Car::getTireUnit},
    {"tyres", "frontLeftStatus", Get<&Car::getTireStatusFL>},
    {"tyres", "frontRightStatus", Get<&Car::getTireStatusFR>},
    {"tyres", "rearLeftStatus", Get<&Car::getTireStatusRL>},
    {"tyres", "rearRightStatus", Get<&Car::getTireStatusRR>},
    {"tyres", "alertType", Get<&Car::getTireAlertType>},
    {"trip", "tripA", DrivingText<0>},
    {"trip", "tripB", DrivingText<2>},
    {"trip", "tripC", DrivingText<1>},
    {"trip", "tripD", DrivingText<4>},
    {"trip", "timeMileage", Get<&Car::getTimeAllMileage>},
    {"trip", "oilMileage", Get<&Car::getOilAllMileage>},
    {"trip", "mileageUnits", Get<&Car::getMileageUnits>},
    {"fuel", "instantaneous", FuelText<0>},
    {"fuel", "history1", FuelText<1>},
    {"fuel", "history2", FuelText<2>},
    {"fuel", "history3", FuelText<3>},
    {"fuel", "history4", FuelText<4>},
    {"fuel", "history5", FuelText<5>},
    {"units", "fuelUnit", FuelUnit<&UnitData::curTexts>},
    {"units", "fuelUnitIndex", FuelUnit<&UnitData::curLevels>},
    {"units", "fuelUnitCount", FuelUnit<&UnitData::maxLevels>},
    {"climate", "powerOff", Get<&Car::isPowerOff>},
    {"climate", "ac", Get<&Car::isAc>},
    {"climate", "acMax", Get<&Car::isAcMax>},
    {"climate", "insideAir", Get<&Car::isInside>},
    {"climate", "automatic", Get<&Car::isAuto>},
    {"climate", "dual", Get<&Car::isDual>},
    {"climate", "frontDefrost", Get<&Car::isFrontDefrost>},
    {"climate", "rearDefrost", Get<&Car::isRearDefrost>},
    {"climate", "windMode", Get<&Car::getAcWindMode>},
    {"climate", "fan", Get<&Car::getAcWindScale>},
    {"climate", "leftTemperature", Get<&Car::getAcTemperature>, &Car::getAcTemperatureUnit},
    {"climate", "rightTemperature", Get<&Car::getAcRightTemperature>, &Car::getAcRightTemperatureUnit},
    {"climate", "showRequest", Get<&Car::getAcShowRequest>},
    {"climate", "airCare", Get<&Car::isAirCareActive>},
    {"climate", "airClearStatus", Get<&Car::getAcAirClearStatus>},
    {"climate", "profile", Get<&Car::getAirConProfile>},
    {"climate", "steeringWheelHeat", Get<&Car::isAcSwcHeat>},
    {"climate", "glassHeat", Get<&Car::isAcGlassHeat>},
    {"climate", "frontLeftHeat", Get<&Car::getAcFrontLeftHeat>},
    {"climate", "frontRightHeat", Get<&Car::getAcFrontRightHeat>},
    {"climate", "rearLeftHeat", Get<&Car::getAcRearLeftHeat>},
    {"climate", "rearRightHeat", Get<&Car::getAcRearRightHeat>},
    {"climate", "leftVentilation", Get<&Car::getLeftVentilation>},
    {"climate", "rightVentilation", Get<&Car::getRightVentilation>},
    {"climate", "rearPowerOff", Get<&Car::isPowerOffRear>},
    {"climate", "rearClimate", Get<&Car::isRearClimate>},
    {"climate", "rearWindMode", Get<&Car::getAcWindModeRear>},
    {"climate", "rearFan", Get<&Car::getAcWindScaleRear>},
    {"climate", "rearTemperature", Get<&Car::getAcRearTemperature>},
    {"climate", "manualMode", Get<&Car::getManualClimateMode>},
    {"climate", "dualControllable", Get<&Car::getDualControllableState>},
    {"camera", "cameraMode", Get<&Car::getCameraMode>},
    {"settings", "setting0", CarSetting<&CarSettingData::setting0>},
    {"settings", "setting1", CarSetting<&CarSettingData::setting1>},
    {"settings", "setting2", CarSetting<&CarSettingData::setting2>},
    {"settings", "setting3", CarSetting<&CarSettingData::setting3>},
    {"settings", "setting4", CarSetting<&CarSettingData::setting4>},
    {"settings", "setting5", CarSetting<&CarSettingData::setting5>},
    {"settings", "setting6", CarSetting<&CarSettingData::setting6>},
    {"settings", "setting7", CarSetting<&CarSettingData::setting7>},
    {"settings", "setting8", CarSetting<&CarSettingData::setting8>},
    {"settings", "setting9", CarSetting<&CarSettingData::setting9>},
    {"settings", "setting10", CarSetting<&CarSettingData::setting10>},
};

// Which values a signal announces. Those that no signal is named for come with otherInfoDataChanged.
const QHash<QString, QStringList> announcedTopics = {
    {"acStatusChanged", {"climate"}},
    {"doorChanged", {"doors"}},
    {"canDrivingPositionChanged", {"position"}},
    {"sigRadarChanged", {"radar"}},
    {"otherInfoDataChanged", {"other", "body", "settings"}},
    {"tireAlert", {"tyres"}},
    {"tireDataChanged", {"tyres"}},
    {"drivingDataChanged", {"trip"}},
    {"fuelDataChanged", {"fuel"}},
    {"unitDataChanged", {"units"}},
    {"sigVersionData", {"box"}},
    {"sigCameraMode", {"camera"}},
};

// The rows of a topic, which stand together, or of all.
struct Rows
{
    int begin = 0;
    int end = static_cast<int>(std::size(values));
};

Rows rowsOf(const QString& topic)
{
    if (topic.isEmpty())
        return {};
    static const QHash<QString, Rows> topics = [] {
        QHash<QString, Rows> all;
        for (int row = Rows().begin; row < Rows().end; ++row) {
            const QString name = values[row].topic;
            all.insert(name, {all.value(name, {row, row}).begin, row + 1});
        }
        return all;
    }();
    return topics.value(topic, {0, 0});
}

QString unitOf(const CarValue& value, CanServiceBase& service)
{
    return value.unit ? (service.*value.unit)() : QString();
}

} // namespace

QString Reading::text() const
{
    QStringList words{data.toString(), unit, meaning};
    words.removeAll({});
    return words.join(' ');
}

CarState::CarState(CanServiceBase& service)
    : m_service(service)
{
    for (const Reading& reading : read())
        m_known.append({reading.data, reading.unit, {}});
}

QStringList CarState::topics()
{
    QStringList names;
    for (const CarValue& value : values)
        names.append(value.topic);
    names.removeDuplicates();
    return names;
}

QStringList CarState::topicsOf(const QString& signal)
{
    return announcedTopics.value(signal);
}

QVector<Reading> CarState::blanks(const QString& topic)
{
    QVector<Reading> readings;
    const Rows rows = rowsOf(topic);
    for (int row = rows.begin; row < rows.end; ++row)
        readings.append({values[row].topic, values[row].name, QVariant(values[row].source.type), {}});
    return readings;
}

QVector<Reading> CarState::read(const QString& topic) const
{
    QVector<Reading> readings;
    const Rows rows = rowsOf(topic);
    for (int row = rows.begin; row < rows.end; ++row) {
        const CarValue& value = values[row];
        readings.append({value.topic, value.name, value.source.read(m_service), unitOf(value, m_service)});
    }
    return readings;
}

// Looks at every value of the topic with each signal, so texts are made of those only that have changed.
QVector<Reading> CarState::takeChanges(const QString& topic)
{
    QVector<Reading> changes;
    const Rows rows = rowsOf(topic);
    for (int row = rows.begin; row < rows.end; ++row) {
        const CarValue& value = values[row];
        Known current{value.source.read(m_service), unitOf(value, m_service), {}};
        Known& known = m_known[row];
        if (known.data == current.data && known.unit == current.unit)
            continue;
        known = std::move(current);
        known.changed = now();
        changes.append({value.topic, value.name, known.data, known.unit});
    }
    return changes;
}

QVector<CarState::Seen> CarState::seen() const
{
    QVector<Seen> all;
    all.reserve(m_known.size());
    for (int row = 0; row < m_known.size(); ++row) {
        const Known& known = m_known[row];
        all.append({{values[row].topic, values[row].name, known.data, known.unit}, known.changed});
    }
    return all;
}
