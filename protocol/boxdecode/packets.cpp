#include "packets.h"

#include "canfd.h"

#include <QDateTime>

#include <algorithm>

namespace protocol {

namespace {

constexpr std::string_view interfaces[] = {"rx", "tx", "either"};

constexpr size_t LongestComment = 0xFFFF;

void append32(std::string& out, uint32_t value)
{
    for (int shift = 0; shift < 32; shift += 8)
        out += static_cast<char>(value >> shift & 0xFF);
}

void append16(std::string& out, unsigned value)
{
    out += static_cast<char>(value & 0xFF);
    out += static_cast<char>(value >> 8 & 0xFF);
}

void pad(std::string& out)
{
    out.append((4 - out.size() % 4) % 4, '\0');
}

void appendOption(std::string& out, unsigned code, std::string_view value)
{
    append16(out, code);
    append16(out, static_cast<unsigned>(value.size()));
    out += value;
    pad(out);
}

void beginBlock(std::string& out, uint32_t type)
{
    out.clear();
    append32(out, type);
    append32(out, 0);
}

// Puts the block's length at both of its ends.
void endBlock(std::string& out)
{
    std::string size;
    append32(size, static_cast<uint32_t>(out.size() + 4));
    out.replace(4, 4, size);
    out += size;
}

} // namespace

bool CandumpWriter::take(const Item& item, bool wants)
{
    const Unit& unit = item.unit;
    if (!wants || unit.kind == UnitKind::Acknowledgement)
        return false;
    m_text = "(";
    appendSeconds(m_text, unit.time);
    m_text += ") ";
    m_text += interfaces[static_cast<size_t>(item.side)];
    m_text += ' ';
    if (item.isFrame() && unit.payloadSize() <= LongestCanFd) {
        const uint8_t type = unit.type();
        m_text += '0';
        appendHex(m_text, &type, 1);
        m_text += unit.payloadSize() <= LongestCan ? "#" : "##0";
        appendHex(m_text, unit.payload(), unit.payloadSize());
        m_text.append(2 * (paddedLength(unit.payloadSize()) - unit.payloadSize()), '0');
        m_text += '\n';
        m_output.write(m_text);
        return true;
    }
    // Protocol violation, and for a rejection that nobody acknowledged.
    m_text += unit.kind == UnitKind::Rejection ? "20000020#" : "20000008#";
    const size_t head = m_text.size();
    for (size_t at = 0; at <= unit.size; at += 8) {
        m_text.resize(head);
        appendHex(m_text, unit.bytes + at, std::min<size_t>(8, unit.size - at));
        m_text += '\n';
        m_output.write(m_text);
    }
    return true;
}

void PcapngWriter::takeHeader(std::string_view line)
{
    constexpr std::string_view Date = "date: ";
    if (!m_hasBegun && line.substr(0, Date.size()) == Date) {
        const QString date = toString(line.substr(Date.size()));
        m_date = std::max<int64_t>(0, QDateTime::fromString(date, Qt::ISODate).toSecsSinceEpoch());
    }
    if (!m_hasBegun && m_comment.size() + line.size() < LongestComment)
        m_comment.append(m_comment.empty() ? "" : "\n").append(line);
}

void PcapngWriter::begin()
{
    if (m_hasBegun)
        return;
    m_hasBegun = true;
    beginBlock(m_block, 0x0A0D0D0A); // section header: byte order, version 1.0, any length
    append32(m_block, 0x1A2B3C4D);
    append32(m_block, 1);
    m_block.append(8, '\xFF');
    if (!m_comment.empty()) {
        appendOption(m_block, 1, m_comment);
        appendOption(m_block, 0, {});
    }
    endBlock(m_block);
    m_output.write(m_block);
    constexpr unsigned User0 = 147;
    beginBlock(m_block, 1); // interface description; times are in microseconds by default
    append32(m_block, User0);
    append32(m_block, 0); // no limit
    appendOption(m_block, 2, "line");
    std::string date;
    append32(date, static_cast<uint32_t>(m_date));
    append32(date, static_cast<uint32_t>(m_date >> 32));
    appendOption(m_block, 14, date); // what all times are counted from
    appendOption(m_block, 0, {});
    endBlock(m_block);
    m_output.write(m_block);
}

bool PcapngWriter::take(const Item& item, bool wants)
{
    if (!wants)
        return false;
    begin();
    const Unit& unit = item.unit;
    beginBlock(m_block, 6); // enhanced packet
    append32(m_block, 0);   // the interface
    append32(m_block, static_cast<uint32_t>(unit.time >> 32));
    append32(m_block, static_cast<uint32_t>(unit.time));
    append32(m_block, static_cast<uint32_t>(unit.size));
    append32(m_block, static_cast<uint32_t>(unit.size));
    m_block.append(reinterpret_cast<const char*>(unit.bytes), unit.size);
    pad(m_block);
    constexpr uint32_t WrongChecksum = 1U << 24;
    std::string flags; // 1 inbound, 2 outbound, 0 unknown
    append32(flags, (item.side == Side::Rx   ? 1U
                     : item.side == Side::Tx ? 2U
                                             : 0U) |
                        (unit.kind == UnitKind::BadFrame ? WrongChecksum : 0));
    appendOption(m_block, 2, flags);
    appendOption(m_block, 0, {});
    endBlock(m_block);
    m_output.write(m_block);
    return true;
}

} // namespace protocol
