#include "inputreader.h"

#include "canfd.h"
#include "splitter.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace protocol {

namespace {

constexpr size_t LongestLine = 1 << 20; // what canbench records at once is far shorter
constexpr size_t LargestBlock = 1 << 20;
constexpr size_t EnoughToRecognise = 4096;
constexpr size_t MostShown = 120; // of what cannot be read

constexpr uint32_t SectionHeader = 0x0A0D0D0A;
constexpr uint32_t ByteOrderMagic = 0x1A2B3C4D;
constexpr uint32_t EnhancedPacket = 6;
constexpr unsigned CommentOption = 1;
constexpr unsigned FlagsOption = 2; // of a packet
constexpr uint32_t ErrorFrame = 0x20000000;

constexpr uint8_t NoDigit = 0xFF;

constexpr std::array<uint8_t, 256> digitsOfHex()
{
    std::array<uint8_t, 256> digits{};
    for (size_t c = 0; c < digits.size(); ++c) {
        const bool isDecimal = c >= '0' && c <= '9';
        const size_t letter = c & ~0x20U;
        const bool isLetter = letter >= 'A' && letter <= 'F';
        digits[c] = static_cast<uint8_t>(isDecimal ? c - '0' : isLetter ? letter - 'A' + 10 : NoDigit);
    }
    return digits;
}
constexpr std::array<uint8_t, 256> hexDigits = digitsOfHex();

uint8_t digitOf(char c)
{
    return hexDigits[static_cast<uint8_t>(c)];
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

bool startsWith(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && (isBlank(text.back()) || text.back() == '\r'))
        text.remove_suffix(1);
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    return text;
}

// Takes the first word of @p text away.
std::string_view takeWord(std::string_view& text)
{
    const std::string_view word = text.substr(0, text.find_first_of(" \t"));
    text = trimmed(text.substr(word.size()));
    return word;
}

// @return the time in microseconds of "(12.345678)"; -1 where it is none.
int64_t timeOf(std::string_view word)
{
    if (word.size() < 3 || word.size() > 30 || word.front() != '(' || word.back() != ')')
        return -1;
    int64_t time = 0;
    int decimals = -1;
    for (char c : word.substr(1, word.size() - 2)) {
        const bool isPoint = c == '.' && decimals < 0;
        if (!isPoint && (c < '0' || c > '9' || time > INT64_MAX / 100'000'000))
            return -1;
        if (decimals < 6 && !isPoint)
            time = time * 10 + (c - '0');
        decimals += isPoint || decimals >= 0;
    }
    for (decimals = std::max(decimals, 0); decimals < 6; ++decimals)
        time *= 10;
    return time;
}

Side sideOf(std::string_view word)
{
    return word == "rx" ? Side::Rx : word == "tx" ? Side::Tx : Side::Either;
}

uint32_t littleEndian(std::string_view bytes, size_t at)
{
    uint32_t value = 0;
    for (size_t i = 4; i-- > 0;)
        value = value << 8 | static_cast<uint8_t>(bytes[at + i]);
    return value;
}

// Calls @p function with each option that @p options hold: its code and its value.
template<typename Function> void forEachOption(std::string_view options, Function function)
{
    while (options.size() >= 4) {
        const uint32_t head = littleEndian(options, 0);
        const size_t size = head >> 16;
        if ((head & 0xFFFF) == 0 || size > options.size() - 4)
            return;
        function(head & 0xFFFF, options.substr(4, size));
        options.remove_prefix(std::min(options.size(), 4 + (size + 3) / 4 * 4));
    }
}

// What the first line tells that is one of a capture or of a candump file.
InputKind kindOfLine(std::string_view line)
{
    line = trimmed(line);
    if (startsWith(line, "#"))
        return InputKind::Capture;
    if (timeOf(takeWord(line)) < 0)
        return InputKind::ByContent;
    const bool isSide = sideOf(takeWord(line)) != Side::Either;
    if (line.find('#') != std::string_view::npos)
        return InputKind::Candump;
    return isSide ? InputKind::Capture : InputKind::ByContent;
}

// How many of the bytes are the payload, where the others may only fill it up to a length that exists.
size_t trueLength(const Frame& frame, const std::vector<uint8_t>& bytes)
{
    const auto length =
        static_cast<size_t>(frame.length == Frame::AnyLength ? frame.bytesRead() : frame.length);
    const bool isFilled = length > LongestCan && paddedLength(length) == bytes.size() &&
                          std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(length), bytes.end(),
                                      [](uint8_t byte) { return byte == 0; });
    return isFilled ? length : bytes.size();
}

bool isText(char c)
{
    return static_cast<uint8_t>(c) >= 0x20 || c == '\n' || c == '\r' || c == '\t';
}

} // namespace

bool bytesOfHex(std::string_view text, std::vector<uint8_t>& bytes)
{
    bytes.clear();
    for (size_t i = 0; i < text.size(); ++i) {
        if (isBlank(text[i]))
            continue;
        const uint8_t high = digitOf(text[i]);
        const uint8_t low = i + 1 < text.size() ? digitOf(text[i + 1]) : NoDigit;
        if (high == NoDigit || low == NoDigit)
            return false;
        bytes.push_back(static_cast<uint8_t>(high << 4 | low));
        ++i;
    }
    return !bytes.empty();
}

InputReader::InputReader(InputKind kind, const Description& description, InputSink& sink)
    : m_description(description)
    , m_sink(sink)
    , m_kind(kind)
{
}

void InputReader::feed(const char* bytes, size_t size)
{
    if (m_rest.empty()) {
        const std::string_view input(bytes, size);
        m_rest = input.substr(dispatch(input));
    } else {
        m_rest.append(bytes, size);
        m_rest.erase(0, dispatch(m_rest));
    }
}

void InputReader::finish()
{
    if (m_kind == InputKind::ByContent && !m_rest.empty()) {
        recognise(m_rest, true);
        m_rest.erase(0, dispatch(m_rest));
    }
    if (m_kind == InputKind::Pcapng && !m_rest.empty())
        takeDamaged();
    if (m_kind == InputKind::Raw)
        takeRaw(m_rest);
    else if (!m_rest.empty())
        takeLine(m_rest);
    m_rest.clear();
}

// Takes what it can of @p input. @return how many bytes.
size_t InputReader::dispatch(std::string_view input)
{
    if (m_kind == InputKind::ByContent && !recognise(input, false))
        return 0;
    if (m_kind == InputKind::Capture || m_kind == InputKind::Candump)
        return takeLines(input);
    const size_t taken = m_kind == InputKind::Pcapng ? takeBlocks(input) : 0;
    return taken + (m_kind == InputKind::Raw ? takeRaw(input.substr(taken)) : 0);
}

// Decides what the input is that begins with @p input. @return whether it could be told.
bool InputReader::recognise(std::string_view input, bool isAll)
{
    const char magic[] = "\n\r\r\n";
    const size_t common = std::min<size_t>(input.size(), 4);
    if (input.substr(0, common) == std::string_view(magic, common)) {
        m_kind = common == 4 ? InputKind::Pcapng : isAll ? InputKind::Raw : InputKind::ByContent;
        return m_kind != InputKind::ByContent;
    }
    std::string_view rest = input;
    while (!rest.empty() && m_kind == InputKind::ByContent) {
        const size_t end = rest.find('\n');
        if (end == std::string_view::npos && !isAll)
            break;
        m_kind = kindOfLine(rest.substr(0, end));
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }
    if (m_kind != InputKind::ByContent)
        return true;
    if (!isAll && input.size() < EnoughToRecognise && std::all_of(input.begin(), input.end(), isText))
        return false;
    m_kind = InputKind::Raw;
    m_sink.guess("neither capture nor candump nor pcapng; taken as raw bytes");
    return true;
}

size_t InputReader::takeLines(std::string_view input)
{
    const char* const begin = input.data();
    const char* const end = begin + input.size();
    const char* line = begin;
    while (const auto* lineEnd = static_cast<const char*>(
               line < end ? std::memchr(line, '\n', static_cast<size_t>(end - line)) : nullptr)) {
        if (!m_isSkipping)
            takeLine({line, static_cast<size_t>(lineEnd - line)});
        m_isSkipping = false;
        line = lineEnd + 1;
    }
    if (m_isSkipping)
        return input.size();
    if (static_cast<size_t>(end - line) > LongestLine) {
        m_sink.refuse(++m_place, {line, MostShown}, "the line is too long");
        m_isSkipping = true;
        return input.size();
    }
    return static_cast<size_t>(line - begin);
}

void InputReader::takeLine(std::string_view line)
{
    ++m_place;
    line = trimmed(line);
    if (line.empty())
        return;
    if (line.front() == '#') {
        m_sink.takeHeader(trimmed(line.substr(1)));
        return;
    }
    if (const char* why = takeTimed(line))
        m_sink.refuse(m_place, line.substr(0, MostShown), why);
}

// @return why it cannot; nullptr when it can.
const char* InputReader::takeTimed(std::string_view line)
{
    Chunk chunk;
    chunk.place = m_place;
    chunk.time = timeOf(takeWord(line));
    if (chunk.time < 0)
        return "it does not begin with a time, as in (0.485000)";
    const std::string_view side = takeWord(line);
    chunk.side = sideOf(side);
    if (m_kind == InputKind::Candump)
        return takeCandump(chunk, line);
    if (side == "do") // a call of the host
        return nullptr;
    if (chunk.side == Side::Either)
        return "behind the time rx, tx or do is missing";
    if (!bytesOfHex(line, m_bytes))
        return "the bytes are not two hexadecimal digits each";
    chunk.bytes = m_bytes.data();
    chunk.size = m_bytes.size();
    m_sink.take(chunk);
    return nullptr;
}

// A frame's type and payload, or a piece of what is none: see writeCandump() in packets.cpp.
const char* InputReader::takeCandump(Chunk chunk, std::string_view text)
{
    const size_t mark = text.find('#');
    if (mark == std::string_view::npos || mark == 0 || mark > 8)
        return "it has no CAN id before a #";
    uint32_t id = 0;
    for (char c : text.substr(0, mark)) {
        if (digitOf(c) == NoDigit)
            return "the CAN id is not hexadecimal";
        id = id << 4 | digitOf(c);
    }
    text.remove_prefix(mark + 1);
    const bool isFd = startsWith(text, "#");
    text.remove_prefix(isFd ? std::min<size_t>(2, text.size()) : 0);
    if (!bytesOfHex(text, m_bytes) && !text.empty())
        return "the data are not two hexadecimal digits each";
    const bool isError = (id & ErrorFrame) != 0;
    chunk.hasAnswers = false;
    if (m_bytes.size() > (isError || !isFd ? 8 : 64) || (!isError && id > 0xFF))
        return "boxdecode writes no such CAN frame";
    if (isError) {
        chunk.isWhole = m_bytes.size() < 8;
    } else {
        if (const Frame* frame = m_description.frame(static_cast<uint8_t>(id)); isFd && frame)
            m_bytes.resize(trueLength(*frame, m_bytes));
        const uint8_t preamble[] = {0x2E, static_cast<uint8_t>(id), static_cast<uint8_t>(m_bytes.size())};
        m_bytes.insert(m_bytes.begin(), std::begin(preamble), std::end(preamble));
        m_bytes.push_back(0);
        m_bytes.back() = checksumOf(m_bytes.data(), m_bytes.size());
        chunk.isWhole = true;
    }
    chunk.bytes = m_bytes.data();
    chunk.size = m_bytes.size();
    m_sink.take(chunk);
    return nullptr;
}

size_t InputReader::takeBlocks(std::string_view input)
{
    size_t taken = 0;
    while (input.size() - taken >= 12) {
        const size_t size = littleEndian(input, taken + 4);
        const bool isWhole = size <= input.size() - taken;
        const bool isFirst = m_offset == 0;
        if (size < 12 || size % 4 != 0 || size > LargestBlock ||
            (isFirst && littleEndian(input, taken + 8) != ByteOrderMagic) ||
            (isWhole && littleEndian(input, taken + size - 4) != size)) {
            takeDamaged();
            break;
        }
        if (!isWhole)
            break;
        takeBlock(input.substr(taken, size));
        taken += size;
        m_offset += size;
    }
    return taken;
}

// From here on nobody knows where a block begins.
void InputReader::takeDamaged()
{
    m_sink.refuse(m_offset, {},
                  "the pcapng file is damaged or cut off here; from this byte on taken as raw bytes");
    m_kind = InputKind::Raw;
}

void InputReader::takeBlock(std::string_view block)
{
    constexpr size_t SectionOptions = 24;
    constexpr size_t PacketData = 28;
    const uint32_t type = littleEndian(block, 0);
    const std::string_view body = block.substr(0, block.size() - 4);
    if (type == SectionHeader && body.size() > SectionOptions) {
        forEachOption(body.substr(SectionOptions), [this](unsigned code, std::string_view text) {
            for (; code == CommentOption && !text.empty();
                 text.remove_prefix(std::min(text.size(), text.find('\n')))) {
                text.remove_prefix(text.front() == '\n');
                m_sink.takeHeader(text.substr(0, text.find('\n')));
            }
        });
    }
    if (type != EnhancedPacket || body.size() < PacketData)
        return;
    ++m_place;
    const uint64_t time = static_cast<uint64_t>(littleEndian(body, 12)) << 32 | littleEndian(body, 16);
    const size_t size = littleEndian(body, 20);
    if (size == 0 || size > body.size() - PacketData || time > INT64_MAX) {
        m_sink.refuse(m_place, {}, "the packet's length is wrong");
        return;
    }
    Chunk chunk;
    chunk.isWhole = true;
    chunk.placeOf = PlaceOf::Packet;
    chunk.time = static_cast<int64_t>(time);
    chunk.place = m_place;
    chunk.bytes = reinterpret_cast<const uint8_t*>(body.data()) + PacketData;
    chunk.size = size;
    const std::string_view options = body.substr(std::min(body.size(), PacketData + (size + 3) / 4 * 4));
    forEachOption(options, [&chunk](unsigned code, std::string_view value) {
        if (code == FlagsOption && value.size() == 4)
            chunk.side = (value[0] & 3) == 1 ? Side::Rx : (value[0] & 3) == 2 ? Side::Tx : Side::Either;
    });
    m_sink.take(chunk);
}

size_t InputReader::takeRaw(std::string_view input)
{
    Chunk chunk;
    chunk.placeOf = PlaceOf::Byte;
    chunk.place = m_offset;
    chunk.bytes = reinterpret_cast<const uint8_t*>(input.data());
    chunk.size = input.size();
    m_sink.take(chunk);
    m_offset += input.size();
    return input.size();
}

} // namespace protocol
