#pragma once

#include "description.h"

namespace protocol {

/// What a field says in one payload.
struct Value
{
    enum State : unsigned char {
        Present,
        Missing, ///< its bytes lie beyond the payload: the value is what it reads as then
        Absent   ///< this payload, or this car, does not have the field
    };
    const Field* field = nullptr;
    uint32_t raw = 0;                     ///< the bits, shifted down
    int64_t number = 0;                   ///< scaled by ten to the power of decimals
    Text name;                            ///< a marker (`lowest`, `none`) or the name of a code; mostly empty
    Text unit;                            ///< empty where there is none
    const unsigned char* bytes = nullptr; ///< of a text or raw bytes: within the payload
    size_t size = 0;
    State state = Absent;
    unsigned char decimals = 0;
    bool isKept = false;     ///< the host goes on reading what it read before; number is the raw code
    bool isUnitKept = false; ///< the unit is the one of the frame before
};

/// Reads the fields of payloads. It allocates nothing, never reads beyond a payload, and keeps nothing from
/// one frame to the next.
///
///   for (const Field& field : frame.fields)
///       if (field.differs(before, beforeSize, payload, size))
///           append(line, decoder.value(field, payload, size));
class Decoder
{
public:
    static constexpr int NoCarModel = -1; ///< in none of the lists

    explicit Decoder(const Description& description, int carModel = NoCarModel);

    /// What @p field says in @p payload.
    Value value(const Field& field, const unsigned char* payload, size_t size) const;

private:
    bool holds(const Condition& condition, const unsigned char* payload, size_t size) const;
    bool hold(const std::vector<Condition>& conditions, const unsigned char* payload, size_t size) const;

    std::vector<bool> m_isListed; // by car-model list
};

/// Appends the number of @p value: "21.5"; of a flag "false" or "true".
void appendNumber(std::string& out, const Value& value);

/// Appends @p value as people read it, without its unit: the name of its code or marker, its number, its text
/// as UTF-8 (with U+FFFD where it is none), or its bytes in hexadecimal.
void appendText(std::string& out, const Value& value);

} // namespace protocol
