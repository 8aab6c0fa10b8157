#include "faults.h"

#include "car.h"
#include "clock.h"
#include "words.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>

using namespace std::chrono;

namespace boxsim {

namespace {

const FaultRow& rowOf(Fault fault)
{
    return faultRows()[static_cast<int>(fault)];
}

QString timeText(double ms)
{
    return wordOf(milliseconds(std::lround(ms)));
}

// How a statement writes the first of @p numbers as the syntax element @p element, which takes them out.
QString take(const QString& element, QVector<double>& numbers)
{
    static const QRegularExpression zeros("\\.?0+$");
    if (element == "<chance>")
        return QString::number(100 * numbers.takeFirst(), 'f', 9).remove(zeros) + '%';
    if (element == "<time>" || element == "<period>")
        return timeText(numbers.takeFirst());
    if (element == "<times>") {
        const QString least = timeText(numbers.takeFirst());
        const QString most = timeText(numbers.takeFirst());
        return least == most ? least : least + ".." + most;
    }
    if (element.startsWith('<'))
        return QString::number(numbers.takeFirst());
    const QStringList choices = element.split('|');
    return choices.size() == 1 ? element : choices[static_cast<int>(numbers.takeFirst())];
}

} // namespace

const QVector<FaultRow>& faultRows()
{
    static const QVector<FaultRow> rows{
        {Fault::Loss, "loss", "<chance>", "loses frames that the box sends"},
        {Fault::Duplicate, "duplicate", "<chance>", "sends frames twice"},
        {Fault::Corrupt, "corrupt", "<chance>", "sends frames with a wrong checksum"},
        {Fault::Flip, "flip", "<chance>", "flips bits of all that is sent"},
        {Fault::Delay, "delay", "<times>", "sends frames later, in their order"},
        {Fault::Baud, "baud", "<300..38400>", "sends as slowly as a line of that many baud"},
        {Fault::NoAck, "no-ack", "on", "answers no frame with FF or F0"},
        {Fault::AckDelay, "ack-delay", "<times>", "sends FF and F0 later"},
        {Fault::Flood, "flood", "", "sends all frames in turn, as many as the line carries"},
        {Fault::Stall, "stall", "<time> every <period>", "sends nothing for a part of each period"},
        {Fault::Mute, "mute", frameWords().join('|'), "does not send that frame"},
    };
    return rows;
}

QStringList Faults::statements() const
{
    QStringList lines;
    const auto add = [&lines](bool isOn, const QString& statement) {
        if (isOn)
            lines.append(statement);
    };
    add(silent, "silent");
    add(rejectNext, "reject");
    add(corruptNext, "corrupt");
    add(truncateNext > 0, QString("truncate %1").arg(truncateNext));
    add(splitNext > 0, QString("split %1").arg(splitNext));
    add(!noiseNext.isEmpty(), "noise " + noiseNext.toHex(' ').toUpper());
    add(dropBytes > 0, QString("drop %1").arg(dropBytes));
    return lines;
}

QString Hit::text() const
{
    return QString("fault %1: %2, %3  %4").arg(fault, meaning, effect, bytes.toHex(' ').toUpper());
}

QJsonObject Hit::keys() const
{
    const QString hex = bytes.toHex().toUpper();
    return {{"fault", fault}, {"meaning", meaning}, {"effect", effect}, {"bytes", hex}};
}

void StandingFaults::turnOn(Fault fault, const QVector<double>& numbers)
{
    if (fault != Fault::Mute)
        turnOff(fault);
    else if (mutes(frameTypes().at(static_cast<int>(numbers[0]))))
        return;
    m_on.append({fault, numbers, now()});
}

void StandingFaults::turnOff(Fault fault)
{
    const auto isMeant = [fault](const Setting& on) { return on.fault == fault; };
    m_on.erase(std::remove_if(m_on.begin(), m_on.end(), isMeant), m_on.end());
}

const StandingFaults::Setting* StandingFaults::find(Fault fault) const
{
    const auto isMeant = [fault](const Setting& on) { return on.fault == fault; };
    const auto* const on = std::find_if(m_on.begin(), m_on.end(), isMeant);
    return on == m_on.end() ? nullptr : on;
}

QStringList StandingFaults::statements() const
{
    QStringList lines;
    for (const Setting& on : m_on) {
        QStringList words{rowOf(on.fault).name};
        QVector<double> numbers = on.numbers;
        for (const QString& element : rowOf(on.fault).values.split(' ', Qt::SkipEmptyParts))
            words.append(take(element, numbers));
        lines.append(words.join(' '));
    }
    return lines;
}

bool StandingFaults::mutes(int type) const
{
    return std::any_of(m_on.begin(), m_on.end(), [type](const Setting& on) {
        return on.fault == Fault::Mute && frameTypes().at(static_cast<int>(on.numbers[0])) == type;
    });
}

bool StandingFaults::strikes(Fault fault)
{
    const Setting* on = find(fault);
    return on && m_random.generateDouble() < on->numbers[0];
}

milliseconds StandingFaults::delay(Fault fault)
{
    const Setting* on = find(fault);
    if (!on)
        return 0ms;
    const double span = on->numbers[1] - on->numbers[0];
    return milliseconds(std::lround(on->numbers[0] + m_random.generateDouble() * span));
}

int StandingFaults::flip(QByteArray& bytes)
{
    int flipped = 0;
    for (char& byte : bytes)
        for (int bit = 0; bit < 8; ++bit)
            if (strikes(Fault::Flip)) {
                byte = static_cast<char>(byte ^ 1 << bit);
                ++flipped;
            }
    return flipped;
}

nanoseconds StandingFaults::lineTime(int bytes) const
{
    const Setting* on = find(Fault::Baud);
    const auto tenBits = nanoseconds(10s);
    return on ? bytes * (tenBits / static_cast<int>(on->numbers[0])) : 0ns;
}

nanoseconds StandingFaults::stallEnd(nanoseconds time) const
{
    const Setting* on = find(Fault::Stall);
    if (!on)
        return time;
    const nanoseconds length = milliseconds(std::lround(on->numbers[0]));
    const nanoseconds period = milliseconds(std::lround(on->numbers[1]));
    const nanoseconds phase = (std::max(time, on->since) - on->since) % period;
    return phase < length ? time + length - phase : time;
}

std::optional<double> chanceOf(const QString& word)
{
    static const QRegularExpression form("^(\\d{1,9}(?:\\.\\d+)?)(%|/([1-9]\\d{0,8}))$");
    const auto match = form.match(word);
    const bool isPercent = match.captured(2) == "%";
    const double chance = match.captured(1).toDouble() / (isPercent ? 100 : match.captured(3).toInt());
    return match.hasMatch() && chance <= 1 ? std::optional(chance) : std::nullopt;
}

std::optional<QVector<double>> timesOf(const QString& word)
{
    const auto least = timeOf(word.section("..", 0, 0));
    const auto most = timeOf(word.section("..", -1));
    if (!least || !most || *most < *least || word.count("..") > 1)
        return std::nullopt;
    return QVector<double>{static_cast<double>(least->count()), static_cast<double>(most->count())};
}

} // namespace boxsim
