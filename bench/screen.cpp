#include "screen.h"

#include <csignal>
#include <cstdlib>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#define NCURSES_NOMACROS // its small names are functions then
#include <curses.h>
#include <term.h>

namespace {

constexpr int EscapeDelay = 25; // ms: what comes later belongs to no function key

struct Look
{
    Style style;
    short foreground; // of a terminal with colours, -1 for its own
    short background;
    attr_t attributes;
    attr_t monochrome; // without colours
};

constexpr Look looks[] = {
    {Style::Plain, -1, -1, A_NORMAL, A_NORMAL},
    {Style::Dim, -1, -1, A_DIM, A_DIM},
    {Style::Title, -1, -1, A_REVERSE | A_BOLD, A_REVERSE | A_BOLD},
    {Style::Heading, COLOR_CYAN, -1, A_BOLD, A_BOLD},
    {Style::Message, COLOR_CYAN, -1, A_NORMAL, A_NORMAL},
    {Style::Warning, COLOR_RED, -1, A_BOLD, A_BOLD | A_UNDERLINE},
    {Style::Fresh, COLOR_BLACK, COLOR_YELLOW, A_NORMAL, A_REVERSE},
    {Style::Recent, COLOR_YELLOW, -1, A_BOLD, A_BOLD},
    {Style::Fading, COLOR_YELLOW, -1, A_NORMAL, A_UNDERLINE},
    {Style::Selected, -1, -1, A_REVERSE, A_REVERSE},
    {Style::Key, -1, -1, A_REVERSE, A_REVERSE},
};

struct FunctionKey
{
    wint_t code;
    int key;
};

constexpr FunctionKey functionKeys[] = {
    {KEY_UP, Qt::Key_Up},        {KEY_DOWN, Qt::Key_Down},           {KEY_RIGHT, Qt::Key_Right},
    {KEY_LEFT, Qt::Key_Left},    {KEY_HOME, Qt::Key_Home},           {KEY_END, Qt::Key_End},
    {KEY_PPAGE, Qt::Key_PageUp}, {KEY_NPAGE, Qt::Key_PageDown},      {KEY_F(1), Qt::Key_F1},
    {KEY_ENTER, Qt::Key_Return}, {KEY_BACKSPACE, Qt::Key_Backspace},
};

constexpr FunctionKey controlKeys[] = {
    {'\t', Qt::Key_Tab},       {'\r', Qt::Key_Return},   {'\n', Qt::Key_Return},
    {'\b', Qt::Key_Backspace}, {127, Qt::Key_Backspace}, {27, Qt::Key_Escape},
};

template<typename Keys> int keyOf(const Keys& keys, wint_t code, int other)
{
    for (const FunctionKey& known : keys) {
        if (known.code == code)
            return known.key;
    }
    return other;
}

bool hasColours()
{
    const char* refused = std::getenv("NO_COLOR");
    return has_colors() && (!refused || !*refused);
}

attr_t attributesOf[std::size(looks)];

void prepareLooks()
{
    const bool colours = hasColours();
    if (colours) {
        start_color();
        use_default_colors();
    }
    short pair = 0;
    for (const Look& look : looks) {
        attr_t& attributes = attributesOf[static_cast<size_t>(look.style)];
        attributes = colours ? look.attributes : look.monochrome;
        if (colours && look.foreground >= 0) {
            init_pair(++pair, look.foreground, look.background);
            attributes |= static_cast<attr_t>(COLOR_PAIR(pair));
        }
    }
}

QByteArray lastWords;

constexpr int crashes[] = {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL};

// The plug-in may be one that is being worked on. The worst that can come of this is what comes without it.
void leaveCrashing(int number)
{
    endwin();
    static_cast<void>(write(STDERR_FILENO, lastWords.constData(), static_cast<size_t>(lastWords.size())) < 0);
    static_cast<void>(std::signal(number, SIG_DFL));
    static_cast<void>(std::raise(number));
}

} // namespace

QString Screen::refusal()
{
    if (!isatty(STDIN_FILENO) || !isatty(STDOUT_FILENO))
        return "a terminal on standard input and standard output";
    int error = 0;
    const bool isKnown = setupterm(nullptr, STDOUT_FILENO, &error) == OK;
    const bool canMove = isKnown && cursor_address;
    if (isKnown)
        del_curterm(cur_term);
    const QString name = QString::fromLocal8Bit(std::getenv("TERM"));
    return canMove ? QString()
                   : QString("a terminal with a cursor that can be moved; TERM is \"%1\"").arg(name);
}

void Screen::setLastWords(const QString& line)
{
    lastWords = line.toUtf8() + '\n';
}

Screen::Screen()
{
    set_escdelay(EscapeDelay);
    m_screen = newterm(nullptr, stdout, stdin);
    cbreak();
    noecho();
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    curs_set(0);
    prepareLooks();
    resize();
    for (int number : crashes)
        static_cast<void>(std::signal(number, leaveCrashing));
}

Screen::~Screen()
{
    for (int number : crashes)
        static_cast<void>(std::signal(number, SIG_DFL));
    endwin();
    delscreen(m_screen);
}

bool Screen::isAscii() const
{
    return qstrcmp(nl_langinfo(CODESET), "UTF-8") != 0;
}

QSize Screen::size() const
{
    return {getmaxx(stdscr), getmaxy(stdscr)};
}

void Screen::resize()
{
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 && size.ws_col > 0)
        resizeterm(size.ws_row, size.ws_col);
}

void Screen::show(const QVector<Row>& rows)
{
    erase();
    for (int y = 0; y < rows.size(); ++y) {
        move(y, 0);
        for (const Span& span : rows[y]) {
            attrset(static_cast<int>(attributesOf[static_cast<size_t>(span.style)]));
            addwstr(span.text.toStdWString().c_str());
        }
    }
    refresh();
}

QVector<int> Screen::takeKeys()
{
    QVector<int> keys;
    wint_t code = 0;
    for (int kind = get_wch(&code); kind != ERR; kind = get_wch(&code))
        keys.append(kind == KEY_CODE_YES ? keyOf(functionKeys, code, Qt::Key_unknown)
                                         : keyOf(controlKeys, code, static_cast<int>(code)));
    return keys;
}
