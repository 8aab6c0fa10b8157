#include "watcher.h"

#include "note.h"
#include "playback.h"
#include "process.h"

#include <QCoreApplication>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <sys/timerfd.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

constexpr size_t MostEvents = 200;
constexpr int MostTold = 20;             // lines of standard error that are told again
constexpr long PicturePause = 100000000; // ns, by real time: a capture's may stand

constexpr double speeds[] = {0.1, 0.25, 0.5, 1, 2, 5, 10, 25, 50, 100, 250, 1000};

int pictureTimer()
{
    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    const itimerspec times{{0, PicturePause}, {0, PicturePause}};
    timerfd_settime(timer, 0, &times, nullptr);
    return timer;
}

// Calls @p handle when @p descriptor has something to read.
template<typename Handle> void whenReadable(int descriptor, QObject* parent, Handle handle)
{
    auto* notifier = new QSocketNotifier(descriptor, QSocketNotifier::Read, parent);
    QObject::connect(notifier, &QSocketNotifier::activated, parent, handle);
}

} // namespace

Watcher::Watcher(Workbench& bench, Report::Print& print, QString source, bool hasScript)
    : m_bench(bench)
    , m_print(print)
    , m_printBefore(print)
    , m_hasScript(hasScript)
{
    m_state.source = std::move(source);
    m_view.isAscii = m_screen->isAscii();
    print = [this](const QString& text) { addLines(text, Style::Plain); };
    insteadOfStandardError = [this](const QString& line) { takeMessage(line); };
    whenReadable(STDIN_FILENO, this, [this] { handleKeys(); });
    whenReadable(takeOverSignals({SIGWINCH}), this, [this](int descriptor) {
        takeSignal(descriptor);
        m_screen->resize();
        draw();
    });
    whenReadable(pictureTimer(), this, [this](int descriptor) {
        quint64 times = 0;
        if (read(descriptor, &times, sizeof times) > 0)
            show();
    });
}

Watcher::~Watcher()
{
    m_screen.reset();
    m_print = m_printBefore;
    insteadOfStandardError = nullptr;
    for (const QString& line : qAsConst(m_told))
        writeError(line);
}

void Watcher::addLines(const QString& text, Style style)
{
    for (const QString& line : text.split('\n')) {
        m_events.push_back({line, style});
        if (m_events.size() > MostEvents)
            m_events.pop_front();
    }
}

// Where standard error is no terminal, it goes there as ever.
void Watcher::takeMessage(const QString& line)
{
    static const bool isTerminal = isatty(STDERR_FILENO);
    addLines(line, Style::Message);
    Screen::setLastWords(line);
    if (!isTerminal) {
        std::cerr << line.toStdString() << '\n';
        return;
    }
    m_told.append(line);
    if (m_told.size() > MostTold)
        m_told.removeFirst();
}

void Watcher::stand(int code)
{
    m_code = code;
    if (m_quits)
        QCoreApplication::exit(code);
}

// A script that is under way is interrupted.
void Watcher::quit()
{
    m_quits = true;
    if (m_code)
        QCoreApplication::exit(*m_code);
    else if (m_hasScript)
        m_bench.script.interrupt();
    else
        m_bench.script.end(CleanEnd);
}

void Watcher::handleKeys()
{
    const QVector<int> keys = m_screen->takeKeys();
    for (int key : keys)
        press(key);
    if (keys.isEmpty() && !isatty(STDIN_FILENO)) // it has hung up
        quit();
    draw();
}

void Watcher::press(int key)
{
    switch (m_view.press(key, m_state, m_screen->size())) {
    case WatchView::Nothing:
        break;
    case WatchView::Pause:
        pause();
        break;
    case WatchView::Step:
        step();
        break;
    case WatchView::Faster:
        changeSpeed(true);
        break;
    case WatchView::Slower:
        changeSpeed(false);
        break;
    case WatchView::Quit:
        quit();
        break;
    }
}

void Watcher::pause()
{
    Playback* playback = m_bench.playback;
    if (!playback)
        m_stands = !m_stands;
    else if (!m_code)
        playback->isPaused() ? playback->resume() : playback->pause();
    show();
}

// The script's own waiting must not end with the step.
void Watcher::step()
{
    if (!m_bench.playback || m_code)
        return;
    if (m_hasScript)
        return note("the script works the capture; no step is taken");
    m_bench.playback->step();
}

void Watcher::changeSpeed(bool isFaster)
{
    if (!m_bench.playback || m_code)
        return;
    const double speed = m_bench.playback->speed();
    const auto* faster = std::upper_bound(std::begin(speeds), std::end(speeds), speed);
    const auto* slower = std::lower_bound(std::begin(speeds), std::end(speeds), speed);
    if (speed == 0) // as fast as the work is done
        m_bench.playback->setSpeed(isFaster ? 0 : *std::rbegin(speeds));
    else if (isFaster)
        m_bench.playback->setSpeed(faster == std::end(speeds) ? 0 : *faster);
    else if (slower != std::begin(speeds))
        m_bench.playback->setSpeed(*(slower - 1));
}

// Takes over how things are, unless the picture stands.
void Watcher::show()
{
    const Playback* playback = m_bench.playback;
    if (!m_stands) {
        m_state.time = now();
        m_state.look(m_bench.link(), m_bench.car().seen());
        m_state.events = {m_events.begin(), m_events.end()};
    }
    m_state.isReplay = playback != nullptr;
    m_state.moment = m_code     ? "ended, q quits"
                     : playback ? playback->progress()
                     : m_stands ? "paused"
                                : QString();
    draw();
}

void Watcher::draw()
{
    m_screen->show(watchRows(m_state, m_view, m_screen->size()));
}
