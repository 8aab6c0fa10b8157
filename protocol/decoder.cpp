#include "decoder.h"

#include "text.h"

#include <algorithm>
#include <charconv>

namespace protocol {

namespace {

// The bits of @p place, whose bytes are within @p payload.
uint32_t bitsOf(const Place& place, const unsigned char* payload)
{
    uint32_t bits = payload[place.byte];
    for (int i = 1; i < place.bytes; ++i)
        bits = bits << 8 | payload[place.byte + i];
    return bits >> place.shift & place.mask;
}

bool isWithin(const Place& place, size_t size)
{
    return static_cast<size_t>(place.byte) + static_cast<size_t>(place.bytes) <= size;
}

// A code of two or four bytes as the signed number that it is.
int64_t signedCode(uint32_t raw, uint32_t mask)
{
    return raw > mask / 2 ? static_cast<int64_t>(raw) - mask - 1 : static_cast<int64_t>(raw);
}

void take(Value& value, const Piece& piece)
{
    value.name = piece.name;
    value.number = piece.value + (value.raw - piece.first) * piece.step;
    if (piece.kept) {
        value.isKept = true;
        value.number = value.raw;
        value.decimals = 0;
    }
}

void read(Value& value, const Rule& rule)
{
    value.unit = rule.unit;
    value.isUnitKept = rule.keepsUnit;
    value.decimals = static_cast<unsigned char>(rule.decimals);
    if (rule.isConstant) {
        value.number = rule.offset;
        value.name = rule.others.name;
        return;
    }
    for (const Piece& piece : rule.pieces)
        if (value.raw >= piece.first && value.raw <= piece.last)
            return take(value, piece);
    if (rule.hasOthers)
        return take(value, rule.others);
    const int64_t code = rule.isSigned ? signedCode(value.raw, value.field->place.mask) : value.raw;
    value.number = std::min(code * rule.step + rule.offset, rule.limit);
}

// The bytes of the text up to its end.
size_t textSize(const Value& value)
{
    const size_t unit = value.field->kind == Kind::Utf16 ? 2 : 1;
    size_t size = 0;
    while (size + unit <= value.size && (value.bytes[size] != 0 || (unit == 2 && value.bytes[size + 1] != 0)))
        size += unit;
    return size;
}

void readBytes(Value& value, const unsigned char* payload, size_t size)
{
    const Place& place = value.field->place;
    const size_t begin = static_cast<size_t>(place.byte);
    if (begin > size)
        return;
    value.bytes = payload + begin;
    value.size = std::min(size - begin, place.bytes == 0 ? size : static_cast<size_t>(place.bytes));
    if (value.field->kind != Kind::Raw)
        value.size = textSize(value);
}

} // namespace

Decoder::Decoder(const Description& description, int carModel)
{
    for (const CarModelList& list : description.carModels())
        m_isListed.push_back(std::find(list.ids.begin(), list.ids.end(), carModel) != list.ids.end());
}

bool Decoder::holds(const Condition& condition, const unsigned char* payload, size_t size) const
{
    switch (condition.what) {
    case Condition::CarModelIn:
        return m_isListed[condition.carModels];
    case Condition::CarModelNotIn:
        return !m_isListed[condition.carModels];
    case Condition::Missing:
        return !isWithin(condition.place, size);
    case Condition::CodeIn:
        break;
    }
    const bool isPresent = isWithin(condition.place, size);
    if (!isPresent && condition.isKeptMissing)
        return false;
    const uint32_t raw = isPresent ? bitsOf(condition.place, payload) : condition.missingRaw;
    return std::find(condition.codes.begin(), condition.codes.end(), raw) != condition.codes.end();
}

bool Decoder::hold(const std::vector<Condition>& conditions, const unsigned char* payload, size_t size) const
{
    return std::all_of(conditions.begin(), conditions.end(),
                       [&](const Condition& condition) { return holds(condition, payload, size); });
}

Value Decoder::value(const Field& field, const unsigned char* payload, size_t size) const
{
    Value value;
    value.field = &field;
    if (!hold(field.when, payload, size))
        return value;
    const bool isPresent = isWithin(field.place, size);
    value.state = isPresent ? Value::Present : Value::Missing;
    if (field.place.mask == 0) {
        readBytes(value, payload, size);
        return value;
    }
    value.raw = isPresent ? bitsOf(field.place, payload) : field.missingRaw;
    const Rule* rule = field.rules.data();
    while (!hold(rule->conditions, payload, size))
        ++rule;
    read(value, *rule);
    if (field.isInverted)
        value.number = 1 - value.number;
    if (!isPresent && field.isKeptMissing)
        value.isKept = true;
    return value;
}

namespace {

void appendInteger(std::string& out, int64_t number)
{
    char digits[24];
    out.append(digits, std::to_chars(digits, std::end(digits), number).ptr);
}

// A code without a name, as the protocol's document writes it.
void appendCode(std::string& out, uint32_t code)
{
    out += "0x";
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto byte = static_cast<unsigned char>(code >> shift);
        if (code >> shift != 0 || shift == 0)
            appendHex(out, &byte, 1);
    }
}

// Halves of surrogate pairs become U+FFFD, as bytes that are no UTF-8 do.
QString fromUtf16(const unsigned char* bytes, size_t size)
{
    QString text;
    for (size_t i = 0; i + 1 < size; i += 2) {
        const QChar unit(bytes[i], bytes[i + 1]);
        const QChar next = i + 3 < size ? QChar(bytes[i + 2], bytes[i + 3]) : QChar();
        if (unit.isHighSurrogate() && next.isLowSurrogate()) {
            text.append(unit).append(next);
            i += 2;
        } else {
            text += unit.isSurrogate() ? QChar(QChar::ReplacementCharacter) : unit;
        }
    }
    return text;
}

void appendCharacters(std::string& out, const Value& value)
{
    const QString text =
        value.field->kind == Kind::Utf16
            ? fromUtf16(value.bytes, value.size)
            : QString::fromUtf8(reinterpret_cast<const char*>(value.bytes), static_cast<int>(value.size));
    const QByteArray utf8 = text.toUtf8();
    out.append(utf8.constData(), static_cast<size_t>(utf8.size()));
}

} // namespace

void appendNumber(std::string& out, const Value& value)
{
    if (value.field->kind == Kind::Flag) {
        out += value.number != 0 ? "true" : "false";
        return;
    }
    constexpr int64_t Powers[] = {1, 10, 100, 1000, 10000, 100000, 1000000};
    const int64_t power = Powers[value.decimals];
    const int64_t magnitude = value.number < 0 ? -value.number : value.number;
    if (value.number < 0)
        out += '-';
    appendInteger(out, magnitude / power);
    if (power == 1)
        return;
    out += '.';
    for (int64_t digit = power / 10; digit > 0; digit /= 10)
        out += static_cast<char>('0' + magnitude / digit % 10);
}

void appendText(std::string& out, const Value& value)
{
    if (value.field->kind == Kind::Raw)
        appendHex(out, value.bytes, value.size, " ");
    else if (value.field->place.mask == 0)
        appendCharacters(out, value);
    else if (!value.name.empty())
        out += value.name;
    else if (value.field->kind == Kind::Code)
        appendCode(out, value.raw);
    else
        appendNumber(out, value);
}

} // namespace protocol
