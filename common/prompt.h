#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <QStringList>
#include <QTimer>

#include <cwchar>
#include <functional>
#include <memory>
#include <string>

struct editline; // of libedit, as historyW is
struct historyW;
class QTextDecoder;

/// What a word of a command can be, by the words @p before it.
using Candidates = std::function<QStringList(const QStringList& before)>;

/// A line that is edited at the terminal, with the history of those before and completion. What printLine()
/// writes meanwhile comes to stand above it.
class Prompt : public QObject
{
    Q_OBJECT

public:
    /// Whether standard input and output are a terminal, and this program is the one that it belongs to now.
    static bool isPossible();

    explicit Prompt(Candidates candidates);
    ~Prompt() override;

    /// Shows the prompt, until a line is entered.
    void ask();
    /// Takes the prompt away, and keeps what is typed.
    void rest();
    /// Takes away what is typed. @return whether there was something
    bool discard();

signals:
    void entered(const QString& line);
    /// The input is over.
    void ended();

private:
    static Prompt& of(editline* line);
    static int takeKey(editline* line, wchar_t* key);
    static wchar_t* text(editline* line);
    static unsigned char complete(editline* line, wint_t key);
    static unsigned char toggle(editline* line, wint_t key);
    void bindKeys();
    void read();
    void handleKeys();
    void handle(const std::wstring& keys);
    void handleSignal(int number);
    void enter(const QString& line);
    void end();
    void hide();
    void show();
    unsigned char complete();
    void toggle();
    void setProgress(const QString& progress);

    const Candidates m_candidates;
    editline* m_line;
    historyW* m_history;
    std::unique_ptr<QTextDecoder> m_decoder;
    QSocketNotifier m_input;
    std::unique_ptr<QSocketNotifier> m_signals;
    QTimer m_background;    // while the terminal belongs to another program
    std::wstring m_keys;    // are not handled yet
    std::wstring m_handled; // by the editor: what is left of them
    std::wstring m_prompt;  // as it is shown
    QString m_progress;     // stands in front of it
    std::wstring m_typed;   // while it is not shown
    int m_behindCursor = 0; // so many characters of it
    bool m_isAsking = false;
    bool m_isShown = false;
};
