#include "text.h"

#include <QString>
#include <QVector>

#include <algorithm>
#include <cstring>

namespace protocol {

namespace {

constexpr char digits[] = "0123456789ABCDEF";

constexpr std::string_view kinds[] = {"frame",     "checksum", "acknowledgement",
                                      "rejection", "noise",    "unfinished"};

// Escapes a character as JSON does.
void appendEscaped(std::string& out, uint32_t character)
{
    if (character > 0xFFFF) {
        appendEscaped(out, QChar::highSurrogate(character));
        character = QChar::lowSurrogate(character);
    }
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4)
        out += digits[character >> shift & 0xF];
}

bool isSame(const Value& a, const Value& b)
{
    return a.state == b.state && a.number == b.number && a.decimals == b.decimals && a.isKept == b.isKept &&
           a.name == b.name && a.unit == b.unit &&
           std::equal(a.bytes, a.bytes + a.size, b.bytes, b.bytes + b.size);
}

void appendJson(std::string& out, const Value& value)
{
    const Kind kind = value.field->kind;
    if (value.isKept)
        out += "null";
    else if (!value.name.empty())
        appendQuoted(out, value.name);
    else if (kind == Kind::Flag || kind == Kind::Number)
        appendNumber(out, value);
    else if (kind == Kind::Code)
        out += std::to_string(value.raw);
    else
        appendQuoted(out, textOf(value));
}

// Appends the next key of an object; @p separator stands before it, and is a comma from then on.
void appendKey(std::string& out, std::string_view& separator, std::string_view key)
{
    out += separator;
    separator = ",";
    appendQuoted(out, key);
    out += ':';
}

std::string problemOfFrame(const Unit& unit, const Frame* frame)
{
    if (!frame || (frame->length == Frame::AnyLength && frame->isOpen()))
        return {};
    const size_t size = unit.payloadSize();
    const int read = frame->length == Frame::AnyLength ? frame->bytesRead() : frame->length;
    if (size == static_cast<size_t>(read))
        return {};
    const std::string text = "length " + std::to_string(size);
    if (!frame->takes(size))
        return text + " instead of " + std::to_string(read) + ", without effect";
    return text + (size < static_cast<size_t>(read) ? " of " : ", of which are read ") + std::to_string(read);
}

} // namespace

std::string_view nameOf(UnitKind kind)
{
    return kinds[static_cast<size_t>(kind)];
}

void appendPrintable(std::string& out, std::string_view text, char quote)
{
    const bool isAscii = std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < '\x7F'; });
    if (isAscii && text.find_first_of("\"\\") == std::string_view::npos) {
        out += text;
        return;
    }
    for (const uint32_t c : toString(text).toUcs4()) {
        if (c == '"')
            out += quote;
        if (c == '\\')
            out += c == static_cast<uint32_t>(quote) ? "\\" : "";
        if (QChar::isPrint(c)) {
            const QByteArray utf8 = QString::fromUcs4(&c, 1).toUtf8();
            out.append(utf8.constData(), static_cast<size_t>(utf8.size()));
        } else {
            appendEscaped(out, c);
        }
    }
}

bool isText(const Value& value)
{
    return value.field->kind == Kind::Utf8 || value.field->kind == Kind::Utf16;
}

std::string textOf(const Value& value)
{
    std::string text;
    appendText(text, value);
    return text;
}

bool hasUnit(const Value& value)
{
    return !value.unit.empty() && value.name.empty() && !value.isKept;
}

std::string problemOf(const Unit& unit, const Frame* frame)
{
    switch (unit.kind) {
    case UnitKind::Frame:
        return problemOfFrame(unit, frame);
    case UnitKind::BadFrame: {
        const uint8_t right = checksumOf(unit.bytes, unit.size);
        std::string text = "checksum, ";
        appendHex(text, &right, 1);
        return text + " would be right";
    }
    case UnitKind::Unfinished:
        return unit.size < 3
                   ? "unfinished"
                   : "unfinished, " + std::to_string(4 + unit.bytes[2] - static_cast<int>(unit.size)) +
                         " missing";
    default:
        return {};
    }
}

void appendName(std::string& out, const Unit& unit, const Frame* frame)
{
    if (frame) {
        out += frame->name;
    } else if (unit.hasType()) {
        const uint8_t type = unit.type();
        out += "unknown ";
        appendHex(out, &type, 1);
    } else {
        out += nameOf(unit.kind);
    }
}

void appendQuoted(std::string& out, std::string_view text)
{
    out += '"';
    appendPrintable(out, text, '\\');
    out += '"';
}

void appendHex(std::string& out, const uint8_t* bytes, size_t size, std::string_view separator)
{
    for (size_t i = 0; i < size; ++i) {
        if (i > 0)
            out += separator;
        out += digits[bytes[i] >> 4];
        out += digits[bytes[i] & 0xF];
    }
}

void appendField(std::string& out, const Value& value)
{
    out += value.field->path;
    out += '=';
    if (isText(value))
        appendQuoted(out, textOf(value));
    else if (value.isKept)
        out += "as before";
    else
        appendText(out, value);
    if (hasUnit(value)) {
        out += ' ';
        out += value.unit;
    }
}

void readFields(std::vector<Value>& values, const Decoder& decoder, const Unit& unit, const Frame* frame,
                const uint8_t* before, size_t beforeSize)
{
    values.clear();
    if (unit.kind != UnitKind::Frame || !frame || !frame->takes(unit.payloadSize()))
        return;
    const uint8_t* payload = unit.payload();
    const size_t size = unit.payloadSize();
    if (before && size == beforeSize && std::memcmp(payload, before, size) == 0)
        return;
    for (const Field& field : frame->fields) {
        if (before && !field.differs(before, beforeSize, payload, size))
            continue;
        const Value value = decoder.value(field, payload, size);
        if (!before || !isSame(value, decoder.value(field, before, beforeSize)))
            values.push_back(value);
    }
}

void appendKeys(std::string& out, std::string_view direction, const Unit& unit, const Frame* frame,
                const std::vector<Value>& values)
{
    out.append(R"("direction":")").append(direction);
    out.append(R"(","kind":")").append(nameOf(unit.kind));
    if (unit.hasType()) {
        const uint8_t type = unit.type();
        out += R"(","type":")";
        appendHex(out, &type, 1);
    }
    if (frame)
        out.append(R"(","frame":")").append(frame->name);
    out += R"(","bytes":")";
    appendHex(out, unit.bytes, unit.size);
    out += '"';
    std::string_view separator = R"(,"fields":{)";
    for (const Value& value : values) {
        if (value.state == Value::Absent) // another field may have its path
            continue;
        appendKey(out, separator, value.field->path);
        appendJson(out, value);
    }
    out += separator == "," ? "}" : "";
    separator = R"(,"units":{)";
    for (const Value& value : values) {
        if (!hasUnit(value))
            continue;
        appendKey(out, separator, value.field->path);
        appendQuoted(out, value.unit);
    }
    out += separator == "," ? "}" : "";
    if (const std::string problem = problemOf(unit, frame); !problem.empty())
        out.append(R"(,"problem":")").append(problem).append("\"");
}

Narrator::Narrator(const Description& description, Splitter::Receiver receiver, int carModel)
    : m_description(description)
    , m_decoder(description, carModel)
    , m_splitter(receiver, [this](const Unit& unit) { readUnit(unit, *m_sink); })
{
}

void Narrator::read(const QByteArray& bytes, std::chrono::nanoseconds time, const Sink& sink)
{
    m_sink = &sink;
    m_splitter.feed(reinterpret_cast<const uint8_t*>(bytes.constData()), static_cast<size_t>(bytes.size()),
                    time / std::chrono::microseconds(1));
    m_splitter.settle();
}

void Narrator::readUnit(const Unit& unit, const Sink& sink)
{
    const Frame* frame = unit.hasType() ? m_description.frame(unit.type()) : nullptr;
    const auto last = unit.hasType() ? m_last.find(unit.type()) : m_last.end();
    const bool isKnown = last != m_last.end();
    readFields(m_values, m_decoder, unit, frame, isKnown ? last->second.data() : nullptr,
               isKnown ? last->second.size() : 0);
    sink(unit, frame);
    if (unit.kind == UnitKind::Frame && frame && frame->takes(unit.payloadSize()))
        m_last[unit.type()].assign(unit.payload(), unit.payloadSize());
}

QString Narrator::tell(const QByteArray& bytes, std::chrono::nanoseconds time)
{
    std::string told;
    read(bytes, time, [&](const Unit& unit, const Frame* frame) {
        told += told.empty() ? "" : "; ";
        appendName(told, unit, frame);
        std::string_view separator = " ";
        for (const Value& value : m_values) {
            if (value.state != Value::Present)
                continue;
            told += separator;
            separator = ", ";
            appendField(told, value);
        }
        if (const std::string problem = problemOf(unit, frame); !problem.empty())
            told.append(": ").append(problem);
    });
    return QString::fromStdString(told);
}

std::vector<std::string> Narrator::tellKeys(const QByteArray& bytes, std::chrono::nanoseconds time,
                                            std::string_view direction)
{
    std::vector<std::string> units;
    read(bytes, time, [&](const Unit& unit, const Frame* frame) {
        appendKeys(units.emplace_back(), direction, unit, frame, m_values);
    });
    return units;
}

} // namespace protocol
