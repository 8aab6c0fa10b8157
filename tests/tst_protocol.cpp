// The product's codec, the simulated box's and protocol/canbox.json are three independent statements of one
// protocol. Here they are held against each other.

#include "testmain.h"

#include "carstate.h"
#include "conversation.h"
#include "decoder.h"
#include "frame.h"
#include "headunit.h"
#include "operations.h"
#include "values.h"

#include <QRandomGenerator>
#include <QRegularExpression>

#include <cmath>

using namespace protocol;

namespace {

const Description& description()
{
    return Description::standard();
}

QString text(Text text)
{
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

const unsigned char* bytesOf(const QByteArray& payload)
{
    return reinterpret_cast<const unsigned char*>(payload.constData());
}

Value valueOf(const Field& field, const QByteArray& payload, int carModel = Decoder::NoCarModel)
{
    return Decoder(description(), carModel)
        .value(field, bytesOf(payload), static_cast<size_t>(payload.size()));
}

QString shown(const Value& value)
{
    std::string out;
    appendText(out, value);
    return QString::fromStdString(out);
}

// Missing, lowest and highest are NaN and the infinities.
double numberOf(const Value& value)
{
    const QHash<QString, double> markers{{"none", qQNaN()}, {"lowest", -qInf()}, {"highest", qInf()}};
    return markers.value(text(value.name), static_cast<double>(value.number) / std::pow(10, value.decimals));
}

bool dependsOnCarModel(const Field& field)
{
    const auto asks = [](const std::vector<Condition>& conditions) {
        return std::any_of(conditions.begin(), conditions.end(), [](const Condition& condition) {
            return condition.what == Condition::CarModelIn || condition.what == Condition::CarModelNotIn;
        });
    };
    return asks(field.when) || std::any_of(field.rules.begin(), field.rules.end(),
                                           [&](const Rule& rule) { return asks(rule.conditions); });
}

// Puts @p code into the bits of @p place.
void put(QByteArray& payload, const Place& place, uint32_t code)
{
    for (int i = place.bytes - 1; i >= 0; --i) {
        const uint32_t mask = place.mask << place.shift >> 8 * (place.bytes - 1 - i);
        const uint32_t bits = code << place.shift >> 8 * (place.bytes - 1 - i);
        const int byte = place.byte + i;
        payload[byte] = static_cast<char>((static_cast<uint32_t>(payload[byte]) & ~mask) | (bits & mask));
    }
}

} // namespace

class ProtocolTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void everyTypeIsWhole();
    void everyValueOfEveryByte();
    void everyCarModel();
    void everyLength();
    void everyKey();
    void randomCars();
    void climateKeys();
    void commands();
    void sourceTexts();
    void mistakes_data();
    void mistakes();

private:
    void restart();
    bool isDecoded(int type);
    QStringList missing(const Field& field) const;
    void watch(const Frame& frame);
    QVector<Reading> read() const;
    void slotCalled(const QString& call);
    QString difference(const Field& field, const Reading& reading, const Value& value, QString& unit) const;
    QStringList differences(const QByteArray& payload, const QVector<Reading>& before);
    void receive(const Frame& frame, const QByteArray& payload);
    QMap<QString, QString> sent();

    RecordingHost& m_host = RecordingHost::instance();
    std::unique_ptr<CarState> m_car;
    QSet<QString> m_described; // the readings of all frames

    // The frame that is received, and what the host reads of its topics.
    struct Told
    {
        const Field* field;
        int reading; // index in m_read
    };
    const Frame* m_frame = nullptr;
    QStringList m_topics;
    QVector<Reading> m_read;  // after the last frame
    QVector<QString> m_units; // that each reading had last
    QStringList m_announced;  // topics
    QVector<Reading> m_seen;  // by the slots of the last frame's signals, each of its topics
    QVector<Told> m_told;
};

void ProtocolTest::init()
{
    for (const Frame& frame : description().frames())
        for (const Field& field : frame.fields)
            for (const Text& reading : field.readings)
                m_described.insert(text(reading));
    restart();
}

// The host's texts are those of the description.
void ProtocolTest::restart()
{
    m_host.restart();
    for (const auto& [id, translation] : description().texts())
        m_host.texts.insert(id, text(translation));
    m_car = std::make_unique<CarState>(m_host.service());
    m_frame = nullptr;
}

void ProtocolTest::watch(const Frame& frame)
{
    m_frame = &frame;
    m_told.clear();
    m_topics.clear();
    for (const Field& field : frame.fields)
        for (const Text& reading : field.readings)
            m_topics.append(text(reading).section('.', 0, 0));
    m_topics.removeDuplicates();
    m_read = read();
    m_units = QVector<QString>(m_read.size());
    for (const Field& field : frame.fields)
        for (const Text& name : field.readings)
            for (int i = 0; i < m_read.size(); ++i)
                if (m_read[i].topic + '.' + m_read[i].name == text(name))
                    m_told.append({&field, i});
}

QVector<Reading> ProtocolTest::read() const
{
    QVector<Reading> readings;
    for (const QString& topic : m_topics)
        readings += m_car->read(topic);
    return readings;
}

// What is not as the description says; empty where nothing is. A text is the number with one decimal,
// directly followed by its unit.
QString ProtocolTest::difference(const Field& field, const Reading& reading, const Value& value,
                                 QString& unit) const
{
    if (!value.isUnitKept)
        unit = text(value.unit);
    if (value.isKept)
        return {};
    QVariant expected = static_cast<double>(value.number) / std::pow(10, value.decimals);
    if (field.kind == Kind::Code || field.kind == Kind::Utf8)
        expected = shown(value);
    else if (field.isReadAsText)
        expected = value.name == "none" ? "--" : QString::number(expected.toDouble(), 'f', 1) + unit;
    const bool isEqual = expected.type() == QVariant::Double
                             ? reading.data.toDouble() == expected.toDouble() && reading.unit == unit
                             : reading.data == expected;
    return isEqual ? QString()
                   : QString("%1 is \"%2\", described as \"%3\" %4")
                         .arg(reading.name, reading.text(), expected.toString(), unit);
}

QStringList ProtocolTest::differences(const QByteArray& payload, const QVector<Reading>& before)
{
    QStringList wrong;
    QVector<bool> isTold(m_read.size());
    const Decoder decoder(description(), m_host.carModel);
    for (const Told& told : qAsConst(m_told)) {
        const Value value = decoder.value(*told.field, bytesOf(payload), static_cast<size_t>(payload.size()));
        if (value.state == Value::Absent)
            continue;
        isTold[told.reading] = isTold[told.reading] || !value.isKept;
        wrong.append(difference(*told.field, m_read.at(told.reading), value, m_units[told.reading]));
    }
    for (int i = 0; i < m_read.size(); ++i) {
        const Reading& reading = m_read.at(i);
        if (reading.data != before[i].data && !isTold[i] &&
            m_described.contains(reading.topic + '.' + reading.name))
            wrong.append(reading.name + " changed to " + reading.text());
    }
    wrong.removeAll({});
    return wrong;
}

// Takes what the host reads in the slot of a signal.
void ProtocolTest::slotCalled(const QString& call)
{
    for (const QString& topic : CarState::topicsOf(call.section('(', 0, 0))) {
        m_announced.append(topic);
        m_seen += m_topics.contains(topic) ? m_car->read(topic) : QVector<Reading>();
    }
}

// Receives a good frame. What the host reads then must be what the description says, and every changed topic
// must have been announced when it could be read.
void ProtocolTest::receive(const Frame& frame, const QByteArray& payload)
{
    if (m_frame != &frame)
        watch(frame);
    const QVector<Reading> before = m_read;
    m_announced.clear();
    m_seen.clear();
    m_host.onCall = [this](const QString& call) { slotCalled(call); };
    m_host.receiveFrame(frame.type, payload);
    m_host.onCall = nullptr;
    m_host.take();
    m_read = read();
    QStringList wrong = differences(payload, before);
    for (int i = 0; i < m_read.size(); ++i) {
        const Reading& reading = m_read.at(i);
        if (reading.data != before[i].data && !m_announced.contains(reading.topic))
            wrong.append(reading.name + " is not announced");
        for (const Reading& seen : qAsConst(m_seen))
            if (seen.name == reading.name && (seen.data != reading.data || seen.unit != reading.unit))
                wrong.append(reading.name + " is announced before it can be read");
    }
    QVERIFY2(wrong.isEmpty(),
             qPrintable(text(frame.name) + ' ' + payload.toHex(' ') + ": " + wrong.join(", ")));
}

// Among zeros, ones, mixed bits, and what makes tyres valid and units known.
void ProtocolTest::everyValueOfEveryByte()
{
    for (const Frame& frame : description().frames()) {
        if (frame.direction == Direction::ToBox || frame.isIgnored)
            continue;
        const int size = frame.length == Frame::AnyLength ? frame.bytesRead() + 1 : frame.length;
        for (const int filler : {0x00, 0x01, 0x04, 0x55, 0x86, 0xFF}) {
            restart();
            receive(frame, QByteArray(size, static_cast<char>(filler)));
            for (int byte = 0; byte < size; ++byte) {
                for (int value = 0; value < 256; ++value) {
                    QByteArray payload(size, static_cast<char>(filler));
                    payload[byte] = static_cast<char>(value);
                    receive(frame, payload);
                    if (QTest::currentTestFailed())
                        return;
                }
            }
        }
    }
}

// All values of the fields that read differently for some car models.
void ProtocolTest::everyCarModel()
{
    for (int model = -1; model < 260; ++model) {
        m_host.carModel = model;
        m_frame = nullptr;
        for (const Frame& frame : description().frames()) {
            for (const Field& field : frame.fields) {
                for (uint32_t code = 0; dependsOnCarModel(field) && code <= field.place.mask; ++code) {
                    QByteArray payload(frame.length == Frame::AnyLength ? 12 : frame.length, '\0');
                    put(payload, field.place, code);
                    receive(frame, payload);
                    if (QTest::currentTestFailed())
                        return;
                }
            }
        }
    }
}

// Of all types. A frame that the host does not take changes nothing, and a wrong length is logged with the
// size; one that it takes changes nothing the second time.
void ProtocolTest::everyLength()
{
    const QStringList alive{"write FF true", "notifyCanbusStatus(3)"};
    for (int type = 0; type < 256; ++type) {
        restart();
        const Frame* frame = description().frame(static_cast<unsigned char>(type));
        const bool isRead = frame && frame->direction == Direction::FromBox && !frame->isIgnored;
        for (const int size : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 127, 128, 255}) {
            const bool isTaken = isRead && frame->takes(static_cast<size_t>(size));
            for (const int filler : {0x00, 0xFF, 0x55, 0xAA, 0x86}) {
                if (isTaken && frame->length == Frame::AnyLength)
                    receive(*frame, QByteArray(12, '\1')); // has units that a shorter one keeps
                if (isTaken)
                    receive(*frame, QByteArray(size, static_cast<char>(filler)));
            }
            const QStringList state = snapshot(m_host.service());
            m_host.take();
            m_host.setLogs(!isTaken);
            m_host.receiveFrame(type, QByteArray(size, '\x86'));
            const QStringList lines = m_host.take().mid(isTaken ? 0 : 2);
            m_host.setLogs(false);
            QCOMPARE(snapshot(m_host.service()), state);
            const QString sizeLogged = QString("debug paraBuf size: %1").arg(size);
            if (!isTaken)
                QCOMPARE(lines, isRead ? alive + QStringList(sizeLogged) : alive);
        }
    }
    QCOMPARE(description().reservedType(), ReservedType);
}

// Each code of each key frame, pressed and released; a code or an action without a meaning brings nothing.
void ProtocolTest::everyKey()
{
    for (const Frame& frame : description().frames()) {
        for (int code = 0; frame.group == "keys" && code < 256; ++code) {
            const Value key = valueOf(frame.fields[0], QByteArray(2, static_cast<char>(code)));
            const QString wheel = frame.name == "panelKey" ? "false" : "true";
            for (const char action : {'\1', '\0', '\2', '\xFF'}) {
                m_host.take();
                m_host.receiveFrame(frame.type, QByteArray(1, static_cast<char>(code)) + action);
                const QString event =
                    QString("keyEvent(%1,%2,%3)").arg(key.number).arg(action == 1 ? 0 : 1).arg(wheel);
                const bool isMeant = key.name.empty() && (action == 0 || action == 1);
                QCOMPARE(m_host.take().mid(2), isMeant ? QStringList(event) : QStringList());
            }
        }
    }
}

// What the plug-in wrote since the last call, as fields and their values in the order of the frames; each
// frame must be described to its last bit, and mean something to the simulated box.
QMap<QString, QString> ProtocolTest::sent()
{
    QMap<QString, QString> values;
    for (const QString& line : m_host.take()) {
        if (!line.startsWith("write "))
            continue;
        const QByteArray bytes = hex(line.section(' ', 1, -2));
        const QByteArray payload = bytes.mid(3, bytes.size() - 4);
        const auto type = static_cast<unsigned char>(bytes[1]);
        const Frame* frame = description().frame(type);
        if (!frame || frame->direction != Direction::ToBox ||
            !frame->takes(static_cast<size_t>(payload.size())) || bytes != frameOf(type, payload)) {
            values["wrong"] += line;
            continue;
        }
        QByteArray rest = payload;
        for (const Field& field : frame->fields) {
            const Value value = valueOf(field, payload);
            if (value.state == Value::Absent)
                continue;
            QString& shownValue = values[text(field.path)];
            shownValue += (shownValue.isEmpty() ? "" : ", ") + shown(value);
            if (field.kind == Kind::Code && value.name.empty())
                values["without a name"] += line;
            for (int i = 0; i < field.place.bytes && field.place.mask == 0; ++i)
                rest[field.place.byte + i] = '\0';
            if (field.place.mask != 0)
                put(rest, field.place, 0);
        }
        boxsim::Car car;
        const QString meaning = boxsim::react(car, {type, payload}).meaning;
        if (rest.count('\0') != rest.size() || meaning.contains("unknown") || meaning.contains("expected") ||
            meaning.contains("none") ||
            meaning.contains("body control") != meaning.contains("body control 0x32"))
            values["not understood"] += line + " " + meaning;
    }
    return values;
}

namespace {

// Which field says what a statement of the box sets, for each of its choices; "code" where it says it as the
// code. A statement without a row, "climate inside-air", sets the field of that name, climate.insideAir.
struct CarRow
{
    const char* words;
    QStringList fields;
    bool isCode = false;
    int carModel = Decoder::NoCarModel;
};

const QVector<CarRow> namedOtherwise{
    {"door front-left|front-right|rear-left|rear-right|back",
     {"doors.leftFrontDoorOpen", "doors.rightFrontDoorOpen", "doors.leftRearDoorOpen",
      "doors.rightRearDoorOpen", "doors.backDoorOpen"}},
    {"driving-position", {"doors.drivingPosition"}},
    {"radar front left|middle-left|middle-right|right",
     {"frontRadar.left", "frontRadar.middleLeft", "frontRadar.middleRight", "frontRadar.right"},
     true},
    {"radar rear left|middle-left|middle-right|right",
     {"rearRadar.left", "rearRadar.middleLeft", "rearRadar.middleRight", "rearRadar.right"},
     true},
    {"other-info", {"rearRadar.text"}, true},
    {"tyre unit", {"tyres.unitCode"}},
    {"tyre", {"tyres.valid"}},
    {"tyre", {"tyres.confirmed"}},
    {"trip a", {"trip.tripA"}},
    {"trip b|c|d", {"trip.tripB", "trip.tripC", "trip.tripD"}},
    {"trip unit", {"trip.unitCode"}},
    {"fuel instant", {"fuelNow.consumption"}},
    {"fuel history 1|2|3|4|5",
     {"fuelHistory.history1", "fuelHistory.history2", "fuelHistory.history3", "fuelHistory.history4",
      "fuelHistory.history5"}},
    {"fuel unit", {"fuelNow.fuelUnit"}, true},
    {"fuel unit", {"fuelHistory.fuelUnit"}, true},
    {"camera", {"system.cameraMode"}},
    {"climate power", {"climate.powerOff"}},
    {"climate auto", {"climate.automatic"}},
    {"climate wind", {"climate.windMode"}, true},
    {"climate show", {"climate.showRequest"}},
    {"climate left", {"climate.leftTemperature"}},
    {"climate right", {"climate.rightTemperature"}},
    {"climate max-ac", {"climate.acMax"}},
    {"climate rear-power", {"climate.rearPowerOff"}},
    {"climate rear", {"climate.rearTemperature"}},
    {"seat rear-left heat", {"climate.rearLeftHeat"}},
    {"seat rear-right heat", {"climate.rearRightHeat"}},
    {"climate rear-wind", {"climate.rearWindMode"}},
    {"climate wind-2", {"climate.windModeInByte9"}, true, 76},
    {"seat left heat", {"seats.leftHeat"}, true},
    {"seat right heat", {"seats.rightHeat"}, true},
    {"seat left ventilation", {"seats.leftVentilation"}, true},
    {"seat right ventilation", {"seats.rightVentilation"}, true},
};

QVector<CarRow> carRows()
{
    static const QRegularExpression gap("[ -]");
    QVector<CarRow> rows = namedOtherwise;
    for (const boxsim::ValueRow& row : boxsim::valueRows()) {
        const auto isOf = [&row](const CarRow& named) { return qstrcmp(named.words, row.words) == 0; };
        if (std::any_of(namedOtherwise.begin(), namedOtherwise.end(), isOf))
            continue;
        const QStringList words = QString(row.words).split(gap);
        QString name = words[0] + '.' + words.value(1);
        for (const QString& word : words.mid(2))
            name += word[0].toUpper() + word.mid(1);
        rows.append({row.words, {name}});
    }
    return rows;
}

const Field* findField(const QString& name)
{
    if (const Frame* frame = description().frame(name.section('.', 0, 0).toStdString()))
        for (const Field& field : frame->fields)
            if (text(field.name) == name.section('.', 1))
                return &field;
    return nullptr;
}

const Field& fieldNamed(const QString& name)
{
    const Field* field = findField(name);
    if (!field)
        qFatal("no field %s", qPrintable(name));
    return *field;
}

QRandomGenerator generator(1); // the same numbers in every run

// A value of the syntax element @p values, to the half or to the tenth.
double randomNumber(const QString& values)
{
    const QStringList words = values.split('|');
    if (!values.contains('<'))
        return generator.bounded(words.size());
    const QString& word = words[generator.bounded(3) == 0 ? generator.bounded(words.size()) : 0];
    if (!word.contains('<'))
        return boxsim::specialNumber(word).value();
    const double low = word.mid(1).section("..", 0, 0).toDouble();
    const double high = word.section("..", 1).chopped(1).toDouble();
    const bool hasHalves = values.contains("low") || high == 32.0;
    const int steps = hasHalves ? 2 : word.count('.') > 2 ? 10 : 1;
    return (low * steps + generator.bounded(static_cast<int>((high - low) * steps) + 1)) / steps;
}

boxsim::Car randomCar()
{
    boxsim::Car car;
    for (const boxsim::ValueRow& row : boxsim::valueRows())
        for (size_t i = 0; i == 0 || static_cast<int>(i) < row.places.size(); ++i)
            row.access.set(car, i, randomNumber(row.values));
    // Of values that share bits the car has one.
    const bool coin = generator.bounded(2) == 0;
    car.climate.steeringWheelHeat &= coin;
    car.climate.wind *= !coin;
    car.climate.rearFan *= coin;
    car.climate.secondWind *= !coin;
    return car;
}

// Whether another value of @p car has put its bits over that one.
bool isHidden(const boxsim::Car& car, const QString& words)
{
    const QHash<QString, bool> hidden{{"climate steering-wheel-heat", car.climate.wind != 0},
                                      {"climate wind", car.climate.steeringWheelHeat},
                                      {"climate rear-fan", car.climate.secondWind != 0},
                                      {"climate wind-2", car.climate.rearFan != 0},
                                      {"climate rear", car.climate.rearPower}};
    return hidden.value(words);
}

// The number as the frame tells it.
double told(const boxsim::Car& car, const QString& words, double number)
{
    const bool isFahrenheit =
        words == "climate rear"
            ? car.climate.showRequest
            : (words == "climate left" || words == "climate right") && car.climate.fahrenheit;
    if (words == "climate power" || words == "climate rear-power")
        return 1 - number;
    const double limit = words == "fuel instant" && car.fuelUnit == 0                          ? 60
                         : words == "fuel instant" && (car.fuelUnit == 1 || car.fuelUnit == 2) ? 30
                                                                                               : qInf();
    return number > limit                        ? limit
           : isFahrenheit && !std::isinf(number) ? std::round(number * 1.8 + 32)
                                                 : number;
}

} // namespace

// The simulated box's frames say, by the description, what its car is.
void ProtocolTest::randomCars()
{
    const double steps[] = {10, 6.894757, 2.5}; // kPa
    const double shownSteps[] = {0.1, 1, 2.5};
    for (int i = 0; i < 300; ++i) {
        boxsim::Car car = randomCar();
        const auto unit = static_cast<size_t>(car.tyreUnit);
        const int pressure = generator.bounded(255);
        car.tyrePressures = {pressure * steps[unit], std::nullopt, 254 * steps[unit], 0};
        for (const CarRow& row : carRows()) {
            for (int choice = 0; choice < row.fields.size() && !isHidden(car, row.words); ++choice) {
                const Field& field = fieldNamed(row.fields[choice]);
                const double number =
                    boxsim::valueRow(row.words).access.get(car, static_cast<size_t>(choice));
                const double expected = told(car, row.words, number);
                const QByteArray payload = car.payload(field.frame->type).value();
                QVERIFY(field.frame->takes(static_cast<size_t>(payload.size())));
                const Value value = valueOf(field, payload, row.carModel);
                const double read = row.isCode ? value.raw : numberOf(value);
                QVERIFY2(read == expected || (std::isnan(read) && std::isnan(expected)),
                         qPrintable(QString("%1: %2 instead of %3").arg(row.words).arg(read).arg(expected)));
            }
        }
        const QByteArray tyres = car.payload(0x25).value();
        const double pressures[] = {pressure * shownSteps[unit], qQNaN(), 254 * shownSteps[unit], 0};
        for (int wheel = 0; wheel < 4 && car.tyresValid; ++wheel) {
            const Value value = valueOf(*(&fieldNamed("tyres.frontLeft") + wheel), tyres);
            QCOMPARE(numberOf(value), pressures[wheel]);
            QCOMPARE(text(value.unit), QStringList({"bar", "psi", "kPa"})[static_cast<int>(unit)]);
        }
    }
    boxsim::Car car;
    car.version = "Box 1 \xC3\xA9";
    QCOMPARE(shown(valueOf(fieldNamed("version.version"), car.payload(0x30).value())), QString("Box 1 é"));
    for (const Frame& frame : description().frames())
        QCOMPARE(car.payload(frame.type).has_value(),
                 frame.direction == Direction::FromBox && !frame.isIgnored);
}

// Whether the plug-in does more about frames of that type than to acknowledge them.
bool ProtocolTest::isDecoded(int type)
{
    constexpr int AcknowledgedLines = 4; // two of the log, the answer, the sign of life
    bool is = false;
    for (const int size : {1, 12}) {
        m_host.take();
        m_host.setLogs(true);
        m_host.receiveFrame(type, QByteArray(size, '\x55'));
        is |= m_host.take().size() > AcknowledgedLines;
        m_host.setLogs(false);
    }
    return is;
}

// Whether the simulated car has a value for the field.
static bool isSimulated(const Field& field)
{
    for (int i = 0; i < 100; ++i) {
        const QByteArray payload = randomCar().payload(field.frame->type).value_or(QByteArray());
        QByteArray rest = payload;
        if (field.place.mask != 0 && !payload.isEmpty())
            put(rest, field.place, 0);
        if (rest != payload || (field.place.mask == 0 && payload.size() > field.place.byte))
            return true;
    }
    return false;
}

// What there is not of a field that the host reads.
QStringList ProtocolTest::missing(const Field& field) const
{
    QStringList announced;
    const QMetaObject& meta = CanServiceBase::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        announced += CarState::topicsOf(meta.method(i).name());
    QStringList names;
    for (const Reading& reading : m_car->read())
        names.append(reading.topic + '.' + reading.name);
    QStringList lacking;
    for (const Text& reading : field.readings) {
        if (!names.contains(text(reading)))
            lacking.append("no reading " + text(reading) + " in bench/carstate.cpp");
        if (!announced.contains(text(reading).section('.', 0, 0)))
            lacking.append("no signal announces " + text(reading) +
                           ": announcedTopics in bench/carstate.cpp");
    }
    if (!field.readings.empty() && !isSimulated(field))
        lacking.append("no statement of boxsim/values.cpp sets it");
    return lacking;
}

// What the document's examples do: "box 24" for a frame that has an effect, "quiet 2C" for one that has none,
// "write 24".
static QSet<QString> examples()
{
    QSet<QString> found;
    for (const Scene& scene : readConversation(SOURCE_FOLDER "/docs/protocol.md")) {
        for (const Step& step : scene.steps) {
            if (step.text.startsWith("box "))
                found.insert((step.expected.isEmpty() ? "quiet " : "box ") + step.text.section(' ', 1, 1));
            for (const QString& line : step.expected)
                if (line.startsWith("write 2E "))
                    found.insert("write " + line.section(' ', 2, 2));
        }
    }
    return found;
}

// A type has all that belongs to it, or nothing: docs/adding-a-frame.md.
void ProtocolTest::everyTypeIsWhole()
{
    const QSet<QString> shownInDocument = examples();
    QFile file(SOURCE_FOLDER "/docs/protocol.md");
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString document = file.readAll();
    QStringList wrong;
    for (int type = 0; type < 256; ++type) {
        const Frame* frame = description().frame(static_cast<unsigned char>(type));
        const QString hexType = QString::asprintf("%02X", static_cast<unsigned>(type));
        const QString name = hexType + (frame ? ' ' + text(frame->name) : "");
        const bool isRead = frame && frame->direction == Direction::FromBox && !frame->isIgnored;
        const bool isSent = frame && frame->direction == Direction::ToBox;
        const auto demand = [&](bool has, bool must, const char* lacking, const char* excess) {
            if (has != must)
                wrong.append(QString("frame %1: %2").arg(name, must ? lacking : excess));
        };
        boxsim::Car car;
        const QString example = (isSent ? "write " : isRead ? "box " : "quiet ") + hexType;
        demand(isDecoded(type), isRead, "service/ does not decode it",
               "service/ decodes what protocol/canbox.json does not describe");
        demand(car.payload(type).has_value(), isRead, "boxsim/ does not send it",
               "boxsim/ sends what protocol/canbox.json does not describe");
        demand(!boxsim::react(car, {type, {}}).meaning.contains("unknown"), isSent,
               "boxsim/headunit.cpp does not understand it",
               "boxsim/headunit.cpp understands what protocol/canbox.json does not describe");
        demand(shownInDocument.contains(example), frame, "docs/protocol.md has no example that shows it",
               "docs/protocol.md shows what protocol/canbox.json does not describe");
        if (isRead || isSent)
            demand(document.contains(QString("\n## %1: %2\n").arg(hexType, text(frame->title))), true,
                   "docs/protocol.md has no section of its type and title", "");
        for (size_t i = 0; frame && i < frame->fields.size(); ++i)
            for (const QString& lacking : missing(frame->fields[i]))
                wrong.append(QString("frame %1, %2: %3").arg(name, text(frame->fields[i].name), lacking));
    }
    for (const CarRow& row : carRows())
        for (const QString& name : row.fields)
            if (!findField(name))
                wrong.append(
                    QString("boxsim/values.cpp: \"%1\" sets no field that protocol/canbox.json has: %2")
                        .arg(row.words, name));
    QVERIFY2(wrong.isEmpty(), qPrintable(wrong.join("\n")));
}

// The keys of the host in both forms, and none for the car models that have none; the bytes are those of the
// fields that are called after the key.
void ProtocolTest::climateKeys()
{
    const auto isIn = [](const char* name, int model) {
        for (const CarModelList& list : description().carModels())
            if (list.name == name)
                return std::find(list.ids.begin(), list.ids.end(), model) != list.ids.end();
        return false;
    };
    const auto check = [&](int model, int key) {
        m_host.carModel = model;
        m_host.take();
        const bool isBarred = isIn("withoutClimateKeys", model);
        QCOMPARE(m_host.service().sendAcKey(key, key % 3), isBarred ? -1 : 0);
        const QString name = QString("key%1").arg(key == 7 ? 6 : key);
        const Field& command = fieldNamed("verticalClimate.command");
        const auto& codes = command.rules.back().pieces;
        const bool isVertical = std::any_of(codes.begin(), codes.end(),
                                            [&](const Piece& piece) { return text(piece.name) == name; });
        bool isLandscape = false;
        QMap<QString, QString> expected;
        for (const Field& field : description().frame(0xC7)->fields)
            isLandscape |= text(field.name) == name;
        if (isLandscape && !isBarred && !isIn("verticalClimate", model)) {
            for (const Field& field : description().frame(0xC7)->fields)
                expected[text(field.path)] = text(field.name) == name ? "true" : "false";
        } else if (isVertical && !isBarred) {
            expected["verticalClimate.command"] = name + ", " + name;
            expected["verticalClimate.action"] = "pressed, released";
        }
        QVERIFY2(sent() == expected, qPrintable(QString("key %1, model %2").arg(key).arg(model)));
    };
    for (const int model : {20, 153, 43, 142, 145})
        for (int key = -300; key < 600; ++key)
            check(model, key);
    for (int model = -1; model < 260; ++model)
        check(model, 0);
}

// All other commands, with their ranges.
void ProtocolTest::commands()
{
    using Sent = QMap<QString, QString>;
    CanServiceBase& service = m_host.service();
    m_host.isPortOpen = true;
    m_host.take();
    for (int position = -1; position < 258; ++position) {
        service.setCanDrivingPosition(position);
        QCOMPARE(sent(), (Sent{{"control.command", "drivingPosition"},
                               {"control.value", QString::number(position & 0xFF)}}));
    }
    for (int code = 0; code < 256; ++code) {
        m_host.receiveFrame(0x22, QByteArray(1, static_cast<char>(code)));
        m_host.take();
        const int index = m_car->read("units").value(1).data.toInt();
        service.setUnitCmd(0);
        QCOMPARE(sent(), (Sent{{"control.command", "fuelUnit"},
                               {"control.value", QString::number(index < 2 ? index + 1 : 0)}}));
    }
    // Twelve hours go only from the 12-hour clock's (0) afternoon (3), whatever the hour.
    for (int hour = 0; hour < 256; ++hour) {
        for (const int format : {0, 1, 2, 3, 128, 255}) {
            for (const int meridiem : {0, 2, 3, 4, 131, 255}) {
                GPSTime time;
                time.hour = static_cast<quint8>(hour);
                time.minute = static_cast<quint8>(255 - hour);
                time.clockFormat = static_cast<quint8>(format);
                time.meridiem = static_cast<quint8>(meridiem);
                service.GPSTimeSend(time);
                const int shownHour = format == 0 && meridiem == 3 ? (hour + 256 - 12) % 256 : hour;
                QCOMPARE(sent(), (Sent{{"clock.hour", QString::number(shownHour)},
                                       {"clock.minute", QString::number(255 - hour)},
                                       {"clock.format", format == 0 ? "12h" : "24h"}}));
                QVERIFY(time.hour == hour && time.minute == 255 - hour && time.clockFormat == format &&
                        time.meridiem == meridiem);
            }
        }
    }
    for (const int x : {0, 1, 255, 256, 32767, -1, -32768}) {
        CameraData touch;
        touch.touchX = x;
        touch.touchY = 240;
        service.sendCameraKey(0, touch);
        QCOMPARE(sent(),
                 (Sent{{"touch.action", "touch"}, {"touch.x", QString::number(x)}, {"touch.y", "400"}}));
    }
    for (int index = -1; index < 258; ++index) {
        m_host.carModelIndex = index;
        m_host.driverPosition = index;
        service.start();
        const QString byte = QString::number(index & 0xFF);
        Sent expected{{"start.state", "stop, start"},
                      {"control.command", "startup, drivingPosition, radar, tyreReset"},
                      {"control.value", QString("1, %1, 1, 1").arg(byte)}};
        if (index != 255)
            expected["carModel.index"] = byte;
        QCOMPARE(sent(), expected);
    }
    const QMap<QString, QString> requests{
        {"requsetClimate", "climate, seats"},    {"requsetParkAssist", "frontRadar, rearRadar"},
        {"requsetVehicleInfo", "doors, tyres"},  {"requsetDrinvingData", "trip"},
        {"requsetFuel", "fuelNow, fuelHistory"}, {"requsetUnitSettings", "fuelNow"},
        {"requsetOtherInfo", "rearRadar"}};
    for (auto request = requests.begin(); request != requests.end(); ++request) {
        operation(request.key()).call(service, {});
        const QString all = request.value().contains(',') ? "all, all" : "all";
        QCOMPARE(sent(), (Sent{{"request.type", request.value()}, {"request.parameter", all}}));
    }
}

// The texts of all sources, of any length, cut where the field ends.
void ProtocolTest::sourceTexts()
{
    const auto cut = [](const QStringList& texts, int i, int size) {
        QString shownText = texts.value(i).left(size);
        if (!shownText.isEmpty() &&
            shownText.at(shownText.size() - 1).isHighSurrogate()) // its other half is cut off
            shownText.back() = QChar::ReplacementCharacter;
        return shownText;
    };
    for (int size = 0; size < 20; ++size) {
        for (int type = -1; type < 8; ++type) {
            for (const char* band : {"AM1", "AM2", "FM1", "am1", "AM", ""}) {
                QStringList texts;
                for (int i = 0; i < size % 5; ++i)
                    texts.append(QString("é中😀 plain text of %1").arg(i).left(size));
                m_host.service().onRadioSourceInformation(band, texts, type);
                QMap<QString, QString> expected;
                if (type == 0) {
                    const QString radio =
                        band == QString("AM1") || band == QString("AM2") ? "radioAm" : "radio";
                    expected = {{"source.source", radio + ", " + radio},
                                {"source.item", "1, 2"},
                                {"source.station", cut(texts, 1, 14)},
                                {"source.frequency", cut(texts, 0, 15)}};
                } else if (type >= 1 && type <= 4) {
                    const QString media = type == 4 ? "media2" : "media";
                    expected = {{"source.source", QStringList{media, media, media, media}.join(", ")},
                                {"source.item", "1, 2, 3, 4"},
                                {"source.title", cut(texts, 0, 15)},
                                {"source.artist", cut(texts, 1, 15)},
                                {"source.album", cut(texts, 2, 15)}};
                } else if (type == 5) {
                    expected = {{"source.source", "aux"}, {"source.item", "1"}};
                }
                QCOMPARE(sent(), expected);
            }
        }
    }
}

// A text of the description, what it becomes, and what is told then besides its line, a frame's index as its
// name.
void ProtocolTest::mistakes_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("mistake");
    QTest::addColumn<QString>("told");
    const QStringList rows[] = {
        {R"("reserved": "2C",)", R"("reserved": "2C")", "unterminated object"}, // of JSON itself
        {R"("reserved": "2C")", R"("reserved": "28")", "reserved: a frame has this type"},
        {R"("title": "climate")", R"("tile": "climate")",
         "frames[climate].tile: there is no such key; there are: type,"},
        {R"("type": "1E")", R"("type": "1D")", R"(frames[rearRadar].type: frame "frontRadar" has this type)"},
        {R"("type": "1E")", R"("type": "1e")", R"(frames[rearRadar].type: "1e" is no code in hexadecimal)"},
        {R"("name": "rearRadar")", R"("name": "radar")",
         R"(frames[rearRadar].name: a frame or a group is called "radar" already)"},
        {R"("direction": "fromBox", "length": 5)", R"("direction": "in", "length": 5)",
         "frames[rearRadar].direction: \"fromBox\" or"},
        {R"("length": 4)", R"("length": 256)",
         "frames[frontRadar].length: a whole number from 0 to 255 is expected"},
        {R"("length": 4)", R"("length": 3)",
         "frames[frontRadar].fields[3]: a frame of length 3 does not have these bytes"},
        {R"("any", "ignored": true)", R"("any")", "frames[2].fields: a frame has fields, or is ignored"},
        {R"("kind": "utf8")", R"("kind": "utf7")",
         "frames[version].fields[0].kind: there is no such kind; there are: flag"},
        {R"("kind": "utf8", "bytes": "0-")", R"("kind": "utf8", "bytes": "1-0")",
         "frames[version].fields[0].bytes: bytes are given"},
        {R"("bits": "6-4")", R"("bits": "8-4")", "frames[climate].fields[20].bits: bits are given as"},
        {R"("bits": "6-4")", R"("bits": "6-3")",
         R"(frames[climate].fields[21]: field "rearLeftHeat" has some of these bits)"},
        {R"("byte": 5, "bits": "3", "reading": "climate.glassHeat")",
         R"("byte": 5, "overlay": true, "bits": "3")", "frames[climate].fields[16].overlay: no field"},
        {R"("byte": 5, "bits": "3", "reading": "climate.glassHeat")", R"("byte": 5, "bits": "3-2")",
         "frames[climate].fields[16]: a flag is one bit"},
        {R"("byte": 5, "bits": "3", "reading": "climate.glassHeat")", R"("byte": 5, "bytes": "5-5")",
         "frames[climate].fields[16]: a field has \"byte\" or"},
        {R"("reading": "climate.ac")", R"("reading": "climate.ac.")",
         "frames[climate].fields[1].reading: a reading is given"},
        {R"("reading": "climate.ac")", R"("reading": "climate.fan")",
         R"(another field is "climate.fan" too)"},
        {R"("inverted": true, "missing": "1")", R"("inverted": true, "missing": "2")",
         "missing: code 2 is beyond 1"},
        {R"("coding": "seatLevel", "reading": "climate.frontLeftHeat")", R"("coding": "seatlevel")",
         R"(frames[seats].fields[0].coding: "codings" has no "seatlevel")"},
        {R"("radar": {)", R"("spare": {}, "radar": {)", "codings.spare: no field has this coding"},
        {R"({"code": "24-25")", R"({"code": "23-25")",
         "codings.frontTemperature.codes[4]: a code of these was given before"},
        {R"({"code": "24-25")", R"({"code": "25-24")",
         "codings.frontTemperature.codes[4].code: the lower code stands first"},
        {R"({"code": "02", "value": 2})", R"({"code": "02"})",
         "codings.radar.codes[2]: a piece has a \"value\" or a"},
        {R"("offset": 15.5)", R"("offset": 15.5000001)",
         "offset: a number of at most a million, with at most 6 decimals"},
        {R"("unit": 1163)", R"("unit": 1162)",
         "codings.frontTemperature.cases[0].unit: \"texts\" has no such number"},
        {R"("when": {"fahrenheit": "1"})", R"("when": {"kelvin": "1"})",
         R"(codings.frontTemperature.cases[0].when.kelvin: frame "climate" has no field "kelvin")"},
        {R"({"notCarModels": "windModeInByte9"})", R"({"notCarModels": "wind"})",
         R"("carModels" has no list "wind")"},
        {R"("names": {"00": "stop", )", R"("nams": {"00": "stop", )", "fields[0].nams: there is no such key"},
    };
    for (const QStringList& row : rows)
        QTest::newRow(qPrintable(row[1])) << row[0] << row[1] << row[2];
}

void ProtocolTest::mistakes()
{
    QFETCH(QString, text);
    QFETCH(QString, mistake);
    QFETCH(QString, told);
    QFile file(SOURCE_FOLDER "/protocol/canbox.json");
    QVERIFY(file.open(QIODevice::ReadOnly));
    QString json = file.readAll();
    const int at = json.indexOf(text);
    QVERIFY(at >= 0);
    json.replace(at, text.size(), mistake);
    static const QRegularExpression frames("frames\\[(\\w+)\\]");
    static const QRegularExpression places("\\Aa\\.json:(\\d+):\\d+: ");
    const QString name = frames.match(told).captured(1);
    if (const Frame* frame = description().frame(name.toStdString()))
        told.replace('[' + name + ']', QString("[%1]").arg(frame - description().frames().data()));
    QString error;
    QVERIFY(!Description::parse(json.toUtf8(), "a.json", &error));
    QVERIFY2(error.contains(told), qPrintable(error));
    // The mistake itself, or what it makes wrong below it.
    const QRegularExpressionMatch place = places.match(error);
    const int line = json.leftRef(at).count('\n') + 1;
    QVERIFY2(place.captured(1).toInt() >= line && place.captured(1).toInt() <= line + 20, qPrintable(error));
}

VIRTUAL_TIME_TEST_MAIN(ProtocolTest)
#include "tst_protocol.moc"
