#include "linereader.h"

#include <array>
#include <unistd.h>

void LineReader::give(const QByteArray& text)
{
    m_bytes += text;
    m_isClosed = true;
}

void LineReader::listen(const Candidates& candidates)
{
    if (!Prompt::isPossible()) {
        m_notifier = std::make_unique<QSocketNotifier>(STDIN_FILENO, QSocketNotifier::Read);
        connect(m_notifier.get(), &QSocketNotifier::activated, this, &LineReader::read);
        return;
    }
    m_prompt = std::make_unique<Prompt>(candidates);
    connect(m_prompt.get(), &Prompt::entered, this, [this](const QString& line) {
        m_bytes += line.toUtf8() + '\n';
        emit came();
    });
    connect(m_prompt.get(), &Prompt::ended, this, [this] {
        m_isClosed = true;
        emit came();
    });
    m_prompt->ask();
}

void LineReader::wantMore(bool isWanted)
{
    if (m_notifier)
        m_notifier->setEnabled(isWanted && !m_isClosed);
    if (m_prompt)
        isWanted && !m_isClosed ? m_prompt->ask() : m_prompt->rest();
}

void LineReader::close()
{
    m_isClosed = true;
    wantMore(false);
}

void LineReader::read()
{
    std::array<char, 4096> buffer{};
    const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count > 0)
        m_bytes.append(buffer.data(), static_cast<int>(count));
    else
        close();
    emit came();
}

std::optional<QString> LineReader::take()
{
    const int end = m_bytes.indexOf('\n');
    if (end < 0 && !(m_isClosed && !m_bytes.isEmpty()))
        return std::nullopt;
    const int size = end < 0 ? m_bytes.size() : end;
    const QString line = QString::fromUtf8(m_bytes.left(size)).trimmed();
    m_bytes.remove(0, size + 1);
    ++m_number;
    return line;
}
