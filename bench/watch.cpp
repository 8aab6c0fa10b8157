#include "watch.h"

#include "description.h"

#include <algorithm>

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

namespace {

constexpr int TitleRows = 1;
constexpr int LinkRows = 4;
constexpr int BarRows = 1;
constexpr int Headings = 3;      // of frames, car and events
constexpr int MostDiagnosis = 2; // rows
constexpr int ValueWidth = 40;   // a value's name and the value
constexpr int NameWidth = 24;    // of these the name
constexpr int BytesColumn = 46;  // where the bytes of a frame begin
constexpr int LongestFilter = 30;

struct HelpLine
{
    const char* keys;
    const char* text;
};

constexpr HelpLine helpLines[] = {
    {"Space", "lets the picture stand, or on a capture its time, and go on"},
    {"Right", "plays the next frame of a capture, then stands"},
    {"+ -", "plays a capture faster, or slower"},
    {"/", "shows only frames and values with what is typed in their name"},
    {"n", "notches the bits that have changed so far: they light no more"},
    {"s", "sorts the frames by type, name, count or last change"},
    {"t, Tab", "shows the next topic of the car, or what has changed last"},
    {"Up Down Home End", "scrolls the frames; PgUp and PgDn scroll the car"},
    {"F1, ?", "shows this help, or takes it away"},
    {"q", "quits"},
    {"", ""},
    {"rx", "what the head unit receives from the box; tx: what it sends"},
    {"/s", "frames in the last full second"},
    {"age", "the time since the last one; bytes: what it carries"},
    {"answers", "how long after the bytes the head unit has acknowledged them"},
    {"signals", "how long after the bytes it has announced what they say"},
};

constexpr HelpLine barKeys[] = {{"Space", "pause"}, {"→", "step"},  {"+-", "speed"},
                                {"/", "filter"},    {"n", "notch"}, {"s", "sort"},
                                {"t", "topic"},     {"?", "help"},  {"q", "quit"}};

constexpr const char* sorts[] = {"type", "name", "count", "change"};

QString fitted(const QString& text, int width)
{
    return text.size() <= width ? text : text.left(std::max(width - 1, 0)) + (width > 0 ? "…" : "");
}

// A row that grows from the left and ends at the screen's edge.
class Line
{
public:
    explicit Line(int width)
        : m_width(width)
    {
    }

    Line& add(const QString& text, Style style = Style::Plain)
    {
        const QString part = fitted(text, room());
        m_used += part.size();
        if (!m_row.isEmpty() && m_row.last().style == style)
            m_row.last().text += part;
        else if (!part.isEmpty())
            m_row.append({part, style});
        return *this;
    }
    Line& number(quint64 number, int width, Style style = Style::Plain)
    {
        return add(QString::number(number).rightJustified(width), style);
    }
    // Blanks up to @p column.
    Line& to(int column, Style style = Style::Plain)
    {
        return add(QString(std::max(std::min(column, m_width) - m_used, 0), ' '), style);
    }
    // At the right edge, where there is room.
    Line& atEnd(const QString& text, Style style = Style::Plain)
    {
        return text.size() > room() ? *this : to(m_width - text.size(), style).add(text, style);
    }
    int room() const { return m_width - m_used; }
    operator Row() const { return m_row; }

private:
    const int m_width;
    int m_used = 0;
    Row m_row;
};

QString milliseconds(nanoseconds time)
{
    return QString::number(std::chrono::duration<double, std::milli>(time).count(), 'f', 3);
}

QString ageOf(nanoseconds age)
{
    const double seconds = std::chrono::duration<double>(age).count();
    if (seconds < 100)
        return QString::number(seconds, 'f', 1) + " s";
    return seconds < 6000 ? QString("%1 min").arg(age / 1min) : QString("%1 h").arg(age / 1h);
}

Style styleOf(nanoseconds changed, nanoseconds now)
{
    const nanoseconds age = now - changed;
    if (changed.count() == 0 || age > 6s)
        return Style::Plain;
    return age <= 1s ? Style::Fresh : age <= 3s ? Style::Recent : Style::Fading;
}

QString nameOf(int type)
{
    const protocol::Frame* frame = protocol::Description::standard().frame(static_cast<unsigned char>(type));
    return frame ? protocol::toString(frame->name) : "unknown";
}

int keyOf(const WatchState::Frames& frames)
{
    return frames.type + (frames.isFromBox ? 0 : 256);
}

// What no frame has carried is no fact.
bool isKnown(const WatchState::Value& value)
{
    return value.reading.time || !value.reading.isCarried;
}

// When a bit of the byte that is not among @p notched last changed.
nanoseconds changeOf(const std::array<nanoseconds, 8>& bits, unsigned notched = 0)
{
    nanoseconds last{0};
    for (unsigned bit = 0; bit < bits.size(); ++bit) {
        if ((notched >> bit & 1) == 0)
            last = std::max(last, bits[bit]);
    }
    return last;
}

nanoseconds lastChange(const FrameState& frame)
{
    nanoseconds last{0};
    for (const auto& bits : frame.changes)
        last = std::max(last, changeOf(bits));
    return last;
}

// Rows of whole words.
QStringList wrapped(const QString& text, int width, int most)
{
    QStringList rows;
    QString rest = text;
    while (!rest.isEmpty() && rows.size() < most) {
        const int blank = rest.size() > width ? rest.lastIndexOf(' ', width) : rest.size();
        const bool isLast = rows.size() + 1 == most || blank <= 0;
        rows.append(isLast ? rest : rest.left(blank));
        rest = isLast ? QString() : rest.mid(blank + 1);
    }
    return rows;
}

// What a terminal shows in one column.
QString shown(QString text, bool isAscii)
{
    static const QHash<ushort, char> likenesses{
        {u'…', '~'}, {u'→', '>'}, {u'℃', 'C'}, {u'℉', 'F'}, {u'°', 'o'}};
    for (QChar& character : text) {
        if (isAscii && character.unicode() > '~')
            character = QChar(likenesses.value(character.unicode(), '?'));
        else if (!character.isPrint())
            character = '?';
    }
    return text;
}

} // namespace

// Makes the rows of one picture.
class WatchPicture
{
public:
    WatchPicture(const WatchState& state, const WatchView& view, QSize size);

    QVector<Row> rows() const;

    // How far the panes can be scrolled.
    int lastFirst() const { return std::max(m_frames.size() - m_frameRows, 0); }
    int lastValue() const { return std::max((m_values.size() - 1) / m_columns + 1 - m_carRows, 0); }

private:
    bool matches(const QString& name) const { return name.contains(m_view.m_filter, Qt::CaseInsensitive); }
    void chooseFrames();
    void chooseValues();
    void share(int rows);

    Row title() const;
    QVector<Row> link() const;
    Row traffic(const char* name, const Traffic& traffic, const QString& now) const;
    Row frameHeading() const;
    Row frame(const WatchState::Frames& frames) const;
    void addBytes(Line& line, const WatchState::Frames& frames) const;
    Row carHeading() const;
    Row values(int row) const;
    QVector<Row> panes() const;
    QVector<Row> helpRows() const;
    Row keys() const;
    Line line() const { return Line(m_size.width()); }

    const WatchState& m_state;
    const WatchView& m_view;
    const QSize m_size;
    const QStringList m_topics = CarState::topics();
    const QStringList m_diagnosis;
    const int m_columns; // of values
    QVector<const WatchState::Frames*> m_frames;
    QVector<const WatchState::Value*> m_values;
    int m_frameRows = 0;
    int m_carRows = 0;
    int m_eventRows = 0;
};

WatchPicture::WatchPicture(const WatchState& state, const WatchView& view, QSize size)
    : m_state(state)
    , m_view(view)
    , m_size(size)
    , m_diagnosis(wrapped(state.diagnosis, size.width(), MostDiagnosis))
    , m_columns(std::max(size.width() / ValueWidth, 1))
{
    chooseFrames();
    chooseValues();
    share(std::max(size.height() - TitleRows - LinkRows - Headings - BarRows - m_diagnosis.size(), 0));
}

void WatchPicture::chooseFrames()
{
    for (const WatchState::Frames& frames : m_state.frames) {
        if (matches(nameOf(frames.type)))
            m_frames.append(&frames);
    }
    const auto sortBy = [this](const auto& value) {
        std::stable_sort(m_frames.begin(), m_frames.end(),
                         [&value](const auto* a, const auto* b) { return value(*a) < value(*b); });
    };
    switch (m_view.m_sort) {
    case WatchView::ByType:
        break;
    case WatchView::ByName:
        sortBy([](const auto& frames) { return nameOf(frames.type); });
        break;
    case WatchView::ByCount:
        sortBy([](const auto& frames) { return ~frames.state.count; });
        break;
    case WatchView::ByChange:
        sortBy([](const auto& frames) { return -lastChange(frames.state).count(); });
        break;
    }
}

// What is known of a topic; or of all, what has changed last first.
void WatchPicture::chooseValues()
{
    const QString topic = m_topics.value(m_view.m_topic - 1);
    for (const WatchState::Value& value : m_state.car) {
        const bool isChosen = topic.isEmpty() ? isKnown(value) : value.reading.topic == topic;
        if (isChosen && (matches(value.reading.name) || matches(value.reading.topic)))
            m_values.append(&value);
    }
    if (topic.isEmpty())
        std::stable_sort(m_values.begin(), m_values.end(),
                         [](const auto* a, const auto* b) { return a->changed > b->changed; });
}

// A topic that is chosen takes what it needs, but for a few rows.
void WatchPicture::share(int rows)
{
    constexpr int Least = 5; // of the other two
    const int share = (rows + 2) / 4;
    const int wanted = m_view.m_topic == 0 ? share : (m_values.size() + m_columns - 1) / m_columns;
    m_carRows = std::min(std::max(wanted, share), std::max(rows - Least, share));
    m_eventRows = (rows - m_carRows) / 3;
    m_frameRows = rows - m_carRows - m_eventRows;
}

QVector<Row> WatchPicture::rows() const
{
    QVector<Row> rows{title()};
    rows += m_view.m_showsHelp ? helpRows() : link() + panes();
    rows.resize(std::max(m_size.height() - BarRows, 0));
    rows.append(keys());
    rows.resize(m_size.height());
    for (Row& row : rows) {
        for (Span& span : row)
            span.text = shown(span.text, m_view.isAscii);
    }
    return rows;
}

Row WatchPicture::title() const
{
    const QString moment = m_state.moment + ' ';
    Line left(std::max(m_size.width() - moment.size() - 1, 0)); // what runs on is cut, not the time
    left.add(" canbench  " + m_state.source, Style::Title).to(m_size.width(), Style::Title);
    Row row = left;
    row.append({fitted(' ' + moment, m_size.width()), Style::Title});
    return row;
}

Row WatchPicture::traffic(const char* name, const Traffic& traffic, const QString& now) const
{
    const auto alarm = [](quint64 count) { return count > 0 ? Style::Warning : Style::Plain; };
    return line()
        .add(QString(name).leftJustified(9))
        .number(traffic.bytes, 11)
        .number(traffic.frames, 10)
        .number(traffic.badFrames, 7, alarm(traffic.badFrames))
        .number(traffic.dropped, 9, alarm(traffic.dropped))
        .number(traffic.acknowledgements, 9)
        .number(traffic.rejections, 9, alarm(traffic.rejections))
        .add(now);
}

QVector<Row> WatchPicture::link() const
{
    const auto delay = [](const char* name, const Delay& of) {
        return QString("%1 %2 ms (max %3)  ").arg(name, milliseconds(of.last), milliseconds(of.longest));
    };
    const QString now = QString("%1%2 %").arg(m_state.frameRate, 6).arg(100 * m_state.load, 6, 'f', 0);
    QVector<Row> rows{
        line()
            .add("line           bytes    frames    bad  dropped     acks  rejects", Style::Heading)
            .add("    /s    load", Style::Heading)
            .to(m_size.width(), Style::Heading),
        traffic("from box", m_state.fromBox, now), traffic("to box", m_state.toBox, {}),
        line()
            .add(delay("answers", m_state.acknowledgement) + delay("signals", m_state.announcement))
            .atEnd(QString("losses: %1").arg(m_state.losses),
                   m_state.losses > 0 ? Style::Warning : Style::Plain)};
    for (const QString& text : m_diagnosis)
        rows.append(line().add(text, Style::Warning));
    return rows;
}

Row WatchPicture::frameHeading() const
{
    const int first = std::min(m_view.m_first, lastFirst());
    const int last = std::min(first + m_frameRows, m_frames.size());
    const QString part =
        m_frames.isEmpty() ? QString() : QString("%1-%2 of %3").arg(first + 1).arg(last).arg(m_frames.size());
    const QString filter = m_view.m_filter.isEmpty() ? QString() : QString("\"%1\" ").arg(m_view.m_filter);
    return line()
        .add(QString("frames by %1").arg(sorts[m_view.m_sort]).leftJustified(26), Style::Heading)
        .add("count   /s     age  bytes ", Style::Heading)
        .atEnd(filter + part, Style::Heading)
        .to(m_size.width(), Style::Heading);
}

Row WatchPicture::frame(const WatchState::Frames& frames) const
{
    const FrameState& state = frames.state;
    Line row = line();
    row.add(frames.isFromBox ? "rx " : "tx ")
        .add(QString::number(frames.type, 16).rightJustified(2, '0').toUpper() + ' ')
        .add(nameOf(frames.type).leftJustified(17))
        .number(state.count, 8)
        .number(static_cast<quint64>(state.rate(m_state.time)), 5)
        .add(ageOf(m_state.time - state.time).rightJustified(8))
        .to(BytesColumn);
    addBytes(row, frames);
    return row;
}

// As many as there is room for, and how many more there are.
void WatchPicture::addBytes(Line& line, const WatchState::Frames& frames) const
{
    const QByteArray& payload = frames.state.payload;
    const QByteArray notched = m_view.m_notched.value(keyOf(frames));
    const bool isWhole = 3 * payload.size() - 1 <= line.room();
    const int count = isWhole ? payload.size() : std::max((line.room() - 4) / 3, 0);
    for (int byte = 0; byte < count; ++byte) {
        const auto at = static_cast<size_t>(byte);
        const auto known = static_cast<unsigned char>(byte < notched.size() ? notched[byte] : 0);
        const nanoseconds changed =
            at < frames.state.changes.size() ? changeOf(frames.state.changes[at], known) : nanoseconds(0);
        line.add(payload.mid(byte, 1).toHex().toUpper(), styleOf(changed, m_state.time));
        if (byte + 1 < payload.size())
            line.add(" ");
    }
    if (!isWhole)
        line.add(QString("+%1").arg(payload.size() - count), Style::Dim);
}

// The topics, those with changes marked; at the right edge as many as there is room for behind the chosen
// one.
Row WatchPicture::carHeading() const
{
    const QStringList names = QStringList("latest") + m_topics;
    const auto endOf = [&names](int first, int last) {
        return names.mid(first, last - first + 1).join(' ').size();
    };
    int first = 0;
    Line row = line();
    row.add("car  ", Style::Heading);
    while (first < m_view.m_topic && endOf(first, m_view.m_topic) > row.room() - 1)
        ++first;
    for (int i = first; i < names.size() && names[i].size() < row.room(); ++i) {
        nanoseconds changed{0};
        for (const WatchState::Value& value : m_state.car)
            changed = value.reading.topic == names[i] ? std::max(changed, value.changed) : changed;
        const Style style = styleOf(changed, m_state.time);
        const Style usual = style == Style::Plain ? Style::Heading : style;
        row.add(names[i], i == m_view.m_topic ? Style::Selected : usual).add(" ", Style::Heading);
    }
    return row.to(m_size.width(), Style::Heading);
}

Row WatchPicture::values(int row) const
{
    const int width = m_size.width() / m_columns;
    Line line(m_size.width());
    for (int column = 0; column < m_columns; ++column) {
        const int at = (std::min(m_view.m_value, lastValue()) + row) * m_columns + column;
        if (at >= m_values.size())
            break;
        const WatchState::Value& value = *m_values[at];
        line.to(column * width)
            .add(fitted(value.reading.name, NameWidth - 1).leftJustified(NameWidth))
            .add(fitted(isKnown(value) ? value.reading.text() : "-", width - NameWidth - 1),
                 isKnown(value) ? styleOf(value.changed, m_state.time) : Style::Dim);
    }
    return line;
}

QVector<Row> WatchPicture::panes() const
{
    QVector<Row> rows{frameHeading()};
    const int first = std::min(m_view.m_first, lastFirst());
    for (int row = 0; row < m_frameRows; ++row)
        rows.append(first + row < m_frames.size() ? frame(*m_frames[first + row]) : Row());
    rows.append(carHeading());
    for (int row = 0; row < m_carRows; ++row)
        rows.append(values(row));
    rows.append(line().add("events", Style::Heading).to(m_size.width(), Style::Heading));
    for (const Span& event : m_state.events.mid(std::max(m_state.events.size() - m_eventRows, 0)))
        rows.append(line().add(event.text, event.style));
    return rows;
}

QVector<Row> WatchPicture::helpRows() const
{
    QVector<Row> rows{Row()};
    for (const HelpLine& of : helpLines)
        rows.append(line().add(' ' + QString(of.keys).leftJustified(17), Style::Heading).add(of.text));
    return rows;
}

Row WatchPicture::keys() const
{
    Line row = line();
    if (m_view.m_isTyping)
        return row.add(" filter: " + m_view.m_filter)
            .add("_  ")
            .add("Return", Style::Key)
            .add(" takes it ")
            .add("Esc", Style::Key)
            .add(" drops it");
    for (const HelpLine& key : barKeys) {
        const bool isOfReplay = QString("step speed").contains(key.text);
        if (!isOfReplay || m_state.isReplay)
            row.add(key.keys, Style::Key).add(QString(' ') + key.text + ' ');
    }
    return row;
}

QVector<Row> watchRows(const WatchState& state, const WatchView& view, QSize size)
{
    return WatchPicture(state, view, size).rows();
}

void WatchState::look(const LinkState& link, const QVector<CarState::Seen>& seen)
{
    fromBox = link.fromBox();
    toBox = link.toBox();
    frameRate = link.frameRate();
    load = link.load();
    acknowledgement = link.acknowledgement();
    announcement = link.announcement();
    losses = link.losses();
    diagnosis = link.diagnosis();
    frames.clear();
    for (bool isFromBox : {true, false}) {
        const auto& types = isFromBox ? link.framesFromBox() : link.framesToBox();
        for (size_t type = 0; type < types.size(); ++type) {
            if (types[type].count > 0)
                frames.append({isFromBox, static_cast<int>(type), types[type]});
        }
    }
    QVector<Reading> readings;
    for (const CarState::Seen& value : seen)
        readings.append(value.reading);
    const QVector<KnownReading> known = withOrigins(readings, link, true);
    car.clear();
    for (int i = 0; i < known.size(); ++i) {
        if (known[i].isCarried || seen[i].changed.count() > 0)
            car.append({known[i], seen[i].changed});
    }
}

WatchView::Wish WatchView::press(int key, const WatchState& state, QSize size)
{
    if (m_isTyping) {
        type(key);
        return Nothing;
    }
    const WatchPicture picture(state, *this, size);
    switch (key) {
    case '/':
        m_isTyping = true;
        m_filter.clear();
        break;
    case 'n':
        notch(state);
        break;
    case 's':
        m_sort = static_cast<Sort>((m_sort + 1) % std::size(sorts));
        break;
    case 't':
    case Qt::Key_Tab:
        m_topic = (m_topic + 1) % (CarState::topics().size() + 1);
        m_value = 0;
        break;
    case '?':
    case Qt::Key_F1:
        m_showsHelp = !m_showsHelp;
        break;
    case Qt::Key_Up:
        m_first = std::max(m_first - 1, 0);
        break;
    case Qt::Key_Down:
        m_first = std::min(m_first + 1, picture.lastFirst());
        break;
    case Qt::Key_Home:
        m_first = 0;
        break;
    case Qt::Key_End:
        m_first = picture.lastFirst();
        break;
    case Qt::Key_PageUp:
        m_value = std::max(m_value - 1, 0);
        break;
    case Qt::Key_PageDown:
        m_value = std::min(m_value + 1, picture.lastValue());
        break;
    default:
        return wishOf(key);
    }
    return Nothing;
}

WatchView::Wish WatchView::wishOf(int key)
{
    static const QHash<int, Wish> wishes{
        {' ', Pause}, {Qt::Key_Right, Step}, {'+', Faster}, {'-', Slower}, {'q', Quit}};
    return wishes.value(key, Nothing);
}

void WatchView::type(int key)
{
    m_isTyping = key != Qt::Key_Return && key != Qt::Key_Escape;
    if (key == Qt::Key_Escape)
        m_filter.clear();
    else if (key == Qt::Key_Backspace)
        m_filter.chop(1);
    else if (key <= 0xFFFF && QChar(key).isPrint() && m_filter.size() < LongestFilter)
        m_filter.append(QChar(key));
    m_first = 0;
    m_value = 0;
}

void WatchView::notch(const WatchState& state)
{
    for (const WatchState::Frames& frames : state.frames) {
        QByteArray& known = m_notched[keyOf(frames)];
        known.resize(static_cast<int>(frames.state.changes.size()));
        for (int byte = 0; byte < known.size(); ++byte) {
            unsigned bits = 0;
            for (unsigned bit = 0; bit < 8; ++bit)
                bits |= frames.state.changes[static_cast<size_t>(byte)][bit].count() > 0 ? 1U << bit : 0;
            known[byte] = static_cast<char>(bits);
        }
    }
}
