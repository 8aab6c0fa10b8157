#include "values.h"

#include <cmath>
#include <limits>
#include <type_traits>

namespace boxsim {

namespace {

constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr double Missing = std::numeric_limits<double>::quiet_NaN();

template<typename T> constexpr bool isArray = false;
template<typename T, size_t Size> constexpr bool isArray<std::array<T, Size>> = true;

template<auto Member, typename AnyCar> auto& held(AnyCar& car, [[maybe_unused]] size_t choice)
{
    if constexpr (std::is_invocable_v<decltype(Member), Climate>) {
        return car.climate.*Member;
    } else if constexpr (isArray<std::decay_t<decltype(car.*Member)>>) {
        return (car.*Member)[choice];
    } else {
        return car.*Member;
    }
}

template<auto Member> using Held = std::decay_t<decltype(held<Member>(std::declval<Car&>(), 0))>;

template<auto Member> double get(const Car& car, size_t choice)
{
    const auto& value = held<Member>(car, choice);
    if constexpr (std::is_same_v<Held<Member>, Measured>)
        return value.value_or(Missing);
    else
        return static_cast<double>(value);
}

template<auto Member> void set(Car& car, size_t choice, double number)
{
    auto& value = held<Member>(car, choice);
    if constexpr (std::is_same_v<Held<Member>, Measured>)
        value = std::isnan(number) ? Measured() : number;
    else if constexpr (std::is_enum_v<Held<Member>>)
        value = static_cast<Held<Member>>(static_cast<int>(number));
    else
        value = static_cast<Held<Member>>(number);
}

template<auto Member> constexpr Access access{get<Member>, set<Member>, std::is_same_v<Held<Member>, bool>};

// A value of the climate frame, or of the seats'.
template<auto Member>
ValueRow climate(const char* words, const char* values, int byte, int mask, const char* help)
{
    return {words, values, help, {FrameType::Climate}, access<Member>, {{byte, mask}}};
}

// A temperature's code depends on the unit, so it has no place: addTemperatures() puts it.
template<auto Member> ValueRow temperature(const char* words, const char* values, const char* help)
{
    return {words, values, help, {FrameType::Climate}, access<Member>, {}};
}

template<auto Member> ValueRow seat(const char* words, int byte, int mask, const char* help)
{
    return {words, "<0..15>", help, {FrameType::Seats}, access<Member>, {{byte, mask}}};
}

constexpr const char* Switch = "off|on";
constexpr const char* Level = "<0..7>";
constexpr const char* Degrees = "<15.0..32.0>|low|high";
constexpr const char* Tenths = "<0.0..6553.4>|none";
constexpr const char* Obstacle = "off|1|2|3|4|5";
constexpr int Word = 0xFFFF;

QVector<ValueRow> carRows()
{
    const QVector<Place> sensors{{0, 0xFF}, {1, 0xFF}, {2, 0xFF}, {3, 0xFF}};
    return {
        {"door front-left|front-right|rear-left|rear-right|back",
         "closed|open",
         "a door",
         {FrameType::BaseInfo},
         access<&Car::doors>,
         {{0, 0x40}, {0, 0x80}, {0, 0x10}, {0, 0x20}, {0, 0x08}}},
        {"driving-position",
         "<0..1>",
         "the driving position",
         {FrameType::BaseInfo},
         access<&Car::drivingPosition>,
         {{1, 0x08}}},
        {"radar front left|middle-left|middle-right|right",
         Obstacle,
         "how near an obstacle is, 1 nearest",
         {FrameType::FrontRadar},
         access<&Car::frontRadar>,
         sensors},
        {"radar rear left|middle-left|middle-right|right",
         Obstacle,
         "how near an obstacle is, 1 nearest",
         {FrameType::RearRadar},
         access<&Car::rearRadar>,
         sensors},
        {"other-info",
         Switch,
         "which text goes with the rear radar",
         {FrameType::RearRadar},
         access<&Car::otherInfo>,
         {{4, 0x20}}},
        {"tyre unit",
         "bar|psi|kPa",
         "the unit in which the pressures are sent",
         {FrameType::Tyres},
         access<&Car::tyreUnit>,
         {{0, 0x03}}},
        {"tyre",
         "invalid|valid",
         "whether the tyre data counts",
         {FrameType::Tyres},
         access<&Car::tyresValid>,
         {{0, 0x84}}},
        {"trip a",
         Tenths,
         "a value of the trip computer, in tenths",
         {FrameType::Trip},
         access<&Car::tripA>,
         {{0, Word}},
         10},
        {"trip b|c|d",
         "<0..65534>|none",
         "a value of the trip computer",
         {FrameType::Trip},
         access<&Car::tripBToD>,
         {{2, Word}, {4, Word}, {7, Word}}},
        {"trip unit",
         "<0..255>",
         "unit code of the trip values; 0 to 2 have a meaning",
         {FrameType::Trip},
         access<&Car::tripUnit>,
         {{6, 0xFF}}},
        {"fuel instant",
         Tenths,
         "the consumption of this moment",
         {FrameType::InstantFuel},
         access<&Car::instantFuel>,
         {{1, Word}},
         10},
        {"fuel history 1|2|3|4|5",
         Tenths,
         "a past consumption",
         {FrameType::FuelHistory},
         access<&Car::fuelHistory>,
         {{1, Word}, {3, Word}, {5, Word}, {7, Word}, {9, Word}},
         10},
        {"fuel unit",
         "<0..255>",
         "unit code of the consumption; 0 to 2 and 0x10 to 0x13 have a meaning",
         {FrameType::InstantFuel, FrameType::FuelHistory},
         access<&Car::fuelUnit>,
         {{0, 0xFF}}},
        {"camera",
         "<0..1>",
         "the camera mode",
         {FrameType::SystemInfo},
         access<&Car::cameraMode>,
         {{0, 0x04}}},
    };
}

QVector<ValueRow> climateRows()
{
    return {
        climate<&Climate::power>("climate power", Switch, 0, 0x80, "the climate as a whole"),
        climate<&Climate::ac>("climate ac", Switch, 0, 0x40, "A/C"),
        climate<&Climate::insideAir>("climate inside-air", Switch, 0, 0x20, "recirculation"),
        climate<&Climate::automatic>("climate auto", Switch, 0, 0x08, "automatic mode"),
        climate<&Climate::dual>("climate dual", Switch, 0, 0x04, "left and right apart"),
        climate<&Climate::wind>("climate wind", Level, 1, 0xE0, "front air distribution code"),
        climate<&Climate::steeringWheelHeat>("climate steering-wheel-heat", Switch, 1, 0x20,
                                             "shares its bit with wind"),
        climate<&Climate::showRequest>("climate show", Switch, 1, 0x10,
                                       "show request; also makes the rear temperature Fahrenheit"),
        climate<&Climate::fan>("climate fan", Level, 1, 0x07, "front fan speed"),
        temperature<&Climate::left>("climate left", Degrees, "degrees Celsius, to the half"),
        temperature<&Climate::right>("climate right", Degrees, "degrees Celsius, to the half"),
        climate<&Climate::frontDefrost>("climate front-defrost", Switch, 4, 0x80, "front defrost"),
        climate<&Climate::rearDefrost>("climate rear-defrost", Switch, 4, 0x40, "rear defrost"),
        climate<&Climate::maxAc>("climate max-ac", Switch, 4, 0x08, "maximum A/C"),
        climate<&Climate::rearClimate>("climate rear-climate", Switch, 4, 0x04,
                                       "rear climate, also air care"),
        climate<&Climate::fahrenheit>("climate fahrenheit", Switch, 4, 0x01,
                                      "unit in which the front temperatures are sent"),
        climate<&Climate::glassHeat>("climate glass-heat", Switch, 5, 0x08, "glass heating"),
        climate<&Climate::profile>("climate profile", "<0..3>", 6, 0x03, "air-conditioning profile"),
        climate<&Climate::rearPower>("climate rear-power", Switch, 7, 0x80,
                                     "rear climate, shares its bit with rear"),
        temperature<&Climate::rear>("climate rear", "<16.0..32.0>",
                                    "degrees Celsius, to the half; shares a bit with rear-power"),
        climate<&Climate::rearLeftHeat>("seat rear-left heat", Level, 8, 0x70, "rear seat heating"),
        climate<&Climate::rearRightHeat>("seat rear-right heat", Level, 8, 0x0E, "rear seat heating"),
        climate<&Climate::rearWind>("climate rear-wind", Level, 9, 0xE0, "rear air distribution code"),
        climate<&Climate::rearFan>("climate rear-fan", "<0..15>", 9, 0x0F, "rear fan speed"),
        climate<&Climate::secondWind>("climate wind-2", "<0..3>", 9, 0x03,
                                      "front air distribution of some models, shares rear-fan's bits"),
        seat<&Climate::leftHeat>("seat left heat", 0, 0xF0, "front seat heating"),
        seat<&Climate::rightHeat>("seat right heat", 0, 0x0F, "front seat heating"),
        seat<&Climate::leftVentilation>("seat left ventilation", 2, 0xF0, "front seat ventilation"),
        seat<&Climate::rightVentilation>("seat right ventilation", 2, 0x0F, "front seat ventilation"),
    };
}

struct SpecialNumber
{
    const char* word;
    double number;
};

constexpr SpecialNumber specialNumbers[] = {{"none", Missing}, {"low", -Infinity}, {"high", Infinity}};

} // namespace

// A switch that is on sets all bits of its mask, and so does a number that is missing. Of one that is out of
// its range the frame has as many bits as it has room for.
void ValueRow::put(const Car& car, QByteArray& payload) const
{
    for (int choice = 0; choice < places.size(); ++choice) {
        const auto [byte, mask] = places[choice];
        const double number = access.get(car, static_cast<size_t>(choice));
        const bool isFull = std::isnan(number) || (access.isSwitch && number != 0);
        const int code = isFull ? mask : qRound(number * scale) * (mask & -mask) & mask;
        if (mask > 0xFF)
            payload[byte] = static_cast<char>(payload[byte] | code >> 8);
        const int low = mask > 0xFF ? byte + 1 : byte;
        payload[low] = static_cast<char>(payload[low] | code);
    }
}

QStringList ValueRow::statements(const Car& car) const
{
    QStringList lines;
    const QStringList elements = QString(words).split(' ');
    const QString choice = elements.filter("|").value(0, elements[0]);
    const QStringList choices = choice.split('|');
    for (int i = 0; i < choices.size(); ++i)
        lines.append(QString(words).replace(choice, choices[i]) + ' ' +
                     wordFor(values, access.get(car, static_cast<size_t>(i))));
    return lines;
}

const QVector<ValueRow>& valueRows()
{
    static const QVector<ValueRow> rows = carRows() + climateRows();
    return rows;
}

const ValueRow& valueRow(const char* words)
{
    for (const ValueRow& row : valueRows())
        if (qstrcmp(row.words, words) == 0)
            return row;
    qFatal("no value is set by \"%s\"", words);
}

Measured specialNumber(const QString& word)
{
    for (const SpecialNumber& row : specialNumbers)
        if (word == row.word)
            return row.number;
    return std::nullopt;
}

QString wordFor(const QString& values, double number)
{
    for (const SpecialNumber& row : specialNumbers)
        if (number == row.number || (std::isnan(number) && std::isnan(row.number)))
            return row.word;
    return values.contains('<') ? QString::number(number, 'g', 6)
                                : values.split('|').value(static_cast<int>(number));
}

} // namespace boxsim
