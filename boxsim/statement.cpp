#include "statement.h"

#include "log.h"

#include <QProcess>
#include <QRegularExpression>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <optional>

namespace boxsim {

namespace {

const QString Doors = QStringLiteral("front-left|front-right|rear-left|rear-right|back");
constexpr quint8 doorBits[] = {0x40, 0x80, 0x10, 0x20, 0x08};

QString allFrameTypes()
{
    QStringList types;
    for (int type : frameTypes())
        types.append(QString::asprintf("0x%02X", static_cast<unsigned>(type)));
    return types.join('|');
}

void setBit(quint8& byte, quint8 bit, bool on)
{
    byte = static_cast<quint8>(on ? byte | bit : byte & ~bit);
}

void setDoor(Box& box, const QVariantList& values)
{
    setBit(box.car.openDoors, doorBits[values[0].toInt()], values[1].toInt() == 0);
    box.report(FrameType::BaseInfo);
}

QVector<Statement> carStatements()
{
    return {
        {"door " + Doors + " open|closed", "opens or closes a door", setDoor},
        {"driving-position <0..1>", "the driving position that the car reports",
         [](Box& box, const QVariantList& values) {
             box.car.drivingPosition = values[0].toInt();
             box.report(FrameType::BaseInfo);
         }},
        {"version <text>", "the version text of the box",
         [](Box& box, const QVariantList& values) {
             box.car.version = values[0].toString().toUtf8().left(255);
             box.report(FrameType::Version);
         }},
    };
}

QVector<Statement> faultStatements()
{
    return {
        {"silent", "sends nothing and ignores what comes in",
         [](Box& box, auto&) { box.faults.silent = true; }},
        {"answering", "ends silent", [](Box& box, auto&) { box.faults.silent = false; }},
        {"reject", "rejects the next good frame that comes in",
         [](Box& box, auto&) { box.faults.rejectNext = true; }},
        {"corrupt", "sends the next frame with a wrong checksum",
         [](Box& box, auto&) { box.faults.corruptNext = true; }},
        {"truncate <1..255>", "leaves this many bytes off the end of the next frame",
         [](Box& box, const QVariantList& values) { box.faults.truncateNext = values[0].toInt(); }},
        {"split <1..255>", "sends the next frame in chunks of this many bytes, 20 ms apart",
         [](Box& box, const QVariantList& values) { box.faults.splitNext = values[0].toInt(); }},
        {"noise <hex>...", "puts these bytes in front of the next frame",
         [](Box& box, const QVariantList& values) {
             for (const QVariant& bytes : values)
                 box.faults.noiseNext += bytes.toByteArray();
         }},
        {"drop <1..65535>", "loses the next bytes that are sent",
         [](Box& box, const QVariantList& values) { box.faults.dropBytes = values[0].toInt(); }},
        {"raw <hex>...", "sends these bytes as they are",
         [](Box& box, const QVariantList& values) {
             QByteArray all;
             for (const QVariant& bytes : values)
                 all += bytes.toByteArray();
             box.sendRaw(all, QStringLiteral("raw bytes"));
         }},
        {"hang-up", "closes the pseudo-terminal and makes another one under the same link",
         [](Box& box, auto&) { emit box.hangUpWanted(); }},
    };
}

QVector<Statement> controlStatements()
{
    return {
        {"send " + allFrameTypes(), "sends a frame of the car, even when the head unit has stopped the box",
         [](Box& box, const QVariantList& values) { box.send(frameTypes().at(values[0].toInt())); }},
        {"await start", "holds the scenario, and its clock, until the head unit announces itself",
         [](Box& box, auto&) { emit box.awaitStartWanted(); }},
        {"help", "lists the statements", [](Box&, auto&) { show(statementHelp()); }},
        {"quit", "ends the simulator", [](Box& box, auto&) { emit box.quitWanted(); }},
    };
}

// Short names that may stand for the full ones wherever a full one is allowed.
const QMap<QString, QString> abbreviations{
    {"fl", "front-left"}, {"fr", "front-right"}, {"rl", "rear-left"}, {"rr", "rear-right"}};

/// The value of @p word as a number of the range that @p low and @p high are written in.
std::optional<QVariant> numberIn(const QString& low, const QString& high, const QString& word)
{
    bool ok = false;
    if (low.contains('.')) {
        const double value = word.toDouble(&ok);
        return ok && value >= low.toDouble() && value <= high.toDouble() ? std::optional<QVariant>(value)
                                                                         : std::nullopt;
    }
    const int value = word.toInt(&ok, word.startsWith(QLatin1String("0x")) ? 16 : 10);
    return ok && value >= low.toInt() && value <= high.toInt() ? std::optional<QVariant>(value)
                                                               : std::nullopt;
}

/// The milliseconds of a time such as 2s or 500ms.
std::optional<QVariant> timeOf(const QString& word)
{
    static const QRegularExpression form(QStringLiteral("^(\\d{1,6}(?:\\.\\d+)?)(s|ms)$"));
    const QRegularExpressionMatch match = form.match(word);
    if (!match.hasMatch())
        return std::nullopt;
    return qRound(match.captured(1).toDouble() * (match.captured(2) == QLatin1String("s") ? 1000 : 1));
}

std::optional<QVariant> bytesOf(const QString& word)
{
    const QByteArray hex = word.toLatin1().toLower();
    const QByteArray bytes = QByteArray::fromHex(hex);
    return bytes.toHex() == hex ? std::optional<QVariant>(bytes) : std::nullopt;
}

/// The value that @p word has as the syntax element @p element; nothing when it does not fit.
std::optional<QVariant> valueOf(const QString& element, const QString& word)
{
    static const QRegularExpression range(QStringLiteral("^<(.+)\\.\\.(.+)>(\\|none)?$"));
    const QRegularExpressionMatch match = range.match(element);
    if (match.hasMatch() && !match.captured(3).isEmpty() && word == QLatin1String("none"))
        return std::nan("");
    if (match.hasMatch())
        return numberIn(match.captured(1), match.captured(2), word);
    if (element == QLatin1String("<text>"))
        return word;
    if (element == QLatin1String("<time>"))
        return timeOf(word);
    if (element == QLatin1String("<hex>..."))
        return bytesOf(word);
    const int index = element.split('|').indexOf(QRegularExpression(
        QRegularExpression::anchoredPattern(QRegularExpression::escape(abbreviations.value(word, word))),
        QRegularExpression::CaseInsensitiveOption));
    return index >= 0 ? std::optional<QVariant>(index) : std::nullopt;
}

/// Follows the words of one line through the syntax of every statement at once.
class Matcher
{
public:
    Parsed match(const QStringList& words)
    {
        for (const Statement& statement : statements())
            m_candidates.append({&statement, statement.syntax.split(' '), {}});
        for (int i = 0; i < words.size(); ++i) {
            QVector<Candidate> fitting;
            for (const Candidate& candidate : qAsConst(m_candidates))
                if (const auto next = candidate.taking(i, words[i]))
                    fitting.append(*next);
            if (fitting.isEmpty())
                return failure(QStringLiteral("\"%1\": ").arg(words[i]), i);
            m_candidates = fitting;
        }
        for (const Candidate& candidate : qAsConst(m_candidates))
            if (words.size() >= candidate.elements.size())
                return {candidate.statement, candidate.values, {}};
        return failure(QStringLiteral("the line ends too early: "), words.size());
    }

private:
    struct Candidate
    {
        const Statement* statement;
        QStringList elements;
        QVariantList values;

        QString element(int i) const
        {
            if (i >= elements.size())
                return elements.last().endsWith(QLatin1String("...")) ? elements.last() : QString();
            return elements[i];
        }

        std::optional<Candidate> taking(int i, const QString& word) const
        {
            const auto value = valueOf(element(i), word);
            if (!value)
                return std::nullopt;
            Candidate next = *this;
            if (element(i).contains('|') || element(i).contains('<'))
                next.values.append(*value);
            return next;
        }
    };

    Parsed failure(const QString& cause, int i) const
    {
        QStringList expected;
        for (const Candidate& candidate : m_candidates)
            expected += candidate.element(i).split('|');
        expected.removeDuplicates();
        expected.replaceInStrings(QRegularExpression(QStringLiteral("^$")),
                                  QStringLiteral("the end of the line"));
        return {nullptr, {}, cause + QStringLiteral("expected ") + expected.join(QStringLiteral(", "))};
    }

    QVector<Candidate> m_candidates;
};

} // namespace

const QVector<Statement>& statements()
{
    static const QVector<Statement> all = carStatements() + faultStatements() + controlStatements();
    return all;
}

Parsed parse(const QString& line)
{
    return Matcher().match(QProcess::splitCommand(line));
}

QString statementHelp()
{
    QStringList lines;
    for (const Statement& statement : statements())
        lines.append(QStringLiteral("%1\n    %2").arg(statement.syntax, statement.help));
    lines.append(QStringLiteral(
        "fl, fr, rl and rr may stand for front-left and so on. Quote a text that has blanks."));
    return lines.join('\n');
}

} // namespace boxsim
