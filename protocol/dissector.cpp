#include "dissector.h"

#include <QFile>

#include <algorithm>
#include <map>

static void initResources()
{
    Q_INIT_RESOURCE(protocol);
}

namespace protocol {

namespace {

std::string quoted(Text text)
{
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            out += '\\';
        out += c == '\n' ? ' ' : c;
    }
    return out + '"';
}

/// A table of Lua. An empty text and a flag that is false are left out: they read as nil.
class Table
{
public:
    Table& number(const char* key, int64_t number) { return add(key, std::to_string(number)); }
    Table& flag(const char* key, bool flag) { return flag ? add(key, "true") : *this; }
    Table& text(const char* key, Text text) { return text.empty() ? *this : add(key, quoted(text)); }

    template<typename List, typename Write> Table& list(const char* key, const List& list, Write write)
    {
        std::string elements;
        for (const auto& element : list)
            elements += write(element) + ", ";
        return add(key, '{' + elements + '}');
    }

    std::string written() const { return '{' + m_text + '}'; }

private:
    Table& add(const char* key, const std::string& value)
    {
        m_text.append(key).append(" = ").append(value).append(", ");
        return *this;
    }

    std::string m_text;
};

std::string writeNumber(uint32_t number)
{
    return std::to_string(number);
}

void addPlace(Table& table, const Place& place, uint32_t missingRaw)
{
    constexpr int AllBytes = 255;
    table.number("byte", place.byte)
        .number("bytes", place.bytes == 0 ? AllBytes : place.bytes)
        .number("shift", place.shift)
        .number("mask", place.mask)
        .number("missing", missingRaw);
}

std::string writeCondition(const Condition& condition)
{
    Table table;
    if (condition.what == Condition::CarModelIn || condition.what == Condition::CarModelNotIn)
        return table.number("carModels", static_cast<int64_t>(condition.carModels) + 1)
            .flag("isListed", condition.what == Condition::CarModelIn)
            .written();
    addPlace(table, condition.place, condition.missingRaw);
    if (condition.what == Condition::CodeIn)
        table.list("codes", condition.codes, writeNumber);
    return table.written();
}

std::string writePiece(const Piece& piece)
{
    return Table()
        .number("first", piece.first)
        .number("last", piece.last)
        .number("value", piece.value)
        .number("step", piece.step)
        .text("name", piece.name)
        .flag("isKept", piece.kept)
        .written();
}

// What is left of the codes is one more piece.
std::vector<Piece> piecesOf(const Rule& rule)
{
    std::vector<Piece> pieces = rule.pieces;
    if (!rule.hasOthers)
        return pieces;
    pieces.push_back(rule.others);
    pieces.back().last = UINT32_MAX;
    return pieces;
}

std::string writeRule(const Rule& rule)
{
    Table table;
    table.list("conditions", rule.conditions, writeCondition)
        .list("pieces", piecesOf(rule), writePiece)
        .flag("isConstant", rule.isConstant)
        .text("name", rule.isConstant ? rule.others.name : Text())
        .flag("isSigned", rule.isSigned)
        .number("step", rule.step)
        .number("offset", rule.offset)
        .number("decimals", rule.decimals)
        .text("unit", rule.unit);
    if (rule.limit != INT64_MAX)
        table.number("limit", rule.limit);
    return table.written();
}

// Wireshark's types; of two fields with one path the later of them is the type of both.
enum class Type { Bool, Int, Double, String, Bytes };
using Types = std::map<Text, Type>; // by path

Type typeOf(const Field& field)
{
    constexpr uint32_t HighestInt = 0xFFFF;
    const auto isInt = [&](const Rule& rule) { return rule.decimals == 0 && rule.step <= HighestInt / 2; };
    if (field.kind == Kind::Flag)
        return Type::Bool;
    if (field.kind != Kind::Number)
        return field.kind == Kind::Raw ? Type::Bytes : Type::String;
    return field.place.mask <= HighestInt && std::all_of(field.rules.begin(), field.rules.end(), isInt)
               ? Type::Int
               : Type::Double;
}

Types typesOf(const Description& description)
{
    Types types;
    for (const Frame& frame : description.frames()) {
        for (const Field& field : frame.fields) {
            Type& type = types[field.path];
            type = std::max(type, typeOf(field));
        }
    }
    return types;
}

std::string writeField(const Field& field, Type type)
{
    static constexpr Text types[] = {"bool", "int", "double", "string", "bytes"};
    static constexpr Text kinds[] = {"flag", "number", "code", "utf8", "utf16", "raw"};
    Table table;
    table.text("path", field.path)
        .text("about", field.about)
        .text("type", types[static_cast<size_t>(type)])
        .text("kind", kinds[static_cast<size_t>(field.kind)])
        .flag("isInverted", field.isInverted)
        .flag("isKeptMissing", field.isKeptMissing);
    addPlace(table, field.place, field.missingRaw);
    return table.list("conditions", field.when, writeCondition)
        .list("rules", field.rules, writeRule)
        .written();
}

std::string writeFrame(const Frame& frame, const Types& types)
{
    Table table;
    table.text("name", frame.name)
        .text("title", frame.title)
        .text("group", frame.group)
        .flag("isToBox", frame.direction == Direction::ToBox)
        .flag("isOpen", frame.isOpen())
        .number("bytesRead", frame.bytesRead());
    if (frame.length != Frame::AnyLength)
        table.number("length", frame.length);
    return '[' + std::to_string(frame.type) + "] = " +
           table
               .list("fields", frame.fields,
                     [&](const Field& field) { return "\n  " + writeField(field, types.at(field.path)); })
               .written();
}

std::string writeByte(const SingleByte& byte)
{
    return Table()
        .number("byte", byte.byte)
        .flag("isToBox", byte.direction == Direction::ToBox)
        .text("name", byte.name)
        .text("title", byte.title)
        .written();
}

std::string writeCarModels(const CarModelList& list)
{
    std::string ids;
    for (const int id : list.ids)
        ids += std::to_string(id) + ", ";
    return '{' + ids + '}';
}

} // namespace

std::string writeDissector(const Description& description)
{
    initResources();
    QFile reader(":/protocol/dissector.lua");
    if (!reader.open(QIODevice::ReadOnly))
        qFatal("the dissector is not in the library");
    const Types types = typesOf(description);
    const auto line = [](const std::string& text) { return '\n' + text; };
    const std::string table =
        Table()
            .list("carModels", description.carModels(),
                  [&](auto& list) { return line(writeCarModels(list)); })
            .list("bytes", description.bytes(), [&](auto& byte) { return line(writeByte(byte)); })
            .list("frames", description.frames(), [&](auto& frame) { return line(writeFrame(frame, types)); })
            .written();
    return "-- Made by boxdecode --write-dissector.\n\nlocal description = " + table + "\n\n" +
           reader.readAll().toStdString();
}

} // namespace protocol
