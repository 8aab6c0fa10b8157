#include "format.h"

#include <algorithm>
#include <charconv>

namespace protocol {

namespace {

constexpr char digits[] = "0123456789ABCDEF";

constexpr std::string_view BoldYellow = "\x1b[1;33m";
constexpr std::string_view BoldRed = "\x1b[1;31m";
constexpr std::string_view Bold = "\x1b[1m";
constexpr std::string_view Plain = "\x1b[0m";

constexpr std::string_view sides[] = {"rx", "tx", "either"};
constexpr std::string_view answers[] = {"", "acknowledged", "rejected"};

std::string_view nameOf(Side side)
{
    return sides[static_cast<size_t>(side)];
}

std::string_view nameOf(Answer answer)
{
    return answers[static_cast<size_t>(answer)];
}

void appendNumber(std::string& out, uint64_t number)
{
    char text[24];
    out.append(text, std::to_chars(text, std::end(text), number).ptr);
}

void appendCsv(std::string& out, const Value& value)
{
    if (value.isKept)
        return;
    if (value.field->kind == Kind::Flag) {
        out += value.number != 0 ? '1' : '0';
    } else if (isText(value)) {
        out += '"';
        appendPrintable(out, textOf(value), '"');
        out += '"';
    } else {
        appendText(out, value);
    }
}

bool isChanged(const Item& item, size_t at)
{
    constexpr size_t Preamble = 3;
    const size_t index = at - Preamble;
    return item.before && at >= Preamble && index < item.unit.payloadSize() &&
           (index >= item.beforeSize || item.before[index] != item.unit.bytes[at]);
}

void appendColoured(std::string& out, std::string_view colour, std::string_view text)
{
    out += colour;
    out += text;
    out += colour.empty() ? "" : Plain;
}

} // namespace

const std::vector<Value>& Format::valuesOf(const Item& item, bool all)
{
    readFields(m_values, m_decoder, item.unit, item.frame, all ? nullptr : item.before, item.beforeSize);
    return m_values;
}

void appendSeconds(std::string& out, int64_t time)
{
    appendNumber(out, static_cast<uint64_t>(time / 1'000'000));
    char text[] = ".000000";
    auto micros = static_cast<int>(time % 1'000'000);
    for (size_t i = 6; micros > 0; --i, micros /= 10)
        text[i] = static_cast<char>('0' + micros % 10);
    out.append(text, 7);
}

void TextFormat::appendMarked(std::string& out, const Item& item) const
{
    bool wasChanged = false;
    for (size_t i = 0; i < item.unit.size; ++i) {
        const uint8_t byte = item.unit.bytes[i];
        const bool changed = isChanged(item, i);
        if (m_coloured || changed == wasChanged)
            out.append(i > 0 ? 1 : 0, ' ');
        else
            out += changed ? '[' : ']';
        wasChanged = changed;
        const uint8_t old =
            changed && i - 3 < item.beforeSize ? item.before[i - 3] : static_cast<uint8_t>(~byte);
        for (int shift = 4; shift >= 0; shift -= 4) {
            const bool digitChanged = m_coloured && changed && ((byte ^ old) >> shift & 0xF) != 0;
            if (digitChanged)
                appendColoured(out, BoldYellow, std::string_view(digits + (byte >> shift & 0xF), 1));
            else
                out += digits[byte >> shift & 0xF];
        }
    }
}

void TextFormat::append(std::string& out, const Item& item)
{
    constexpr size_t NameWidth = 16;
    if (item.isTimed()) {
        out += '(';
        appendSeconds(out, item.unit.time);
        out += ") ";
    } else {
        out += '@';
        appendNumber(out, item.place);
        out += ' ';
    }
    out += item.side == Side::Either ? "--" : nameOf(item.side);
    out += ' ';
    out += m_coloured ? Bold : "";
    const size_t begin = out.size();
    appendName(out, item.unit, item.frame);
    const size_t width = out.size() - begin;
    out.append(width < NameWidth ? NameWidth - width : 0, ' ');
    out += m_coloured ? Plain : "";
    out += "  ";
    appendMarked(out, item);
    std::string_view separator = "  ";
    for (const Value& value : valuesOf(item, m_all)) {
        if (value.state == Value::Absent)
            continue;
        out += separator;
        separator = ", ";
        appendField(out, value);
    }
    std::string problem = problemOf(item.unit, item.frame);
    if (problem.empty() && !item.isProblem())
        return;
    if (item.isTimed())
        problem += (problem.empty() ? "" : ", ") +
                   std::string(item.placeOf == PlaceOf::Line ? "line " : "packet ") +
                   std::to_string(item.place);
    out += problem.empty() ? "" : "  ";
    appendColoured(out, m_coloured ? BoldRed : "", problem);
}

void TextFormat::end(std::string& out, Answer answer) const
{
    if (answer != Answer::None) {
        out += "  ";
        out += nameOf(answer);
    }
    out += '\n';
}

void JsonFormat::append(std::string& out, const Item& item)
{
    out += R"({"v":1,)";
    if (item.isTimed()) {
        out += R"("time":)";
        appendSeconds(out, item.unit.time);
    } else {
        out += R"("offset":)";
        appendNumber(out, item.place);
    }
    out += ',';
    appendKeys(out, nameOf(item.side), item.unit, item.frame, valuesOf(item, m_all));
    const bool isPlaced = item.isProblem() || !problemOf(item.unit, item.frame).empty();
    if (!isPlaced || !item.isTimed())
        return;
    out += item.placeOf == PlaceOf::Line ? R"(,"line":)" : R"(,"packet":)";
    appendNumber(out, item.place);
}

void JsonFormat::end(std::string& out, Answer answer) const
{
    if (answer != Answer::None) {
        out += R"(,"answer":")";
        out += nameOf(answer);
        out += '"';
    }
    out += "}\n";
}

CsvFormat::CsvFormat(const Description& description, const Selection& selection)
    : Format(description)
{
    for (const Frame& frame : description.frames()) {
        std::vector<Cell>& cells = m_cells[static_cast<size_t>(frame.type)];
        for (size_t i = 0; i < frame.fields.size() && selection.wantsType(frame); ++i) {
            const auto found = std::find(m_columns.begin(), m_columns.end(), frame.fields[i].path);
            cells.push_back({static_cast<size_t>(found - m_columns.begin()), i});
            if (found == m_columns.end())
                m_columns.push_back(frame.fields[i].path);
        }
        std::stable_sort(cells.begin(), cells.end(),
                         [](const Cell& a, const Cell& b) { return a.column < b.column; });
    }
}

void CsvFormat::begin(std::string& out) const
{
    out += "time,place,direction,kind,type,frame,bytes,problem";
    for (Text column : m_columns)
        out.append(",").append(column);
    out += ",answer\n";
}

void CsvFormat::append(std::string& out, const Item& item)
{
    if (item.isTimed())
        appendSeconds(out, item.unit.time);
    out += ',';
    appendNumber(out, item.place);
    out += ',';
    out += nameOf(item.side);
    out += ',';
    out += nameOf(item.unit.kind);
    out += ',';
    const uint8_t type = item.hasType() ? item.unit.type() : 0;
    appendHex(out, &type, item.hasType());
    out += ',';
    out += item.frame ? item.frame->name : "";
    out += ',';
    appendHex(out, item.unit.bytes, item.unit.size);
    out += ',';
    if (const std::string problem = problemOf(item.unit, item.frame); !problem.empty())
        out.append("\"").append(problem).append("\"");
    const std::vector<Value>& values = valuesOf(item, true);
    size_t filled = 0; // columns
    for (const Cell& cell : m_cells[type]) {
        if (values.empty() || cell.column < filled || values[cell.field].state == Value::Absent)
            continue;
        out.append(cell.column + 1 - filled, ',');
        filled = cell.column + 1;
        appendCsv(out, values[cell.field]);
    }
    out.append(m_columns.size() - filled, ',');
}

void CsvFormat::end(std::string& out, Answer answer) const
{
    out += ',';
    out += nameOf(answer);
    out += '\n';
}

} // namespace protocol
