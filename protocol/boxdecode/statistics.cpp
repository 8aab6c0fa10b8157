#include "statistics.h"

#include <QString>

#include <algorithm>

namespace protocol {

namespace {

// The numbers of the set as ranges: " 00 40-48".
void appendRanges(QString& out, const std::bitset<256>& set, const char* format)
{
    for (size_t i = 0; i < set.size(); ++i) {
        if (!set[i])
            continue;
        const size_t first = i;
        while (i + 1 < set.size() && set[i + 1])
            ++i;
        out += ' ';
        out += QString::asprintf(format, static_cast<unsigned>(first));
        if (i > first) {
            out += '-';
            out += QString::asprintf(format, static_cast<unsigned>(i));
        }
    }
}

double milliseconds(int64_t micros)
{
    return static_cast<double>(micros) / 1000;
}

} // namespace

void Distribution::add(int64_t number)
{
    least = std::min(least, number);
    most = std::max(most, number);
    ++count;
    auto rest = static_cast<uint64_t>(number);
    size_t index = 0;
    for (; rest >> (Precision + 1) != 0; rest >>= 1)
        index += 1 << Precision;
    index += static_cast<size_t>(rest);
    if (index >= m_alike.size())
        m_alike.resize(index + 1);
    ++m_alike[index].count;
    m_alike[index].sum += number;
}

int64_t Distribution::median() const
{
    uint64_t below = 0;
    size_t index = 0;
    while ((below += m_alike[index].count) * 2 < count)
        ++index;
    return m_alike[index].sum / static_cast<int64_t>(m_alike[index].count);
}

Statistics::Statistics(Output& output)
    : m_output(output)
    , m_queue([this](std::string&, bool waited, Answer answer) {
        m_answers[static_cast<size_t>(answer)] += waited;
    })
{
}

bool Statistics::take(const Item& item, bool wants)
{
    if (m_queue.isTaken(item) || !wants)
        return false;
    m_queue.add(item);
    m_queue.release(item.unit.time);
    Sum& sum = m_kinds[static_cast<size_t>(item.unit.kind)];
    ++sum.units;
    sum.bytes += item.unit.size;
    if (item.isFrame())
        count(item);
    return true;
}

void Statistics::count(const Item& item)
{
    const Unit& unit = item.unit;
    std::unique_ptr<Type>& known = m_types[static_cast<size_t>(item.side)][unit.type()];
    if (!known)
        known = std::make_unique<Type>();
    Type& type = *known;
    type.frame = item.frame;
    if (++type.count == 1)
        type.first = unit.time;
    else if (item.isTimed())
        type.periods.add(std::max<int64_t>(0, unit.time - type.last));
    type.last = unit.time;
    const size_t size = unit.payloadSize();
    type.lengths.set(size);
    if (type.bytes.size() < size)
        type.bytes.resize(size);
    for (size_t i = 0; i < size; ++i) {
        Byte& byte = type.bytes[i];
        if (item.before && i < item.beforeSize)
            byte.changed = static_cast<uint8_t>(byte.changed | (item.before[i] ^ unit.payload()[i]));
        byte.values.set(unit.payload()[i]);
    }
}

void Statistics::appendType(QString& out, size_t side, size_t type, const Type& stats) const
{
    constexpr const char* sides[] = {"rx", "tx", "--"};
    out += QString::asprintf("%s %02zX ", sides[side], type);
    const Text name = stats.frame ? stats.frame->name : "unknown";
    out += toString(name);
    out += QString::asprintf(": count %llu", static_cast<unsigned long long>(stats.count));
    if (const double span = milliseconds(stats.last - stats.first) / 1000;
        stats.periods.count > 0 && span > 0)
        out += QString::asprintf(", %.3g a second, period %.3f / %.3f / %.3f ms",
                                 static_cast<double>(stats.periods.count) / span,
                                 milliseconds(stats.periods.least), milliseconds(stats.periods.median()),
                                 milliseconds(stats.periods.most));
    out += ", length";
    appendRanges(out, stats.lengths, "%u");
    out += '\n';
    for (size_t i = 0; i < stats.bytes.size(); ++i) {
        out += QString::asprintf("    byte %zu: bits ", i);
        for (int bit = 7; bit >= 0; --bit)
            out += (stats.bytes[i].changed >> bit & 1) != 0 ? QChar('0' + bit) : QChar('.');
        out += ", values";
        appendRanges(out, stats.bytes[i].values, "%02X");
        out += '\n';
    }
}

void Statistics::finish()
{
    m_queue.flush();
    QString text;
    for (size_t side = 0; side < 3; ++side) {
        for (size_t type = 0; type < 256; ++type) {
            if (m_types[side][type])
                appendType(text, side, type, *m_types[side][type]);
        }
    }
    constexpr const char* kinds[] = {"good frames",     "wrong checksums", "lone acknowledgements",
                                     "lone rejections", "pieces of noise", "unfinished frames"};
    for (size_t kind = 0; kind < 6; ++kind)
        text += QString::asprintf("%s: %llu, bytes %llu\n", kinds[kind],
                                  static_cast<unsigned long long>(m_kinds[kind].units),
                                  static_cast<unsigned long long>(m_kinds[kind].bytes));
    constexpr const char* answers[] = {"without an answer", "acknowledged", "rejected"};
    for (size_t answer = 0; answer < 3; ++answer)
        text += QString::asprintf("frames %s: %llu\n", answers[answer],
                                  static_cast<unsigned long long>(m_answers[answer]));
    m_output.write(text.toStdString());
}

} // namespace protocol
