#pragma once

#include "screen.h"
#include "workbench.h"

#include <QObject>
#include <QSocketNotifier>

#include <deque>
#include <optional>

/// Shows a session on the terminal while it lasts, and until somebody has seen its end. What is told
/// meanwhile is among the events; what stood on standard error is told again when the terminal is itself
/// again.
class Watcher : public QObject
{
    Q_OBJECT

public:
    /// @p source is what the line leads to, @p hasScript whether commands come from a file. While this lives,
    /// @p print is replaced. All outlive this.
    Watcher(Workbench& bench, Report::Print& print, QString source, bool hasScript);
    ~Watcher() override;

    /// The script has ended: the picture stands until quit(), which ends the program with @p code.
    void stand(int code);
    void quit();

private:
    void addLines(const QString& text, Style style);
    void takeMessage(const QString& line);
    void handleKeys();
    void press(int key);
    void pause();
    void changeSpeed(bool isFaster);
    void step();
    void show();
    void draw();

    Workbench& m_bench;
    Report::Print& m_print;
    const Report::Print m_printBefore;
    const bool m_hasScript;
    std::optional<Screen> m_screen{std::in_place};
    WatchState m_state;
    WatchView m_view;
    std::deque<Span> m_events;
    QStringList m_told;    // on standard error
    bool m_stands = false; // the picture
    bool m_quits = false;
    std::optional<int> m_code; // of a script that has ended
};
