#pragma once

#include "origins.h"

#include <QHash>
#include <QSize>
#include <QStringList>

/// How a piece of text looks. What has changed fades from Fresh over Recent and Fading to Plain.
enum class Style { Plain, Dim, Title, Heading, Message, Warning, Fresh, Recent, Fading, Selected, Key };

struct Span
{
    QString text;
    Style style = Style::Plain;
};

/// A line of the screen, from the left.
using Row = QVector<Span>;

/// A moment of the line and the car, as the watch shows it. All times are by now().
struct WatchState
{
    struct Frames ///< of one type
    {
        bool isFromBox;
        int type;
        FrameState state;
    };
    struct Value
    {
        KnownReading reading;
        std::chrono::nanoseconds changed; ///< 0 where it never has
    };

    std::chrono::nanoseconds time{0};
    QString source; ///< what the line leads to
    QString moment; ///< how far a capture is, whether time stands
    bool isReplay = false;
    Traffic fromBox;
    Traffic toBox;
    int frameRate = 0; ///< a second
    double load = 0;   ///< 0 to 1
    Delay acknowledgement;
    Delay announcement;
    int losses = 0;
    QString diagnosis;      ///< empty where nothing is wrong
    QVector<Frames> frames; ///< of the types that have come or gone, by direction and type
    QVector<Value> car;     ///< topic by topic
    QVector<Span> events;   ///< the oldest first, each of one line

    /// Takes over what @p link and @p car tell at this moment.
    void look(const LinkState& link, const QVector<CarState::Seen>& seen);
};

/// What somebody has chosen to see of it, by keys.
class WatchView
{
public:
    /// What a key asks of the session.
    enum Wish { Nothing, Pause, Step, Faster, Slower, Quit };

    /// @p key is a Unicode character, or a Qt::Key that has none; @p state and @p size are what is shown.
    Wish press(int key, const WatchState& state, QSize size);

    bool isAscii = false; ///< the terminal can show nothing else

private:
    friend class WatchPicture;
    enum Sort { ByType, ByName, ByCount, ByChange };

    void type(int key);
    void notch(const WatchState& state);
    static Wish wishOf(int key);

    QString m_filter;
    bool m_isTyping = false; // the filter
    Sort m_sort = ByType;
    int m_topic = 0; // 0 for what has changed last, else a topic, counted from 1
    int m_first = 0; // shown of the frames
    int m_value = 0; // first row of the car
    bool m_showsHelp = false;
    QHash<int, QByteArray> m_notched; // by direction and type: the bits of each byte that are known to change
};

/// The screen of @p size. Depends on nothing else.
QVector<Row> watchRows(const WatchState& state, const WatchView& view, QSize size);
