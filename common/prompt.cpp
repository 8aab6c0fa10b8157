#include "prompt.h"

#include "note.h"
#include "process.h"
#include "words.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTextCodec>

#include <algorithm>
#include <array>
#include <csignal>
#include <histedit.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr int MostRemembered = 500;                       // lines
constexpr std::chrono::milliseconds LookForTerminal{500}; // from the background
constexpr wchar_t Escape = L'\033';
constexpr wchar_t EndOfInput = L'\004';
constexpr wchar_t ToggleKey[] = L"\033[999~"; // a key that no terminal has

struct Key
{
    const wchar_t* key;
    const wchar_t* function;
};

// Beside libedit's own. Its search, and its commands by name, wait for each key in themselves, in which time
// nothing else would happen.
constexpr Key boundKeys[] = {
    {L"^I", L"complete-word"},          {ToggleKey, L"toggle-prompt"},   {L"^R", L"ed-search-prev-history"},
    {L"^S", L"ed-search-next-history"}, {L"^W", L"ed-delete-prev-word"}, {L"\\ex", L"ed-unassigned"},
    {L"\\eX", L"ed-unassigned"},        {L"\\e[H", L"ed-move-to-beg"},   {L"\\e[1~", L"ed-move-to-beg"},
    {L"\\e[F", L"ed-move-to-end"},      {L"\\e[4~", L"ed-move-to-end"},  {L"\\e[3~", L"ed-delete-next-char"},
    {L"\\e[1;5C", L"em-next-word"},     {L"\\e[1;5D", L"ed-prev-word"},
};

bool isForeground()
{
    return tcgetpgrp(STDIN_FILENO) == getpgrp();
}

// How many characters are the first key; 0 while more of it has to come.
size_t firstKey(const std::wstring& typed)
{
    constexpr std::wstring_view Prefixes = L"\033\026\030"; // the next key belongs to them
    if (typed.empty() || Prefixes.find(typed[0]) == std::wstring_view::npos)
        return typed.empty() ? 0 : 1;
    if (typed.size() < 2)
        return 0;
    if (typed[0] != Escape || (typed[1] != L'[' && typed[1] != L'O'))
        return 2;
    const auto isLast = [](wchar_t c) { return c >= L'@' && c <= L'~'; };
    const auto last = std::find_if(typed.begin() + 2, typed.end(), isLast);
    return last == typed.end() ? 0 : static_cast<size_t>(last - typed.begin()) + 1;
}

// Of a sequence that it does not know, as of a function key, libedit would insert the end.
bool isKnown(const std::wstring& key)
{
    const auto isIt = [&key](const Key& row) {
        return key.compare(1, std::wstring::npos, row.key + 2) == 0;
    }; // behind \e
    return key.size() <= 3 || std::any_of(std::begin(boundKeys), std::end(boundKeys), isIt);
}

QString historyFile()
{
    const QString state = qEnvironmentVariable("XDG_STATE_HOME");
    const QDir folder(QDir::isAbsolutePath(state) ? state : QDir::home().filePath(".local/state"));
    return folder.filePath(QCoreApplication::applicationName() + "/history");
}

// The lines of before, oldest first. The file is for the user's own eyes; it is cut when it has grown twice
// as long.
QStringList rememberedLines()
{
    QFile file(historyFile());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList lines = QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
    file.close();
    const bool isLong = lines.size() > 2 * MostRemembered;
    lines = lines.mid(std::max(lines.size() - MostRemembered, 0));
    if (isLong && file.open(QIODevice::WriteOnly))
        file.write((lines.join('\n') + '\n').toUtf8());
    return lines;
}

// Where that cannot be, the line is in the history of this session only.
void remember(const QString& line)
{
    QFile file(historyFile());
    const bool isNew = !file.exists();
    QDir().mkpath(QFileInfo(file).path());
    if (!file.open(QIODevice::Append))
        return;
    if (isNew)
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    file.write(line.toUtf8() + '\n');
}

QString commonBeginning(const QStringList& words)
{
    QString begin = words.constFirst();
    for (const QString& word : words)
        while (!word.startsWith(begin))
            begin.chop(1);
    return begin;
}

// The words in rows that the terminal holds.
QString inRows(const QStringList& words)
{
    winsize size{};
    ioctl(STDOUT_FILENO, TIOCGWINSZ, &size);
    QString rows;
    int column = 0;
    for (const QString& word : words) {
        const bool fits = column + word.size() < size.ws_col;
        rows += column == 0 ? "" : fits ? "  " : "\n";
        column = word.size() + 2 + (fits ? column : 0);
        rows += word;
    }
    return rows;
}

} // namespace

bool Prompt::isPossible()
{
    return isatty(STDIN_FILENO) && isatty(STDOUT_FILENO) && isForeground();
}

Prompt::Prompt(Candidates candidates)
    : m_candidates(std::move(candidates))
    , m_line(el_init("", stdin, stdout, stderr))
    , m_history(history_winit())
    , m_decoder(QTextCodec::codecForName("UTF-8")->makeDecoder())
    , m_input(STDIN_FILENO, QSocketNotifier::Read)
    , m_signals(
          std::make_unique<QSocketNotifier>(takeOverSignals({SIGWINCH, SIGTSTP}), QSocketNotifier::Read))
{
    static_cast<void>(std::signal(SIGTTOU, SIG_IGN)); // in the background, the terminal is still put in order
    HistEventW event{};
    history_w(m_history, &event, H_SETSIZE, MostRemembered);
    history_w(m_history, &event, H_SETUNIQUE, 1);
    for (const QString& line : rememberedLines())
        history_w(m_history, &event, H_ENTER, line.toStdWString().c_str());
    el_wset(m_line, EL_CLIENTDATA, this);
    el_wset(m_line, EL_PROMPT, &Prompt::text);
    el_wset(m_line, EL_GETCFN, &Prompt::takeKey);
    el_wset(m_line, EL_HIST, history_w, m_history);
    bindKeys();
    m_input.setEnabled(false);
    m_background.setSingleShot(true);
    connect(&m_background, &QTimer::timeout, this, &Prompt::ask);
    connect(&m_input, &QSocketNotifier::activated, this, &Prompt::read);
    connect(m_signals.get(), &QSocketNotifier::activated, this,
            [this](int descriptor) { handleSignal(takeSignal(descriptor)); });
    beforeLine = [this] { hide(); };
    insteadOfProgress = [this](const QString& progress) { setProgress(progress); };
}

Prompt::~Prompt()
{
    rest();
    beforeLine = [] {};
    insteadOfProgress = nullptr;
    el_end(m_line);
    history_wend(m_history);
    close(static_cast<int>(m_signals->socket()));
}

void Prompt::bindKeys()
{
    el_wset(m_line, EL_EDITOR, L"emacs");
    el_wset(m_line, EL_ADDFN, L"complete-word", L"completes a word",
            static_cast<unsigned char (*)(editline*, wint_t)>(&Prompt::complete));
    el_wset(m_line, EL_ADDFN, L"toggle-prompt", L"takes the prompt away, or shows it",
            static_cast<unsigned char (*)(editline*, wint_t)>(&Prompt::toggle));
    for (const Key& row : boundKeys)
        el_wset(m_line, EL_BIND, row.key, row.function, nullptr);
}

Prompt& Prompt::of(editline* line)
{
    void* prompt = nullptr;
    el_wget(line, EL_CLIENTDATA, &prompt);
    return *static_cast<Prompt*>(prompt);
}

wchar_t* Prompt::text(editline* line)
{
    return of(line).m_prompt.data();
}

int Prompt::takeKey(editline* line, wchar_t* key)
{
    std::wstring& handled = of(line).m_handled;
    if (handled.empty())
        return 0;
    *key = handled.front();
    handled.erase(0, 1);
    return 1;
}

unsigned char Prompt::complete(editline* line, wint_t)
{
    return of(line).complete();
}

unsigned char Prompt::toggle(editline* line, wint_t)
{
    of(line).toggle();
    return CC_REFRESH;
}

void Prompt::ask()
{
    if (m_isAsking)
        return;
    if (!isForeground())
        return m_background.start(LookForTerminal);
    m_isAsking = true;
    el_wset(m_line, EL_UNBUFFERED, 1);
    show();
    m_input.setEnabled(true);
    QMetaObject::invokeMethod(this, &Prompt::handleKeys, Qt::QueuedConnection);
}

void Prompt::rest()
{
    m_background.stop();
    if (!m_isAsking)
        return;
    hide();
    m_input.setEnabled(false);
    m_isAsking = false;
    el_wset(m_line, EL_UNBUFFERED, 0);
}

void Prompt::hide()
{
    if (!m_isShown)
        return;
    handle(ToggleKey);
    QMetaObject::invokeMethod(this, &Prompt::show, Qt::QueuedConnection);
}

void Prompt::show()
{
    if (m_isAsking && !m_isShown && isForeground())
        handle(ToggleKey);
}

// Takes prompt and typed text off the line, or puts them there. libedit then brings the terminal up to date.
void Prompt::toggle()
{
    m_isShown = !m_isShown;
    if (m_isShown) {
        m_prompt = (m_progress + QCoreApplication::applicationName() + "> ").toStdWString();
        el_winsertstr(m_line, m_typed.c_str());
        el_cursor(m_line, -m_behindCursor);
        return;
    }
    m_prompt.clear();
    const LineInfoW* line = el_wline(m_line);
    m_typed.assign(line->buffer, line->lastchar);
    m_behindCursor = static_cast<int>(line->lastchar - line->cursor);
    el_cursor(m_line, m_behindCursor);
    el_wdeletestr(m_line, static_cast<int>(m_typed.size()));
}

bool Prompt::discard()
{
    hide();
    return m_isAsking && !std::exchange(m_typed, {}).empty();
}

void Prompt::setProgress(const QString& progress)
{
    hide();
    m_progress = progress.isEmpty() ? QString() : '(' + progress + ") ";
}

void Prompt::read()
{
    std::array<char, 4096> buffer{};
    const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count <= 0)
        return end();
    m_keys += m_decoder->toUnicode(buffer.data(), static_cast<int>(count)).toStdWString();
    handleKeys();
}

void Prompt::handleKeys()
{
    for (size_t size = firstKey(m_keys); m_isAsking && size > 0; size = firstKey(m_keys)) {
        const std::wstring key = m_keys.substr(0, size);
        m_keys.erase(0, size);
        show();
        if (isKnown(key))
            handle(key);
    }
}

// Lets libedit work on @p keys.
void Prompt::handle(const std::wstring& keys)
{
    m_handled = keys;
    int count = 0;
    const wchar_t* line = el_wgets(m_line, &count);
    m_handled.clear();
    if (!line || count < 1)
        return;
    if (line[count - 1] == L'\n')
        enter(QString::fromWCharArray(line, count - 1));
    else if (count == 1 && line[0] == EndOfInput)
        end();
}

void Prompt::enter(const QString& line)
{
    m_isShown = false; // the line stays above
    m_typed.clear();
    m_behindCursor = 0;
    rest();
    if (!line.trimmed().isEmpty()) {
        HistEventW event{};
        history_w(m_history, &event, H_ENTER, line.toStdWString().c_str());
        remember(line);
    }
    emit entered(line);
}

void Prompt::end()
{
    rest();
    emit ended();
}

void Prompt::handleSignal(int number)
{
    if (number == SIGTSTP) {
        const bool wasAsking = m_isAsking;
        rest();
        static_cast<void>(std::raise(SIGSTOP));
        if (wasAsking)
            ask();
    }
    el_resize(m_line);
    if (number == SIGWINCH && m_isShown) {
        static_cast<void>(std::fputc('\r', stdout));
        el_wset(m_line, EL_REFRESH);
    }
}

unsigned char Prompt::complete()
{
    const LineInfoW* line = el_wline(m_line);
    const QString typed =
        QString::fromWCharArray(line->buffer, static_cast<int>(line->cursor - line->buffer));
    QStringList before = wordsOf(typed);
    const bool isBegun = !before.isEmpty() && !typed.back().isSpace();
    const QString word = isBegun ? before.takeLast() : QString();
    QStringList fitting;
    for (const QString& candidate : m_candidates(before)) {
        if (candidate.startsWith(word))
            fitting.append(candidate);
    }
    fitting.removeDuplicates();
    if (fitting.isEmpty())
        return CC_ERROR;
    const bool isWhole = fitting.size() == 1 && !fitting[0].endsWith('='); // else a value follows
    const QString rest = commonBeginning(fitting).mid(word.size()) + (isWhole ? " " : "");
    if (!rest.isEmpty()) {
        el_winsertstr(m_line, rest.toStdWString().c_str());
        return CC_REFRESH;
    }
    const auto list = [rows = inRows(fitting)] { printLine(stdout, rows); };
    QMetaObject::invokeMethod(this, list, Qt::QueuedConnection); // the line is in libedit's hands now
    return CC_NORM;
}
