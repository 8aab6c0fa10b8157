#pragma once

#include "prompt.h"

#include <QSocketNotifier>

#include <memory>
#include <optional>

/// Lines of text, one after the other: of a file, or of standard input as they come. Where that is a terminal
/// that somebody sits at, they are typed at a prompt.
class LineReader : public QObject
{
    Q_OBJECT

public:
    /// Takes all lines of @p text.
    void give(const QByteArray& text);

    /// Listens to standard input; @p candidates are what is completed at a prompt.
    void listen(const Candidates& candidates);
    bool isStandardInput() const { return m_notifier || m_prompt; }
    /// What comes on standard input while more is not wanted waits there.
    void wantMore(bool isWanted);
    /// No more is read.
    void close();

    /// The next line that is whole, without the blanks around it.
    std::optional<QString> take();
    /// The number of the line that was taken last, from 1.
    int number() const { return m_number; }
    /// Whether all lines are taken.
    bool isOver() const { return m_isClosed && m_bytes.isEmpty(); }

    /// Takes away what is typed of a line at the prompt. @return whether there was something
    bool discardTyped() { return m_prompt && m_prompt->discard(); }

signals:
    /// Lines have come, or their end.
    void came();

private:
    void read();

    std::unique_ptr<QSocketNotifier> m_notifier;
    std::unique_ptr<Prompt> m_prompt;
    QByteArray m_bytes;
    bool m_isClosed = false;
    int m_number = 0;
};
