#include "dbc.h"

#include "canfd.h"

#include <QStringList>

#include <algorithm>
#include <cmath>
#include <set>

namespace protocol {

namespace {

constexpr uint32_t MostNamed = 16; // codes that are told one by one

bool isNamed(const Piece& piece)
{
    return piece.last - piece.first < MostNamed;
}

QString quoted(QString text)
{
    return '"' + text.replace('"', '\'').replace('\n', ' ') + '"';
}

QString number(int64_t scaled, int decimals)
{
    return QString::number(static_cast<double>(scaled) / std::pow(10, decimals), 'g', 15);
}

QString hex(uint32_t code)
{
    return QString::number(code, 16).toUpper().rightJustified(2, '0');
}

template<typename Codes> QString listed(const Codes& codes)
{
    QStringList texts;
    for (const uint32_t code : codes)
        texts << hex(code);
    return texts.join(", ");
}

bool isSame(const Place& a, const Place& b)
{
    return a.byte == b.byte && a.bytes == b.bytes && a.shift == b.shift && a.mask == b.mask;
}

bool overlap(const Place& a, const Place& b)
{
    if (a.bytes == 1 && b.bytes == 1)
        return a.byte == b.byte && (a.mask << a.shift & b.mask << b.shift) != 0;
    return a.byte < b.byte + b.bytes && b.byte < a.byte + a.bytes;
}

/// The codes whose value is code times step plus offset.
struct Line
{
    int64_t step;
    int64_t offset;
    uint32_t first;
    uint32_t last;

    bool has(uint32_t code, int64_t value) const { return value == step * code + offset; }
};

// How many codes are in no piece of @p rule.
int64_t codesBeside(const Field& field, const Rule& rule)
{
    int64_t count = int64_t{field.place.mask} + 1;
    for (const Piece& piece : rule.pieces)
        count -= int64_t{piece.last} - piece.first + 1;
    return count;
}

// What most codes of @p rule lie on: a piece of it, or what is left beside the pieces.
Line lineOf(const Field& field, const Rule& rule)
{
    Line line{rule.step, rule.offset, 0, field.place.mask};
    if (field.isInverted)
        return {-1, 1, 0, 1};
    if (rule.isConstant)
        return {static_cast<int64_t>(std::pow(10, rule.decimals)), 0, 0, field.place.mask};
    int64_t most = rule.hasOthers ? 0 : codesBeside(field, rule);
    for (const Piece& piece : rule.pieces)
        if (most > 0 && field.kind == Kind::Number && piece.last == line.last)
            line.last = piece.first - 1;
    for (const Piece& piece : rule.pieces) {
        const int64_t codes = int64_t{piece.last} - piece.first + 1;
        if (piece.step == 0 || codes <= most)
            continue;
        most = codes;
        line = {piece.step, piece.value - piece.first * piece.step, piece.first, piece.last};
    }
    return line;
}

/// A signal: a field, or how it reads where the multiplexor has a code.
struct Signal
{
    const Field* field;
    const Rule* rule;
    QString name;
    QString multiplexing; ///< "", "M ", "m3 "
};

/// Writes one message.
class Message
{
public:
    Message(const Frame& frame, const std::vector<bool>& isListed);

    bool isPossible() const { return m_size <= LongestCanFd; }
    bool isFd() const { return m_size > LongestCan; }
    QString definition() const;
    QString comments() const;
    QString names() const;

private:
    bool isForCar(const Field& field) const;
    bool holdsForCar(const Condition& condition) const;
    void selectFields();
    void selectMultiplexor();
    bool selects(const Condition& condition) const;
    bool isSelected(const Field& field) const;
    std::set<uint32_t> selectingCodes() const;
    void addSignals(const Field& field);
    bool hold(const std::vector<Condition>& conditions, int64_t code, bool assumed) const;
    const Rule& ruleOf(const Field& field, int64_t code) const;
    QString definition(const Signal& signal) const;
    QString namesOf(const Signal& signal) const;
    QStringList remarks(const Signal& signal) const;
    QStringList remarks() const;
    QString nameOf(const Place& place) const;
    static QString textOf(const Piece& piece, uint32_t code, int decimals);

    const Frame& m_frame;
    const std::vector<bool>& m_isListed; // car models
    size_t m_size;                       // of the payload
    std::vector<const Field*> m_fields;
    const Field* m_multiplexor = nullptr;
    std::vector<Signal> m_signals;
    QStringList m_leftOut;
};

Message::Message(const Frame& frame, const std::vector<bool>& isListed)
    : m_frame(frame)
    , m_isListed(isListed)
{
    const int read = frame.isOpen() ? static_cast<int>(LongestCan) : frame.bytesRead();
    m_size = static_cast<size_t>(frame.length == Frame::AnyLength ? read : frame.length);
    selectFields();
    selectMultiplexor();
    for (const Field* field : m_fields)
        addSignals(*field);
}

bool Message::isForCar(const Field& field) const
{
    return std::all_of(field.when.begin(), field.when.end(), [this](const Condition& condition) {
        const bool isOfField = condition.what == Condition::CodeIn || condition.what == Condition::Missing;
        return isOfField || holdsForCar(condition);
    });
}

bool Message::holdsForCar(const Condition& condition) const
{
    return m_isListed[condition.carModels] == (condition.what == Condition::CarModelIn);
}

void Message::selectFields()
{
    for (const Field& field : m_frame.fields) {
        const auto shares = [&](const Field* other) { return overlap(other->place, field.place); };
        if (!isForCar(field))
            continue;
        if (field.place.mask == 0)
            m_leftOut << toString(field.path) + " (no number)";
        else if (std::any_of(m_fields.begin(), m_fields.end(), shares))
            m_leftOut << toString(field.path) + " (shares bits)";
        else
            m_fields.push_back(&field);
    }
}

// The first field that selects a scale, or whether there is a field.
void Message::selectMultiplexor()
{
    const auto take = [this](const std::vector<Condition>& conditions) {
        for (const Condition& condition : conditions)
            for (const Field* field : m_fields)
                if (!m_multiplexor && condition.what == Condition::CodeIn &&
                    isSame(condition.place, field->place))
                    m_multiplexor = field;
    };
    for (const Field* field : m_fields) {
        take(field->when);
        for (const Rule& rule : field->rules)
            if (!rule.isConstant)
                take(rule.conditions);
    }
}

bool Message::selects(const Condition& condition) const
{
    return m_multiplexor && condition.what == Condition::CodeIn &&
           isSame(condition.place, m_multiplexor->place);
}

bool Message::isSelected(const Field& field) const
{
    const auto isAny = [this](const std::vector<Condition>& conditions) {
        return std::any_of(conditions.begin(), conditions.end(), [this](auto& c) { return selects(c); });
    };
    return isAny(field.when) || std::any_of(field.rules.begin(), field.rules.end(),
                                            [&](const Rule& rule) { return isAny(rule.conditions); });
}

// All that the multiplexor can have or, where these are many, those that the description names.
std::set<uint32_t> Message::selectingCodes() const
{
    std::set<uint32_t> codes;
    for (uint32_t code = 0; m_multiplexor->place.mask < MostNamed && code <= m_multiplexor->place.mask;
         ++code)
        codes.insert(code);
    const auto take = [&](const std::vector<Condition>& conditions) {
        for (const Condition& condition : conditions)
            if (selects(condition))
                codes.insert(condition.codes.begin(), condition.codes.end());
    };
    for (const Field* field : m_fields) {
        take(field->when);
        for (const Rule& rule : field->rules)
            take(rule.conditions);
    }
    return codes;
}

void Message::addSignals(const Field& field)
{
    const QString name = toString(field.path).replace('.', '_');
    if (&field == m_multiplexor || !isSelected(field)) {
        m_signals.push_back({&field, &ruleOf(field, -1), name, &field == m_multiplexor ? "M " : ""});
        return;
    }
    for (const uint32_t code : selectingCodes())
        if (hold(field.when, code, true))
            m_signals.push_back({&field, &ruleOf(field, code), QString("%1_%2").arg(name).arg(code),
                                 QString("m%1 ").arg(code)});
}

// Whether conditions hold where the multiplexor has @p code, nothing is missing, and other fields are as @p
// assumed.
bool Message::hold(const std::vector<Condition>& conditions, int64_t code, bool assumed) const
{
    return std::all_of(conditions.begin(), conditions.end(), [&](const Condition& condition) {
        if (condition.what == Condition::CarModelIn || condition.what == Condition::CarModelNotIn)
            return holdsForCar(condition);
        if (!selects(condition))
            return condition.what == Condition::CodeIn && assumed;
        return std::find(condition.codes.begin(), condition.codes.end(), code) != condition.codes.end();
    });
}

const Rule& Message::ruleOf(const Field& field, int64_t code) const
{
    return *std::find_if(field.rules.begin(), field.rules.end(),
                         [&](const Rule& rule) { return hold(rule.conditions, code, false); });
}

QString Message::definition() const
{
    const bool isToBox = m_frame.direction == Direction::ToBox;
    QString text = QString("BO_ %1 %2: %3 %4\n")
                       .arg(m_frame.type)
                       .arg(toString(m_frame.name))
                       .arg(paddedLength(m_size))
                       .arg(isToBox ? "HeadUnit" : "Box");
    for (const Signal& signal : m_signals)
        text += definition(signal) + (isToBox ? "Box\n" : "HeadUnit\n");
    return text + '\n';
}

// Bits within a byte count from the lowest, in several bytes from the highest of the first.
QString Message::definition(const Signal& signal) const
{
    constexpr int ByteBits = 8;
    const Place& place = signal.field->place;
    const Rule& rule = *signal.rule;
    const Line line = lineOf(*signal.field, rule);
    const bool isWithinByte = place.bytes == 1;
    const int bits =
        isWithinByte ? static_cast<int>(std::lround(std::log2(place.mask + 1))) : place.bytes * ByteBits;
    const int begin = place.byte * ByteBits + (isWithinByte ? place.shift : ByteBits - 1);
    const int64_t half = rule.isSigned ? int64_t{place.mask} / 2 + 1 : 0;
    const int64_t ends[] = {line.step * (line.first - half) + line.offset,
                            std::min(line.step * (line.last - half) + line.offset, rule.limit)};
    return QString(" SG_ %1 %2: %3|%4@%5%6 (%7,%8) [%9|")
               .arg(signal.name, signal.multiplexing)
               .arg(begin)
               .arg(bits)
               .arg(isWithinByte ? 1 : 0)
               .arg(rule.isSigned ? '-' : '+')
               .arg(number(line.step, rule.decimals), number(line.offset, rule.decimals),
                    number(std::min(ends[0], ends[1]), rule.decimals)) +
           QString("%1] %2 ").arg(number(std::max(ends[0], ends[1]), rule.decimals),
                                  quoted(toString(rule.unit)));
}

QString Message::textOf(const Piece& piece, uint32_t code, int decimals)
{
    return piece.kept           ? "as before"
           : piece.name.empty() ? number(piece.value + (code - piece.first) * piece.step, decimals)
                                : toString(piece.name);
}

// The value table: what does not lie on the line.
QString Message::namesOf(const Signal& signal) const
{
    const Rule& rule = *signal.rule;
    const Line line = lineOf(*signal.field, rule);
    std::vector<Piece> pieces = rule.pieces;
    if (rule.isConstant)
        pieces = {{0, signal.field->place.mask, rule.offset, 0, rule.others.name, false}};
    QString text;
    for (const Piece& piece : pieces) {
        for (uint32_t i = 0; isNamed(piece) && i <= piece.last - piece.first; ++i) {
            const uint32_t code = piece.first + i;
            if (piece.kept || !piece.name.empty() || !line.has(code, piece.value + i * piece.step))
                text += QString("%1 %2 ").arg(code).arg(quoted(textOf(piece, code, rule.decimals)));
        }
    }
    return text.isEmpty() ? text : QString("VAL_ %1 %2 %3;\n").arg(m_frame.type).arg(signal.name, text);
}

QString Message::names() const
{
    QString text;
    for (const Signal& signal : m_signals)
        text += namesOf(signal);
    return text;
}

QString Message::nameOf(const Place& place) const
{
    const auto field = std::find_if(m_frame.fields.begin(), m_frame.fields.end(),
                                    [&](const Field& f) { return isSame(f.place, place); });
    return toString(field->path);
}

// What the signal cannot say.
QStringList Message::remarks(const Signal& signal) const
{
    const Rule& rule = *signal.rule;
    QStringList remarks;
    for (const Piece& piece : rule.pieces)
        if (!isNamed(piece) && (piece.kept || !piece.name.empty()))
            remarks << QString("%1 to %2: %3")
                           .arg(hex(piece.first), hex(piece.last), textOf(piece, piece.first, rule.decimals));
    if (signal.field == m_multiplexor && m_multiplexor->place.mask >= MostNamed)
        remarks << "what it selects is told for these codes only: " + listed(selectingCodes());
    if (rule.hasOthers && codesBeside(*signal.field, rule) > 0)
        remarks << "other codes: " + textOf(rule.others, 0, rule.decimals);
    if (rule.limit != INT64_MAX)
        remarks << "what is more reads " + number(rule.limit, rule.decimals);
    if (rule.keepsUnit)
        remarks << "in the unit of the frame before";
    for (const Rule& other : signal.field->rules)
        for (const Condition& condition : other.conditions)
            if (condition.what == Condition::CodeIn && !selects(condition))
                remarks << QString("where %1 is %2: %3")
                               .arg(nameOf(condition.place), listed(condition.codes),
                                    other.isConstant
                                        ? textOf({0, 0, other.offset, 0, other.others.name, false}, 0,
                                                 other.decimals)
                                        : "another scale");
    return remarks;
}

QStringList Message::remarks() const
{
    QStringList remarks{toString(m_frame.title)};
    if (!m_frame.about.empty())
        remarks << toString(m_frame.about);
    if (m_frame.isIgnored)
        remarks << "without effect, nothing is known of its payload";
    if (m_frame.length == Frame::AnyLength)
        remarks << "any length is taken";
    else if (m_size != paddedLength(m_size))
        remarks << QString("%1 bytes before padding").arg(m_size);
    if (!m_leftOut.isEmpty())
        remarks << "not given: " + m_leftOut.join(", ");
    return remarks;
}

QString Message::comments() const
{
    QString text = QString("CM_ BO_ %1 %2;\n").arg(m_frame.type).arg(quoted(remarks().join("; ")));
    for (const Signal& signal : m_signals) {
        QStringList all = remarks(signal);
        if (!signal.field->about.empty())
            all.prepend(toString(signal.field->about));
        if (!all.isEmpty())
            text += QString("CM_ SG_ %1 %2 %3;\n").arg(m_frame.type).arg(signal.name, quoted(all.join("; ")));
    }
    return text;
}

const QString Head = R"(VERSION ""

NS_ :

BS_:

BU_: Box HeadUnit

)";

const QString Comment = "CM_ \"The line between head unit and CAN box: the id is a frame's type, the data "
                        "its payload, filled up with zeros "
                        "to a length of CAN FD. Header, length, checksum, the single bytes FF and F0 and "
                        "payloads above 64 bytes have no place "
                        "here.\";\n";

// The 14th of the formats is CAN FD with a short id.
const QString Attributes = R"(BA_DEF_ "BusType" STRING ;
BA_DEF_ BO_ "VFrameFormat" ENUM "StandardCAN","ExtendedCAN","reserved","reserved","reserved","reserved","reserved",)"
                           R"("reserved","reserved","reserved","reserved","reserved","reserved","reserved",)"
                           R"("StandardCAN_FD","ExtendedCAN_FD";
BA_DEF_DEF_ "BusType" "";
BA_DEF_DEF_ "VFrameFormat" "StandardCAN";
BA_ "BusType" "CAN FD";
)";

} // namespace

std::string writeDbc(const Description& description, int carModel)
{
    std::vector<bool> isListed;
    for (const CarModelList& list : description.carModels())
        isListed.push_back(std::find(list.ids.begin(), list.ids.end(), carModel) != list.ids.end());
    QString definitions;
    QString comments;
    QString attributes;
    QString names;
    for (const Frame& frame : description.frames()) {
        const Message message(frame, isListed);
        if (!message.isPossible())
            continue;
        definitions += message.definition();
        comments += message.comments();
        names += message.names();
        if (message.isFd())
            attributes += QString("BA_ \"VFrameFormat\" BO_ %1 14;\n").arg(frame.type);
    }
    const QString all = Head + definitions + Comment + comments + Attributes + attributes + names;
    return all.normalized(QString::NormalizationForm_KC).toLatin1().toStdString();
}

} // namespace protocol
