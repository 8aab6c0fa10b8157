#include "consumer.h"

namespace protocol {

namespace {

constexpr int64_t LongestWait = 250'000; // µs

} // namespace

bool AnswerQueue::isTaken(const Item& item)
{
    release(item.unit.time);
    for (size_t i = 0; i < m_count && item.isAnswer() && item.side != Side::Either; ++i) {
        Entry& entry = m_entries[(m_first + i) % m_entries.size()];
        if (!entry.waits || entry.side == item.side || entry.answer != Answer::None)
            continue;
        entry.answer = item.unit.kind == UnitKind::Rejection ? Answer::Rejected : Answer::Acknowledged;
        release(item.unit.time);
        return true;
    }
    return false;
}

std::string& AnswerQueue::add(const Item& item)
{
    if (m_count == m_entries.size())
        handOn();
    Entry& entry = m_entries[(m_first + m_count++) % m_entries.size()];
    entry.line.clear();
    entry.side = item.side;
    entry.time = item.unit.time;
    entry.waits = item.isAnswered() && item.hasAnswers;
    entry.answer = Answer::None;
    return entry.line;
}

void AnswerQueue::release(int64_t time)
{
    while (m_count > 0) {
        const Entry& entry = m_entries[m_first];
        if (entry.waits && entry.answer == Answer::None && time - entry.time <= LongestWait)
            return;
        handOn();
    }
}

void AnswerQueue::flush()
{
    while (m_count > 0)
        handOn();
}

void AnswerQueue::handOn()
{
    Entry& entry = m_entries[m_first];
    m_first = (m_first + 1) % m_entries.size();
    --m_count;
    m_sink(entry.line, entry.waits, entry.answer);
}

LineWriter::LineWriter(Format& format, Output& output)
    : m_format(format)
    , m_output(output)
    , m_queue([this](std::string& line, bool, Answer answer) {
        if (line.empty()) // it is kept for its answer only
            return;
        m_format.end(line, answer);
        m_output.write(line);
    })
{
    std::string head;
    m_format.begin(head);
    m_output.write(head);
}

bool LineWriter::take(const Item& item, bool wants)
{
    if (m_queue.isTaken(item))
        return false;
    if (!wants && !item.isAnswered())
        return false;
    std::string& line = m_queue.add(item);
    if (wants)
        m_format.append(line, item);
    m_queue.release(item.unit.time);
    return wants;
}

} // namespace protocol
