#pragma once

#include "watch.h"

#include <memory>

struct screen; // of curses

/// The terminal as a screen of rows. It is itself again when this goes, and when the process crashes.
class Screen
{
public:
    /// Why there can be none; empty where there can.
    static QString refusal();
    /// What is written on standard error behind a crash.
    static void setLastWords(const QString& line);

    Screen();
    ~Screen();
    Q_DISABLE_COPY(Screen)

    /// Whether it shows ASCII only, since the locale has no UTF-8.
    bool isAscii() const;
    QSize size() const;
    /// Takes over the size that the terminal has now.
    void resize();
    void show(const QVector<Row>& rows);
    /// Takes the keys that were pressed, as WatchView::press() wants them.
    QVector<int> takeKeys();

private:
    screen* m_screen;
};
