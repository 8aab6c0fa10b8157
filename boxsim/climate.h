#pragma once

#include <QByteArray>

#include <array>
#include <string_view>

namespace boxsim {

/// One value of the climate: the statement that sets it, and where it stands in the climate bytes.
///
/// The climate bytes are the ten of the climate frame, then the five of the seat frame. Temperatures have no
/// mask: their code depends on the unit.
struct ClimateField
{
    std::string_view name;
    const char* values; ///< in the syntax of the scenario language
    int byte;
    int mask;
    const char* help;
};

constexpr int SeatBytes = 10; ///< where the seat frame begins in the climate bytes

/// All values of the climate. Where two share bits, the frame carries both at once.
inline constexpr std::array climateFields{
    ClimateField{"climate power", "off|on", 0, 0x80, "the climate as a whole"},
    ClimateField{"climate ac", "off|on", 0, 0x40, "A/C"},
    ClimateField{"climate inside-air", "off|on", 0, 0x20, "recirculation"},
    ClimateField{"climate auto", "off|on", 0, 0x08, "automatic mode"},
    ClimateField{"climate dual", "off|on", 0, 0x04, "left and right apart"},
    ClimateField{"climate wind", "<0..7>", 1, 0xE0, "front air distribution code"},
    ClimateField{"climate steering-wheel-heat", "off|on", 1, 0x20, "shares its bit with wind"},
    ClimateField{"climate show", "off|on", 1, 0x10,
                 "show request; also makes the rear temperature Fahrenheit"},
    ClimateField{"climate fan", "<0..7>", 1, 0x07, "front fan speed"},
    ClimateField{"climate left", "<15.0..32.0>|low|high", 2, 0, "degrees Celsius, to the half"},
    ClimateField{"climate right", "<15.0..32.0>|low|high", 3, 0, "degrees Celsius, to the half"},
    ClimateField{"climate front-defrost", "off|on", 4, 0x80, "front defrost"},
    ClimateField{"climate rear-defrost", "off|on", 4, 0x40, "rear defrost"},
    ClimateField{"climate max-ac", "off|on", 4, 0x08, "maximum A/C"},
    ClimateField{"climate rear-climate", "off|on", 4, 0x04, "rear climate, also air care"},
    ClimateField{"climate fahrenheit", "off|on", 4, 0x01, "unit in which the front temperatures are sent"},
    ClimateField{"climate glass-heat", "off|on", 5, 0x08, "glass heating"},
    ClimateField{"climate profile", "<0..3>", 6, 0x03, "air-conditioning profile"},
    ClimateField{"climate rear-power", "off|on", 7, 0x80, "rear climate, shares its bit with rear"},
    ClimateField{"climate rear", "<16.0..32.0>", 7, 0,
                 "degrees Celsius, to the half; shares a bit with rear-power"},
    ClimateField{"seat rear-left heat", "<0..7>", 8, 0x70, "rear seat heating"},
    ClimateField{"seat rear-right heat", "<0..7>", 8, 0x0E, "rear seat heating"},
    ClimateField{"climate rear-wind", "<0..7>", 9, 0xE0, "rear air distribution code"},
    ClimateField{"climate rear-fan", "<0..15>", 9, 0x0F, "rear fan speed"},
    ClimateField{"climate wind-2", "<0..3>", 9, 0x03,
                 "front air distribution of some models, shares rear-fan's bits"},
    ClimateField{"seat left heat", "<0..15>", SeatBytes, 0xF0, "front seat heating"},
    ClimateField{"seat right heat", "<0..15>", SeatBytes, 0x0F, "front seat heating"},
    ClimateField{"seat left ventilation", "<0..15>", SeatBytes + 2, 0xF0, "front seat ventilation"},
    ClimateField{"seat right ventilation", "<0..15>", SeatBytes + 2, 0x0F, "front seat ventilation"},
};

/// The index of the field @p name. Naming one that does not exist does not compile in a constant.
constexpr size_t climateIndex(std::string_view name)
{
    for (size_t i = 0; i < climateFields.size(); ++i)
        if (climateFields[i].name == name)
            return i;
    throw "no such climate field";
}

/// The climate and the seats of a car.
struct Climate
{
    std::array<double, climateFields.size()> values; ///< off 0, on 1, low and high the infinities

    Climate();
    double value(std::string_view name) const { return values[climateIndex(name)]; }

    /// Payload of the climate frame.
    QByteArray climatePayload() const { return payload().left(SeatBytes); }
    /// Payload of the seat frame.
    QByteArray seatPayload() const { return payload().mid(SeatBytes); }

private:
    QByteArray payload() const;
};

} // namespace boxsim
