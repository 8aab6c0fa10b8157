#pragma once

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// The protocol of the line, as `canbox.json` describes it.
///
///   QString error;
///   const auto description = protocol::Description::load(file, &error);
///   if (description) // else error tells what is wrong, and where
///       const protocol::Decoder decoder(*description, carModel); // decoder.h
///
/// Everything that a description holds lives as long as it does, and never moves: pointers and texts may be
/// kept.
namespace protocol {

using Text = std::string_view; ///< UTF-8

inline QString toString(Text text)
{
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

enum class Direction { FromBox, ToBox };

enum class Kind {
    Flag,   ///< false or true, a number 0 or 1
    Number, ///< a number, with a marker where it stands for something else
    Code,   ///< one of several names; a number where the code has none
    Utf8,   ///< a text that ends at its first byte 00
    Utf16,  ///< a text of code units, low byte first, that ends at its first 00 00
    Raw     ///< bytes without a known meaning
};

/// Bits of a payload.
struct Place
{
    int byte = 0;      ///< the first
    int bytes = 1;     ///< how many, the high one first; 0: all up to the end
    int shift = 0;     ///< of the lowest bit
    uint32_t mask = 0; ///< of the bits, once shifted; 0 in texts and raw bytes
};

/// What must hold of a payload or a car; all conditions of a rule at once.
struct Condition
{
    enum What { CodeIn, Missing, CarModelIn, CarModelNotIn };
    What what = CodeIn;
    Place place;                 ///< of the field that is asked
    uint32_t missingRaw = 0;     ///< CodeIn: what it reads as beyond the payload
    bool isKeptMissing = false;  ///< CodeIn: beyond the payload it has none of the codes
    std::vector<uint32_t> codes; ///< CodeIn: one of these
    size_t carModels = 0;        ///< index in Description::carModels()
};

/// What codes from first to last stand for.
struct Piece
{
    uint32_t first = 0;
    uint32_t last = 0;
    int64_t value = 0; ///< of the first; scaled as the rule's numbers are
    int64_t step = 0;  ///< from one code to the next
    Text name;         ///< a marker or a code's name; empty where there is none
    bool kept = false; ///< the host goes on reading what it read before
};

/// How the bits of a field are read while all conditions hold. A code is looked up in pieces; without a piece
/// it is what others tells or, where that is not set, code times step plus offset, at most limit.
struct Rule
{
    std::vector<Condition> conditions;
    std::vector<Piece> pieces;
    bool hasOthers = false;
    Piece others;
    bool isConstant = false; ///< whatever the code, the value is offset, with the name of others
    bool isSigned = false;
    int64_t step = 1;
    int64_t offset = 0;
    int64_t limit = INT64_MAX;
    int decimals = 0; ///< numbers are scaled by as many powers of ten
    Text unit;
    bool keepsUnit = false; ///< the unit is the one that was valid before
};

/// A byte and its bits that decide what a field reads.
struct Watched
{
    int byte;
    unsigned char mask;
};

struct Frame;

/// A field of a frame.
struct Field
{
    Text name; ///< unique in its frame
    /// How every tool calls it: topic and name of the host's first reading as canbench shows them,
    /// `doors.leftFrontDoorOpen`, else frame and field. Two fields that the host reads as one have the same.
    Text path;
    std::vector<Text> readings; ///< empty where the host cannot read it
    Text about;                 ///< a sentence for people; may be empty
    Kind kind = Kind::Number;
    Place place;
    bool isOverlay = false;      ///< its bits belong to other fields too
    bool isInverted = false;     ///< a flag that is true when its bit is clear
    bool isReadAsText = false;   ///< the host reads a text: one decimal and the unit, "--" for none
    uint32_t missingRaw = 0;     ///< the code that it reads as beyond the payload
    bool isKeptMissing = false;  ///< beyond the payload the host goes on reading what it read before
    std::vector<Condition> when; ///< else the field is not there
    std::vector<Rule> rules;     ///< the first whose conditions hold; the last has none
    std::vector<Watched> watched;
    int index = 0; ///< in its frame
    const Frame* frame = nullptr;

    /// Whether it may read differently in two payloads of its frame. Quick, and decodes nothing.
    bool differs(const unsigned char* a, size_t aSize, const unsigned char* b, size_t bSize) const
    {
        if (place.bytes == 0)
            return aSize != bSize || differsFrom(a, b, aSize);
        return std::any_of(watched.begin(), watched.end(), [&](const Watched& w) {
            const bool inA = static_cast<size_t>(w.byte) < aSize;
            return inA != (static_cast<size_t>(w.byte) < bSize) ||
                   (inA && ((a[w.byte] ^ b[w.byte]) & w.mask) != 0);
        });
    }

private:
    static bool differsFrom(const unsigned char* a, const unsigned char* b, size_t size)
    {
        return std::char_traits<char>::compare(reinterpret_cast<const char*>(a),
                                               reinterpret_cast<const char*>(b), size) != 0;
    }
};

/// A frame type.
struct Frame
{
    static constexpr int AnyLength = -1;

    int type = 0;
    Text name;  ///< a word, unique among frames and groups
    Text title; ///< for people
    Text group; ///< a word that several frames share, for filters; may be empty
    Text about; ///< may be empty
    Direction direction = Direction::FromBox;
    int length = AnyLength;
    bool isIgnored = false; ///< acknowledged, without effect
    std::vector<Field> fields;

    /// Whether the receiver acts on a payload of @p size bytes.
    bool takes(size_t size) const { return length == AnyLength || size == static_cast<size_t>(length); }
    /// How many payload bytes have a meaning; the bytes that fields up to the end read are not counted.
    int bytesRead() const;
    /// Whether there may be a meaning behind these.
    bool isOpen() const;
};

/// A byte outside any frame.
struct SingleByte
{
    int byte = 0;
    Direction direction = Direction::FromBox;
    Text name;
    Text title;
};

struct CarModelList
{
    Text name;
    std::vector<int> ids;
};

class Description
{
public:
    /// The description that this project brings.
    static const Description& standard();
    /// Reads @p file. @return nothing where it cannot be read or is no description; @p error then tells what
    /// is wrong, and where: "FILE:LINE:COLUMN: frames[3].fields[2].bits: ..."
    static std::unique_ptr<const Description> load(const QString& file, QString* error);
    /// The same, of @p json, which comes from what is called @p name.
    static std::unique_ptr<const Description> parse(const QByteArray& json, const QString& name,
                                                    QString* error);

    /// In the order of the file: from the box, then to it.
    const std::vector<Frame>& frames() const { return m_frames; }
    /// The frame of @p type; nullptr where the type is unknown.
    const Frame* frame(unsigned char type) const { return m_byType.at(type); }
    /// The frame of that name; nullptr when there is none.
    const Frame* frame(Text name) const;
    const std::vector<SingleByte>& bytes() const { return m_bytes; }
    const std::vector<CarModelList>& carModels() const { return m_carModels; }
    /// The texts that the host translates by number, in the words of the description: number, text.
    const std::vector<std::pair<int, Text>>& texts() const { return m_texts; }
    /// A type that no frame will ever have: for tests and scripts that need one without a decoder.
    int reservedType() const { return m_reservedType; }

private:
    friend class Loader;
    Description() = default;

    std::deque<std::string> m_strings;
    std::vector<std::pair<int, Text>> m_texts;
    std::vector<CarModelList> m_carModels;
    std::vector<SingleByte> m_bytes;
    std::vector<Frame> m_frames;
    std::array<const Frame*, 256> m_byType{};
    int m_reservedType = -1;
};

} // namespace protocol
