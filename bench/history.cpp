#include "history.h"

#include "clock.h"
#include "hostsetup.h"
#include "text.h"

#include <QHash>

#include <algorithm>

namespace {

constexpr std::size_t EventLimit = 1000;
constexpr int LineLimit = 30; // of what is told
constexpr int FieldLimit = 6; // of a frame
constexpr int Columns = 80;   // of a terminal
constexpr char Indent[] = "    ";

QString hexOf(const QByteArray& bytes)
{
    return bytes.toHex().toUpper();
}

// An event without its time.
QString textOf(const Event& event)
{
    QStringList values;
    for (const Reading& reading : event.readings)
        values.append(reading.assignment());
    return (event.what + ' ' + values.join(", ") + hexOf(event.bytes)).trimmed();
}

// Breaks a line between words where it would pass the terminal's edge; it goes on in the column @p indent.
QString wrapped(const QString& line, int indent)
{
    QString text;
    QString rest = line;
    while (rest.size() > Columns) {
        int at = rest.lastIndexOf(", ", Columns - 1) + 1; // not between a number and its unit
        if (at <= indent)
            at = rest.lastIndexOf(' ', Columns);
        if (at <= indent) // a word that is longer than that
            at = rest.indexOf(' ', Columns);
        if (at < 0)
            break;
        text += rest.left(at) + '\n';
        rest = QString(indent, ' ') + rest.mid(at).trimmed();
    }
    return text + rest;
}

// Tells of both directions what their bytes say.
class Narrators
{
public:
    // With some of the fields of each frame, for the first of a type tells all.
    QString tell(const QString& direction, const QByteArray& bytes)
    {
        QStringList units = (direction == "tx" ? m_toBox : m_toHeadUnit).tell(bytes, {}).split("; ");
        for (QString& unit : units) {
            unit.replace(' ' + unit.section(' ', 0, 0) + '.', " ");
            const QStringList fields = unit.split(", ");
            if (fields.size() > FieldLimit + 1)
                unit = fields.mid(0, FieldLimit).join(", ") +
                       QString(", %1 more").arg(fields.size() - FieldLimit);
        }
        return units.join("; ");
    }

private:
    using Receiver = protocol::Splitter::Receiver;
    protocol::Narrator m_toHeadUnit{protocol::Description::standard(), Receiver::HeadUnit,
                                    hostSetup().carModelId};
    protocol::Narrator m_toBox{protocol::Description::standard(), Receiver::Box, hostSetup().carModelId};
};

// Events that look the same.
struct Row
{
    QString text;
    std::chrono::nanoseconds first;
    std::chrono::nanoseconds last;
    int count;
    bool isUsed; // the first of them
};

QString lineOf(const Row& row)
{
    QString text = Indent;
    text += stamp(row.first) + (row.isUsed ? "* " : "  ") + row.text;
    if (row.count > 1)
        text += QString("  [%1 times, last %2]").arg(row.count).arg(stamp(row.last));
    return '\n' + wrapped(text, 18);
}

// What both say where they differ; nearest bytes are as many as were expected.
QString byteDifference(const Expectation& expected, const Event& nearest)
{
    const QString expectedHex = hexOf(expected.bytes);
    const QString nearestHex = hexOf(nearest.bytes);
    Narrators narrators;
    narrators.tell(expected.what, expected.bytes);
    const QString came = narrators.tell(expected.what, nearest.bytes);
    const QString wanted = narrators.tell(expected.what, expected.bytes);
    QString marks;
    for (int i = 0; i < expectedHex.size(); i += 2)
        marks += expectedHex.mid(i, 2) == nearestHex.mid(i, 2) ? "  " : "^^";
    while (marks.endsWith(' '))
        marks.chop(1);
    const QString before = QString(Indent) + stamp(nearest.time) + ' ' + expected.what + ' ';
    const QString column(before.size(), ' ');
    const auto line = [&](const QString& begin, const QString& hex, const QString& told) {
        return '\n' + wrapped(begin + hex + (told.isEmpty() ? "" : "  ") + told, before.size());
    };
    return line(before, nearestHex, came) + '\n' + column + marks +
           line(QString("    expected").leftJustified(before.size()), expectedHex, wanted);
}

QString valueDifference(const Expectation& expected, const Event& nearest)
{
    QStringList differences;
    for (const Condition& condition : expected.conditions) {
        const auto* const match =
            std::find_if(nearest.readings.begin(), nearest.readings.end(),
                         [&condition](const Reading& reading) { return reading.name == condition.name; });
        if (match == nearest.readings.end())
            differences.append(condition.name + " is not in it");
        else if (!condition.holds(*match))
            differences.append(QString("%1 is %2").arg(condition.name, match->text()));
    }
    const QString text = Indent + stamp(nearest.time) + ' ' + textOf(nearest);
    return '\n' + wrapped(text, 18) + "\n" + wrapped(Indent + ("but " + differences.join(", ")), 8);
}

} // namespace

void History::add(const Event& event)
{
    if (m_events.size() == EventLimit) {
        m_events.pop_front();
        m_usedBytes = m_next == 0 ? 0 : m_usedBytes;
        m_isCut = m_isCut || m_begin == 0;
        m_begin -= m_begin > 0 ? 1 : 0;
        m_next -= m_next > 0 ? 1 : 0;
    }
    m_events.push_back(event);
}

void History::begin(const QString& command, std::chrono::nanoseconds time)
{
    m_begin = m_events.size();
    m_next = m_begin;
    m_usedBytes = 0;
    m_isCut = false;
    m_command = command;
    m_commandTime = time;
}

// Where the events begin of which the newest can be the end of the expected bytes.
History::Index History::bytesBefore(const Expectation& expected) const
{
    Index from = m_events.size() - 1;
    for (int missing = expected.bytes.size() - 1; missing > 0 && from > m_next;) {
        --from;
        missing -= m_events[from].what == expected.what ? m_events[from].bytes.size() : 0;
    }
    return from;
}

// Bytes are looked for in everything that one direction carried, wherever the chunks' boundaries lie.
bool History::meets(const Expectation& expected, bool isNew)
{
    QByteArray bytes;
    for (Index i = isNew ? bytesBefore(expected) : m_next; i < m_events.size(); ++i) {
        const Event& event = m_events[i];
        if (event.what != expected.what || !expected.isMetBy(event.readings))
            continue;
        bytes.append(i == m_next ? event.bytes.mid(m_usedBytes) : event.bytes);
        const int at = bytes.indexOf(expected.bytes);
        if (at < 0)
            continue;
        const int left = bytes.size() - at - expected.bytes.size();
        if (!expected.isAbsence) {
            m_next = left > 0 ? i : i + 1;
            m_usedBytes = left > 0 ? event.bytes.size() - left : 0;
        }
        return true;
    }
    return false;
}

std::optional<Event> History::nearest(const Expectation& expected) const
{
    std::optional<Event> nearest;
    int most = 0;
    QByteArray window; // the last bytes of the direction, as many as are expected
    for (Index i = m_next; i < m_events.size(); ++i) {
        const Event& event = m_events[i];
        if (event.what != expected.what)
            continue;
        if (expected.bytes.isEmpty() && expected.holding(event.readings) >= most) {
            most = expected.holding(event.readings);
            nearest = event;
        }
        for (int at = i == m_next ? m_usedBytes : 0; at < event.bytes.size(); ++at) {
            window = (window + event.bytes[at]).right(expected.bytes.size());
            int same = 0;
            for (int k = 0; k < window.size() && window.size() == expected.bytes.size(); ++k)
                same += window[k] == expected.bytes[k] ? 1 : 0;
            if (same >= most && 2 * same >= expected.bytes.size() && same > 0) {
                most = same;
                nearest = {event.what, {}, window, event.time};
            }
        }
    }
    return nearest;
}

QString History::told() const
{
    Narrators narrators;
    QVector<Row> rows;
    QHash<QString, int> places;
    for (Index i = 0; i < m_events.size(); ++i) {
        const Event& event = m_events[i];
        const QString meaning = narrators.tell(event.what, event.bytes); // of what changed since before
        if (i < m_begin)
            continue;
        const QString text = textOf(event) + (meaning.isEmpty() ? "" : "  ") + meaning;
        const int place = places.value(text, rows.size());
        if (place == rows.size()) {
            places.insert(text, place);
            rows.append({text, event.time, event.time, 0, i < m_next});
        }
        rows[place].last = event.time;
        ++rows[place].count;
    }
    const QString since = m_command.isEmpty()
                              ? "since the beginning"
                              : QString("since \"%1\" at %2").arg(m_command, stamp(m_commandTime));
    if (rows.isEmpty())
        return "\n  nothing came " + since;
    QString text = "\n  what came " + since;
    if (m_isCut)
        text += QString(", of it the last %1 events").arg(EventLimit);
    if (m_next > m_begin)
        text += ", * used up before";
    const int left = std::max(rows.size() - LineLimit, 0);
    text += left > 0 ? QString(" (%1 lines before these are left out)").arg(left) : "";
    text = wrapped(text, 4) + ':';
    for (const Row& row : rows.mid(left))
        text += lineOf(row);
    return text;
}

QString failureText(const Expectation& expected, const std::optional<Event>& nearest, const History& history)
{
    QString text = "expected " + expected.text;
    if (expected.isAbsence)
        text += nearest
                    ? "\n  it came:\n" + wrapped(Indent + stamp(nearest->time) + ' ' + textOf(*nearest), 18)
                    : QString();
    else if (nearest)
        text += "\n  nearest that came:" + (expected.bytes.isEmpty() ? valueDifference(expected, *nearest)
                                                                     : byteDifference(expected, *nearest));
    return text + history.told();
}
