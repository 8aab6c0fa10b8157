#pragma once

#include "decoder.h"
#include "splitter.h"

#include <chrono>
#include <map>
#include <string>

// How units, frames and values are put into words.
namespace protocol {

std::string_view nameOf(UnitKind kind);

/// What @p unit is called: the name of its @p frame, nullptr where that is unknown; "noise", "unknown 2C".
void appendName(std::string& out, const Unit& unit, const Frame* frame);

/// What is wrong with @p unit, or unusual: "checksum, 59 would be right". Empty for most good frames.
std::string problemOf(const Unit& unit, const Frame* frame);

/// Appends "climate.leftTemperature=21.5 ℃".
void appendField(std::string& out, const Value& value);

/// Whether the value is a number that has a unit.
bool hasUnit(const Value& value);

/// Whether the value is one of characters.
bool isText(const Value& value);

/// The value as appendText() has it.
std::string textOf(const Value& value);

/// Appends @p text, which is UTF-8, between double quotes as JSON has it. What cannot be printed is escaped.
void appendQuoted(std::string& out, std::string_view text);

/// Appends @p text with @p quote before each double quote. What cannot be printed is escaped.
void appendPrintable(std::string& out, std::string_view text, char quote);

/// Appends two digits for each byte, with @p separator between them.
void appendHex(std::string& out, const uint8_t* bytes, size_t size, std::string_view separator = {});

/// Reads into @p values what the fields of @p unit say: where @p before is the payload of the last frame of
/// its type those that read otherwise than there, and where that is nullptr all. What is no good frame of a
/// known
/// @p frame has none.
void readFields(std::vector<Value>& values, const Decoder& decoder, const Unit& unit, const Frame* frame,
                const uint8_t* before, size_t beforeSize);

/// Appends the keys that a unit has in JSON, from "direction" to "problem", see docs/boxdecode.md.
void appendKeys(std::string& out, std::string_view direction, const Unit& unit, const Frame* frame,
                const std::vector<Value>& values);

/// Tells what the bytes of one direction are, in whatever chunks they come: the units that end with them,
/// with the fields that differ from the last good frame of the type.
class Narrator
{
public:
    Narrator(const Description& description, Splitter::Receiver receiver, int carModel);
    Narrator(const Narrator&) = delete;
    Narrator& operator=(const Narrator&) = delete;

    void setCarModel(int id) { m_decoder = Decoder(m_description, id); }
    /// What ends with @p bytes, which came at @p time: "acknowledgement; doors doors.leftFrontDoorOpen=true".
    /// Empty where nothing ends.
    QString tell(const QByteArray& bytes, std::chrono::nanoseconds time);
    /// The same for JSON: the keys of each unit, as appendKeys() has them.
    std::vector<std::string> tellKeys(const QByteArray& bytes, std::chrono::nanoseconds time,
                                      std::string_view direction);

private:
    using Sink = std::function<void(const Unit&, const Frame*)>;

    void read(const QByteArray& bytes, std::chrono::nanoseconds time, const Sink& sink);
    void readUnit(const Unit& unit, const Sink& sink);

    const Description& m_description;
    Decoder m_decoder;
    const Sink* m_sink = nullptr; // of what is being read
    Splitter m_splitter;
    std::map<uint8_t, std::basic_string<uint8_t>> m_last; // payload of each type
    std::vector<Value> m_values;                          // of the unit
};

} // namespace protocol
