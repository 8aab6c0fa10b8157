#pragma once

#include "description.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace protocol {

/// Which way bytes went: what the head unit received or sent, or unknown.
enum class Side : uint8_t { Rx, Tx, Either };

/// What comes in of an input.
enum class InputKind : uint8_t { ByContent, Capture, Candump, Pcapng, Raw };

/// What a place in an input counts: raw bytes from 0, lines of text and packets from 1.
enum class PlaceOf : uint8_t { Byte, Line, Packet };

/// Some bytes of an input.
struct Chunk
{
    Side side = Side::Either;
    PlaceOf placeOf = PlaceOf::Line;
    bool isWhole = false;   ///< no bytes that come later belong to a unit of these
    bool hasAnswers = true; ///< answers are part of the input
    int64_t time = 0;       ///< µs; 0 in raw bytes, which have none
    uint64_t place = 0;     ///< of the line, the packet or the first byte
    const uint8_t* bytes = nullptr;
    size_t size = 0;
};

/// Who is told what an input holds. What is handed on lasts as long as the call.
class InputSink
{
public:
    virtual ~InputSink() = default;
    virtual void take(const Chunk& chunk) = 0;
    /// A line of a capture's header, without its "#".
    virtual void takeHeader(std::string_view line) = 0;
    /// What cannot be read at @p place, and why. The input goes on behind it.
    virtual void refuse(uint64_t place, std::string_view text, const char* why) = 0;
    /// What the input is taken for, where that is a guess.
    virtual void guess(const char* what) = 0;
};

/// Reads an input piece by piece: what canbench records, what boxdecode writes as candump or pcapng, or raw
/// bytes. It keeps no more than one line or packet.
class InputReader
{
public:
    /// Of a candump file's padded payloads @p description tells the true length.
    InputReader(InputKind kind, const Description& description, InputSink& sink);

    /// Takes the next bytes of the input.
    void feed(const char* bytes, size_t size);
    /// The input is over.
    void finish();

    /// ByContent as long as the input might be of several kinds.
    InputKind kind() const { return m_kind; }

private:
    size_t dispatch(std::string_view input);
    bool recognise(std::string_view input, bool isAll);
    size_t takeLines(std::string_view input);
    size_t takeBlocks(std::string_view input);
    size_t takeRaw(std::string_view input);
    void takeLine(std::string_view line);
    const char* takeTimed(std::string_view line);
    const char* takeCandump(Chunk chunk, std::string_view text);
    void takeBlock(std::string_view block);
    void takeDamaged();

    const Description& m_description;
    InputSink& m_sink;
    InputKind m_kind;
    std::string m_rest;           // of the input, not taken yet
    std::vector<uint8_t> m_bytes; // of one line
    uint64_t m_place = 0;         // of the last line or packet
    uint64_t m_offset = 0;        // of what is taken next
    bool m_isSkipping = false;    // the rest of a line that is too long
};

/// The bytes that @p text tells in hexadecimal, with or without blanks; nothing where it is none.
bool bytesOfHex(std::string_view text, std::vector<uint8_t>& bytes);

} // namespace protocol
