#include "description.h"

#include "place.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <cmath>
#include <functional>

static void initResources()
{
    Q_INIT_RESOURCE(protocol);
}

namespace protocol {

namespace {

constexpr int Decimals = 6; // numbers are read with as many, and kept with as many as they need
constexpr double Scale = 1e6;
constexpr double HighestNumber = 1e6;

/// A value of the document, and where it stands.
struct Node
{
    QJsonValue value;
    JsonPath path;

    bool exists() const { return !value.isUndefined(); }

    Node operator[](const QString& key) const
    {
        return {value.toObject().value(key), path + JsonPath{{key, 0}}};
    }

    QVector<Node> items() const
    {
        QVector<Node> nodes;
        const QJsonArray array = value.toArray();
        for (int i = 0; i < array.size(); ++i)
            nodes.append({array[i], path + JsonPath{{{}, i}}});
        return nodes;
    }

    // Those of an array, or the value itself.
    QVector<Node> oneOrMore() const { return value.isArray() ? items() : QVector<Node>{*this}; }
};

const QStringList ruleKeys{"step",  "offset", "limit", "signed", "unit", "keepsUnit",
                           "codes", "others", "names", "value",  "name", "cases"};
const QStringList caseKeys{"when",  "step",   "offset", "limit", "unit", "keepsUnit",
                           "codes", "others", "value",  "name",  "about"};
const QStringList pieceKeys{"code", "value", "step", "name", "kept", "about"};
const QStringList codingKeys = ruleKeys + QStringList{"about"};
const QStringList fieldKeys{"name",    "kind",   "byte", "bits",    "bytes",  "overlay", "inverted",
                            "missing", "readAs", "when", "reading", "coding", "about"};
const QStringList frameKeys{"type",   "name",   "group",   "title", "direction",
                            "length", "fields", "ignored", "about"};
const QStringList topKeys{"$schema", "title", "about",    "texts", "carModels",
                          "codings", "bytes", "reserved", "frames"};

} // namespace

/// Compiles a document into a description. Of all mistakes the first is told.
class Loader
{
public:
    Loader(Description& description, const QByteArray& json)
        : m_description(description)
        , m_json(json)
    {
    }

    void load(const QJsonDocument& document);
    /// What is wrong; empty where nothing is.
    QString error() const { return m_error; }

private:
    void fail(const Node& node, const QString& text);
    void only(const Node& node, const QStringList& keys);

    QString string(const Node& node);
    QString word(const Node& node);
    Text text(const Node& node);
    Text keep(const QString& text);
    bool flag(const Node& node);
    int integer(const Node& node, int lowest, int highest);
    int64_t number(const Node& node, double absent);
    uint32_t code(const Node& node, const QString& text, uint32_t highest);
    Direction direction(const Node& node);

    void readTexts(const Node& node);
    void readCarModels(const Node& node);
    void readCodings(const Node& node);
    void readByte(const Node& node);
    void readFrame(const Node& node);
    void readFrameHead(const Node& node, Frame& frame);
    void readFieldHead(const Node& node, Frame& frame, Field& field);
    void readPlace(const Node& node, Place& place);
    void readBytes(const Node& node, Place& place);
    void readBits(const Node& node, Place& place);
    void checkPlace(const Node& node, const Frame& frame, const Field& field);
    void readMissing(const Node& node, Field& field);
    void readReadings(const Node& node, Field& field);
    void checkReadings();
    void readRules(const Node& node, Field& field);
    void readRule(const Node& base, const Node& own, const Field& field, Rule& rule);
    void readUnit(const Node& node, Rule& rule);
    void readPieces(const Node& node, const Field& field, Rule& rule);
    void readPiece(const Node& node, const Field& field, Piece& piece);
    void readNames(const Node& node, const Field& field, Rule& rule);
    void nameFrames();
    void checkPieces(const Node& node, const Field& field, const Rule& rule);
    static void shrink(Rule& rule);
    void readConditions(const Node& node, const Frame& frame, std::vector<Condition>& conditions);
    void readCondition(const Node& node, const QString& what, const Frame& frame, Condition& condition);
    const Field* fieldNamed(const Node& node, const QString& name, const Frame& frame);
    size_t carModels(const Node& node);
    static void watch(Field& field);

    Description& m_description;
    const QByteArray& m_json;
    QString m_error;
    Node m_codings;
    QSet<QString> m_usedCodings;
    QSet<QString> m_words; // of frames and groups
    QHash<const Field*, Node> m_nodes;
    std::vector<Rule*> m_frameNames; // rules whose codes are named as the frames are
};

// What cannot be printed of the document's own texts is replaced.
void Loader::fail(const Node& node, const QString& text)
{
    if (!m_error.isEmpty())
        return;
    const QString place = lineAndColumn(m_json, offsetOf(m_json, node.path));
    m_error = QString("%1: %2: %3").arg(place, pathText(node.path), text);
    for (QChar& c : m_error)
        c = c.isPrint() ? c : QChar(QChar::ReplacementCharacter);
}

void Loader::only(const Node& node, const QStringList& keys)
{
    if (!node.value.isObject())
        return fail(node, "an object is expected");
    for (const QString& key : node.value.toObject().keys())
        if (!keys.contains(key))
            fail(node[key], QString("there is no such key; there are: %1").arg(keys.join(", ")));
}

QString Loader::string(const Node& node)
{
    if (!node.value.isString())
        fail(node, node.exists() ? "a text is expected" : "is missing");
    return node.value.toString();
}

// A name for filters and columns.
QString Loader::word(const Node& node)
{
    static const QRegularExpression letters("\\A[a-z][A-Za-z0-9]*\\z");
    QString name = string(node);
    if (!letters.match(name).hasMatch())
        fail(node,
             QString("\"%1\" is no word of letters and digits that begins with a small letter").arg(name));
    return name;
}

Text Loader::keep(const QString& text)
{
    m_description.m_strings.push_back(text.toStdString());
    return m_description.m_strings.back();
}

// A text, or the number of one that the host translates.
Text Loader::text(const Node& node)
{
    if (!node.value.isDouble())
        return keep(string(node));
    for (const auto& [id, text] : m_description.m_texts)
        if (node.value.toDouble() == id)
            return text;
    fail(node, "\"texts\" has no such number");
    return {};
}

bool Loader::flag(const Node& node)
{
    if (node.exists() && !node.value.isBool())
        fail(node, "true or false is expected");
    return node.value.toBool();
}

int Loader::integer(const Node& node, int lowest, int highest)
{
    const double number = node.value.toDouble(lowest - 1.0);
    if (number < lowest || number > highest || number != std::floor(number)) {
        fail(node, QString("a whole number from %1 to %2 is expected").arg(lowest).arg(highest));
        return lowest;
    }
    return static_cast<int>(number);
}

// A number, scaled; absent where there is none.
int64_t Loader::number(const Node& node, double absent)
{
    if (node.exists() && !node.value.isDouble())
        fail(node, "a number is expected");
    const double given = node.value.toDouble(absent);
    const double scaled = std::round(given * Scale);
    if (std::abs(given) > HighestNumber || scaled / Scale != given) {
        fail(node,
             QString("a number of at most a million, with at most %1 decimals, is expected").arg(Decimals));
        return 0;
    }
    return static_cast<int64_t>(scaled);
}

// A code of the wire in hexadecimal.
uint32_t Loader::code(const Node& node, const QString& text, uint32_t highest)
{
    static const QRegularExpression hex("\\A[0-9A-F]{1,8}\\z");
    const uint32_t number = text.toUInt(nullptr, 16);
    if (!hex.match(text).hasMatch())
        fail(node, QString("\"%1\" is no code in hexadecimal, as \"1D\" is").arg(text));
    else if (number > highest)
        fail(node, QString("code %1 is beyond %2").arg(text, QString::number(highest, 16).toUpper()));
    return std::min(number, highest);
}

Direction Loader::direction(const Node& node)
{
    const QString name = string(node);
    if (name != "fromBox" && name != "toBox")
        fail(node, "\"fromBox\" or \"toBox\" is expected");
    return name == "toBox" ? Direction::ToBox : Direction::FromBox;
}

void Loader::load(const QJsonDocument& document)
{
    const Node top{document.isObject() ? QJsonValue(document.object()) : QJsonValue(document.array()), {}};
    only(top, topKeys);
    readTexts(top["texts"]);
    readCarModels(top["carModels"]);
    readCodings(top["codings"]);
    for (const Node& node : top["bytes"].items())
        readByte(node);
    const QVector<Node> frames = top["frames"].items();
    if (frames.isEmpty())
        fail(top["frames"], "a list of frames is expected");
    m_description.m_frames.reserve(static_cast<size_t>(frames.size()));
    for (const Node& node : frames)
        readFrame(node);
    nameFrames();
    checkReadings();
    for (const QString& name : m_codings.value.toObject().keys())
        if (!m_usedCodings.contains(name))
            fail(m_codings[name], "no field has this coding");
    const Node reserved = top["reserved"];
    if (reserved.exists()) {
        m_description.m_reservedType = static_cast<int>(code(reserved, string(reserved), 0xFF));
        if (m_description.frame(static_cast<unsigned char>(m_description.m_reservedType)))
            fail(reserved, "a frame has this type");
    }
}

void Loader::readTexts(const Node& node)
{
    for (const QString& key : node.value.toObject().keys()) {
        bool isNumber = false;
        const int id = key.toInt(&isNumber);
        if (!isNumber)
            fail(node[key], "the key is the text's number");
        m_description.m_texts.emplace_back(id, keep(string(node[key])));
    }
}

void Loader::readCarModels(const Node& node)
{
    for (const QString& name : node.value.toObject().keys()) {
        CarModelList list{keep(name), {}};
        for (const Node& id : node[name].items())
            list.ids.push_back(integer(id, -1, INT16_MAX));
        if (list.ids.empty())
            fail(node[name], "a list of car model ids is expected");
        m_description.m_carModels.push_back(list);
    }
}

void Loader::readCodings(const Node& node)
{
    m_codings = node;
    for (const QString& name : node.value.toObject().keys())
        only(node[name], codingKeys);
}

void Loader::readByte(const Node& node)
{
    only(node, {"byte", "direction", "name", "title"});
    SingleByte byte;
    byte.byte = static_cast<int>(code(node["byte"], string(node["byte"]), 0xFF));
    byte.direction = direction(node["direction"]);
    byte.name = keep(word(node["name"]));
    byte.title = text(node["title"]);
    for (const SingleByte& other : m_description.m_bytes)
        if (other.byte == byte.byte && other.direction == byte.direction)
            fail(node["byte"], "is described already");
    m_description.m_bytes.push_back(byte);
}

void Loader::readFrame(const Node& node)
{
    m_description.m_frames.emplace_back();
    Frame& frame = m_description.m_frames.back();
    only(node, frameKeys);
    readFrameHead(node, frame);
    const QVector<Node> nodes = node["fields"].items();
    if (nodes.isEmpty() != frame.isIgnored)
        fail(node["fields"], "a frame has fields, or is ignored");
    frame.fields.resize(static_cast<size_t>(nodes.size()));
    for (int i = 0; i < nodes.size(); ++i) {
        Field& field = frame.fields[static_cast<size_t>(i)];
        field.index = i;
        field.frame = &frame;
        readFieldHead(nodes[i], frame, field);
    }
    for (int i = 0; i < nodes.size(); ++i) {
        Field& field = frame.fields[static_cast<size_t>(i)];
        m_nodes.insert(&field, nodes[i]);
        readConditions(nodes[i]["when"], frame, field.when);
        readRules(nodes[i], field);
        watch(field);
    }
}

void Loader::readFrameHead(const Node& node, Frame& frame)
{
    frame.type = static_cast<int>(code(node["type"], string(node["type"]), 0xFF));
    const Frame*& place = m_description.m_byType[static_cast<size_t>(frame.type)];
    if (place)
        fail(node["type"], QString("frame \"%1\" has this type").arg(toString(place->name)));
    place = &frame;
    const QString name = word(node["name"]);
    for (const Frame& other : m_description.m_frames)
        if (&other != &frame && (other.name == name.toStdString() || other.group == name.toStdString()))
            fail(node["name"], QString("a frame or a group is called \"%1\" already").arg(name));
    frame.name = keep(name);
    if (node["group"].exists()) {
        frame.group = keep(word(node["group"]));
        if (m_description.frame(frame.group))
            fail(node["group"], "a frame has this name");
    }
    frame.title = text(node["title"]);
    frame.about = node["about"].exists() ? text(node["about"]) : Text();
    frame.direction = direction(node["direction"]);
    frame.isIgnored = flag(node["ignored"]);
    if (node["length"].value != "any")
        frame.length = integer(node["length"], 0, 255);
}

void Loader::readFieldHead(const Node& node, Frame& frame, Field& field)
{
    static const QStringList kinds{"flag", "number", "code", "utf8", "utf16", "raw"}; // in the order of Kind
    only(node, fieldKeys + ruleKeys);
    const QString name = word(node["name"]);
    if (QStringList{"carModels", "notCarModels", "missing"}.contains(name))
        fail(node["name"], "a condition is called so");
    for (const Field& other : frame.fields)
        if (&other != &field && other.name == name.toStdString())
            fail(node["name"], "a field of this frame is called so already");
    field.name = keep(name);
    const int kind = kinds.indexOf(string(node["kind"]));
    if (kind < 0)
        fail(node["kind"], QString("there is no such kind; there are: %1").arg(kinds.join(", ")));
    field.kind = static_cast<Kind>(std::max(kind, 0));
    readPlace(node, field.place);
    if (field.kind >= Kind::Utf8)
        field.place.mask = 0;
    field.isOverlay = flag(node["overlay"]);
    field.isInverted = flag(node["inverted"]);
    field.about = node["about"].exists() ? text(node["about"]) : Text();
    checkPlace(node, frame, field);
    readMissing(node["missing"], field);
    readReadings(node, field);
}

// "byte" with or without "bits", or "bytes".
void Loader::readPlace(const Node& node, Place& place)
{
    if (node["byte"].exists() == node["bytes"].exists())
        fail(node, "a field has \"byte\" or \"bytes\"");
    if (node["bytes"].exists())
        return readBytes(node["bytes"], place);
    place.byte = integer(node["byte"], 0, 254);
    place.mask = 0xFF;
    if (node["bits"].exists())
        readBits(node["bits"], place);
}

// "2-3", or "0-" up to the end.
void Loader::readBytes(const Node& node, Place& place)
{
    static const QRegularExpression range("\\A(\\d{1,3})-(\\d{0,3})\\z");
    const QRegularExpressionMatch match = range.match(string(node));
    place.byte = match.captured(1).toInt();
    const int last = match.captured(2).isEmpty() ? 254 : match.captured(2).toInt();
    if (!match.hasMatch() || last < place.byte || last > 254)
        fail(node, "bytes are given as \"2-3\", or as \"0-\" up to the end, 254 at most");
    place.bytes = match.captured(2).isEmpty() ? 0 : last - place.byte + 1;
    if (place.bytes > 0 && place.bytes <= 4)
        place.mask = static_cast<uint32_t>((uint64_t{1} << (8 * place.bytes)) - 1);
}

// "7", or "7-5".
void Loader::readBits(const Node& node, Place& place)
{
    static const QRegularExpression range("\\A([0-7])(?:-([0-7]))?\\z");
    const QRegularExpressionMatch match = range.match(string(node));
    const int high = match.captured(1).toInt();
    place.shift = match.captured(2).isEmpty() ? high : match.captured(2).toInt();
    if (!match.hasMatch() || place.shift > high)
        return fail(node, "bits are given as \"7\" or \"7-5\", 7 to 0, the high one first");
    place.mask = (2U << (high - place.shift)) - 1;
}

namespace {

// The bits of @p place in @p byte of the payload.
unsigned bitsIn(const Place& place, int byte)
{
    const bool isWhole = place.mask == 0;
    if (byte < place.byte || (place.bytes > 0 && byte >= place.byte + place.bytes))
        return 0;
    return isWhole || place.bytes > 1 ? 0xFF : (place.mask << place.shift) & 0xFF;
}

bool overlap(const Place& a, const Place& b)
{
    for (int byte = 0; byte < 255; ++byte)
        if ((bitsIn(a, byte) & bitsIn(b, byte)) != 0)
            return true;
    return false;
}

} // namespace

void Loader::checkPlace(const Node& node, const Frame& frame, const Field& field)
{
    const Place& place = field.place;
    if (frame.length != Frame::AnyLength && place.byte + std::max(place.bytes, 1) > frame.length)
        fail(node, QString("a frame of length %1 does not have these bytes").arg(frame.length));
    if (field.kind < Kind::Utf8 && place.mask == 0)
        fail(node, "only texts and raw bytes are longer than four bytes");
    if (field.kind == Kind::Flag && place.mask != 1)
        fail(node, "a flag is one bit");
    if (field.isInverted && field.kind != Kind::Flag)
        fail(node["inverted"], "only a flag can be inverted");
    const Field* shared = nullptr;
    for (const Field& other : frame.fields)
        if (&other < &field && overlap(other.place, place))
            shared = &other;
    if (shared && !field.isOverlay)
        fail(node, QString("field \"%1\" has some of these bits; \"overlay\": true says that this is meant")
                       .arg(toString(shared->name)));
    if (!shared && field.isOverlay)
        fail(node["overlay"], "no field before this one has any of these bits");
}

void Loader::readMissing(const Node& node, Field& field)
{
    if (!node.exists())
        return;
    field.isKeptMissing = node.value == "kept";
    if (!field.isKeptMissing)
        field.missingRaw = code(node, string(node), field.place.mask);
    if (field.frame->length != Frame::AnyLength)
        fail(node, "no byte of a frame with a fixed length can be missing");
}

void Loader::readReadings(const Node& node, Field& field)
{
    static const QRegularExpression names("\\A[a-z][A-Za-z]*\\.[a-z][A-Za-z0-9]*\\z");
    if (node["reading"].exists()) {
        for (const Node& reading : node["reading"].oneOrMore()) {
            if (!names.match(string(reading)).hasMatch())
                fail(reading, "a reading is given as \"topic.name\"");
            field.readings.push_back(text(reading));
        }
    }
    const Node readAs = node["readAs"];
    field.isReadAsText = readAs.exists();
    if (readAs.exists() && (readAs.value != "text" || field.readings.empty()))
        fail(readAs, "only a reading can be read as \"text\"");
    field.path = field.readings.empty() ? keep(toString(field.frame->name) + '.' + toString(field.name))
                                        : field.readings.front();
}

// Two frames can tell the same value, in the same coding; two fields of a frame only for different car
// models.
void Loader::checkReadings()
{
    const auto coding = [this](const Field* field) { return m_nodes[field]["coding"].value; };
    QHash<QString, const Field*> known;
    for (const Frame& frame : m_description.m_frames) {
        for (const Field& field : frame.fields) {
            for (const Text& name : field.readings.empty() ? std::vector<Text>{field.path} : field.readings) {
                const Field*& first = known[toString(name)];
                const bool isAllowed =
                    !first ||
                    (first->frame == &frame ? !first->when.empty() && !field.when.empty()
                                            : coding(&field).isString() && coding(&field) == coding(first));
                if (!isAllowed)
                    fail(m_nodes[&field],
                         QString("another field is \"%1\" too, and neither in the same coding of another "
                                 "frame nor under other conditions")
                             .arg(toString(name)));
                first = &field;
            }
        }
    }
}

namespace {

// The keys of @p base, but those that @p own has too.
Node overridden(const Node& base, const Node& own, const QString& key)
{
    return own[key].exists() ? own[key] : base[key];
}

} // namespace

// The rules of a field stand in its coding, or in the field itself.
void Loader::readRules(const Node& node, Field& field)
{
    if (field.place.mask == 0)
        return;
    Node base = node;
    const Node coding = node["coding"];
    if (coding.exists()) {
        const QString name = string(coding);
        base = m_codings[name];
        m_usedCodings.insert(name);
        if (!base.exists())
            fail(coding, QString("\"codings\" has no \"%1\"").arg(name));
        for (const QString& key : ruleKeys)
            if (key != "name" && node[key].exists())
                fail(node[key], "belongs into the coding that the field names");
    }
    const QVector<Node> cases = base["cases"].items();
    field.rules.resize(static_cast<size_t>(cases.size()) + 1);
    for (int i = 0; i < cases.size(); ++i) {
        only(cases[i], caseKeys);
        Rule& rule = field.rules[static_cast<size_t>(i)];
        readRule(base, cases[i], field, rule);
        readConditions(cases[i]["when"], *field.frame, rule.conditions);
        if (rule.conditions.empty())
            fail(cases[i], "a case has conditions: \"when\"");
    }
    readRule(base, {QJsonObject(), base.path}, field, field.rules.back());
}

void Loader::readRule(const Node& base, const Node& own, const Field& field, Rule& rule)
{
    rule.isSigned = flag(base["signed"]);
    rule.step = number(overridden(base, own, "step"), 1);
    rule.offset = number(overridden(base, own, "offset"), 0);
    const Node limit = overridden(base, own, "limit");
    if (limit.exists())
        rule.limit = number(limit, 0);
    if (own["value"].exists()) {
        rule.isConstant = true;
        rule.offset = number(own["value"], 0);
        rule.others.name = own["name"].exists() ? text(own["name"]) : Text();
    }
    readUnit(own["unit"].exists() || own["keepsUnit"].exists() ? own : base, rule);
    readPieces(overridden(base, own, "codes"), field, rule);
    readNames(base["names"], field, rule);
    const Node others = overridden(base, own, "others");
    rule.hasOthers = others.exists();
    if (others.exists())
        readPiece(others, field, rule.others);
    checkPieces(overridden(base, own, "codes"), field, rule);
    const double highest = static_cast<double>(std::abs(rule.step)) * field.place.mask;
    if (highest > static_cast<double>(INT64_MAX) / 4)
        fail(base, "the numbers grow too large");
    shrink(rule);
}

void Loader::readUnit(const Node& node, Rule& rule)
{
    rule.unit = node["unit"].exists() ? text(node["unit"]) : Text();
    rule.keepsUnit = flag(node["keepsUnit"]);
    if (rule.keepsUnit && !rule.unit.empty())
        fail(node["keepsUnit"], "a unit is given, or kept");
}

void Loader::readPieces(const Node& node, const Field& field, Rule& rule)
{
    for (const Node& item : node.items()) {
        rule.pieces.emplace_back();
        Piece& piece = rule.pieces.back();
        const QString range = string(item["code"]);
        piece.first = code(item["code"], range.section('-', 0, 0), field.place.mask);
        piece.last =
            range.contains('-') ? code(item["code"], range.section('-', 1), field.place.mask) : piece.first;
        if (piece.last < piece.first)
            fail(item["code"], "the lower code stands first");
        readPiece(item, field, piece);
    }
}

void Loader::readPiece(const Node& node, const Field& field, Piece& piece)
{
    only(node, pieceKeys);
    piece.value = number(node["value"], 0);
    piece.step = number(node["step"], 0);
    piece.name = node["name"].exists() ? text(node["name"]) : Text();
    piece.kept = flag(node["kept"]);
    if (field.kind == Kind::Number && !piece.kept && piece.name.empty() && !node["value"].exists())
        fail(node, "a piece has a \"value\" or a \"name\", or is \"kept\"");
    if (static_cast<double>(std::abs(piece.step)) * (piece.last - piece.first) >
        static_cast<double>(INT64_MAX) / 4)
        fail(node, "the numbers grow too large");
}

// The names of codes; "frames" are the frames' names, by type.
void Loader::readNames(const Node& node, const Field& field, Rule& rule)
{
    if ((field.kind == Kind::Code) != node.exists())
        return fail(node, field.kind == Kind::Code ? "a field of codes has names" : "only codes have names");
    if (node.value == "frames") {
        m_frameNames.push_back(&rule);
    } else if (node.exists() && !node.value.isObject()) {
        fail(node, "an object of codes and their names, or \"frames\", is expected");
    }
    for (const QString& key : node.value.toObject().keys()) {
        Piece piece;
        piece.first = piece.last = code(node[key], key, field.place.mask);
        piece.value = static_cast<int64_t>(piece.first * Scale);
        piece.name = text(node[key]);
        rule.pieces.push_back(piece);
    }
}

// Once all frames are known.
void Loader::nameFrames()
{
    for (Rule* rule : m_frameNames) {
        for (const Frame& frame : m_description.m_frames) {
            const auto type = static_cast<uint32_t>(frame.type);
            rule->pieces.push_back({type, type, frame.type, 0, frame.name, false});
        }
    }
}

void Loader::checkPieces(const Node& node, const Field& field, const Rule& rule)
{
    for (size_t i = 0; i < rule.pieces.size(); ++i)
        for (size_t j = 0; j < i; ++j)
            if (rule.pieces[i].first <= rule.pieces[j].last && rule.pieces[j].first <= rule.pieces[i].last)
                fail(node.items().value(static_cast<int>(i), node), "a code of these was given before");
    if (field.kind == Kind::Flag && !rule.pieces.empty())
        fail(node, "a flag has no codes");
}

// Keeps as many decimals as the numbers of @p rule need.
void Loader::shrink(Rule& rule)
{
    std::vector<int64_t*> numbers{&rule.step, &rule.offset, &rule.others.value, &rule.others.step};
    if (rule.limit != INT64_MAX)
        numbers.push_back(&rule.limit);
    for (Piece& piece : rule.pieces) {
        numbers.push_back(&piece.value);
        numbers.push_back(&piece.step);
    }
    rule.decimals = Decimals;
    while (rule.decimals > 0 &&
           std::all_of(numbers.begin(), numbers.end(), [](auto n) { return *n % 10 == 0; })) {
        for (int64_t* n : numbers)
            *n /= 10;
        --rule.decimals;
    }
}

void Loader::readConditions(const Node& node, const Frame& frame, std::vector<Condition>& conditions)
{
    if (!node.exists())
        return;
    if (!node.value.isObject())
        fail(node, "an object of conditions is expected");
    for (const QString& what : node.value.toObject().keys()) {
        conditions.emplace_back();
        readCondition(node[what], what, frame, conditions.back());
    }
}

void Loader::readCondition(const Node& node, const QString& what, const Frame& frame, Condition& condition)
{
    if (what == "carModels" || what == "notCarModels") {
        condition.what = what == "carModels" ? Condition::CarModelIn : Condition::CarModelNotIn;
        condition.carModels = carModels(node);
        return;
    }
    const bool asksPresence = what == "missing";
    const Field* field = fieldNamed(node, asksPresence ? string(node) : what, frame);
    if (!field)
        return;
    condition.place = field->place;
    condition.missingRaw = field->missingRaw;
    condition.isKeptMissing = field->isKeptMissing;
    if (asksPresence) {
        condition.what = Condition::Missing;
        return;
    }
    for (const Node& item : node.oneOrMore())
        condition.codes.push_back(code(item, string(item), field->place.mask));
}

const Field* Loader::fieldNamed(const Node& node, const QString& name, const Frame& frame)
{
    for (const Field& field : frame.fields)
        if (field.name == name.toStdString() && field.place.mask != 0)
            return &field;
    fail(node, QString("frame \"%1\" has no field \"%2\" with a code").arg(toString(frame.name), name));
    return nullptr;
}

size_t Loader::carModels(const Node& node)
{
    const auto& lists = m_description.m_carModels;
    const std::string name = string(node).toStdString();
    for (size_t i = 0; i < lists.size(); ++i)
        if (lists[i].name == name)
            return i;
    fail(node, QString("\"carModels\" has no list \"%1\"").arg(QString::fromStdString(name)));
    return 0;
}

// Notes the bits that @p field is read from: its own and those of its conditions.
void Loader::watch(Field& field)
{
    std::vector<Place> places{field.place};
    for (const Condition& condition : field.when)
        places.push_back(condition.place);
    for (const Rule& rule : field.rules)
        for (const Condition& condition : rule.conditions)
            places.push_back(condition.place);
    std::array<unsigned, 255> bits{};
    for (const Place& place : places)
        for (int byte = place.byte; byte < place.byte + place.bytes && byte < 255; ++byte)
            bits[static_cast<size_t>(byte)] |= bitsIn(place, byte);
    for (int byte = 0; byte < 255; ++byte)
        if (bits[static_cast<size_t>(byte)] != 0)
            field.watched.push_back({byte, static_cast<unsigned char>(bits[static_cast<size_t>(byte)])});
}

int Frame::bytesRead() const
{
    int read = 0;
    for (const Field& field : fields)
        read = std::max(read, field.place.bytes == 0 ? 0 : field.place.byte + field.place.bytes);
    return read;
}

bool Frame::isOpen() const
{
    return fields.empty() ||
           std::any_of(fields.begin(), fields.end(), [](const Field& f) { return f.place.bytes == 0; });
}

const Frame* Description::frame(Text name) const
{
    const auto found =
        std::find_if(m_frames.begin(), m_frames.end(), [&](const Frame& f) { return f.name == name; });
    return found == m_frames.end() ? nullptr : &*found;
}

const Description& Description::standard()
{
    static const std::unique_ptr<const Description> description = [] {
        initResources();
        QString error;
        auto loaded = load(":/protocol/canbox.json", &error);
        if (!loaded)
            qFatal("%s", qPrintable(error));
        return loaded;
    }();
    return *description;
}

std::unique_ptr<const Description> Description::load(const QString& file, QString* error)
{
    QFile json(file);
    if (!json.open(QIODevice::ReadOnly)) {
        *error = QString("%1: %2").arg(file, json.errorString());
        return nullptr;
    }
    return parse(json.readAll(), file, error);
}

std::unique_ptr<const Description> Description::parse(const QByteArray& json, const QString& name,
                                                      QString* error)
{
    QJsonParseError mistake{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &mistake);
    if (document.isNull()) {
        *error = QString("%1:%2: %3").arg(name, lineAndColumn(json, mistake.offset), mistake.errorString());
        return nullptr;
    }
    std::unique_ptr<Description> description(new Description);
    Loader loader(*description, json);
    loader.load(document);
    if (!loader.error().isEmpty()) {
        *error = name + ':' + loader.error();
        return nullptr;
    }
    return description;
}

} // namespace protocol
