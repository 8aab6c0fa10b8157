#include "capturereader.h"

#include <QRegularExpression>

#include <algorithm>
#include <cctype>
#include <cstdio>

using namespace std::chrono;

namespace {

constexpr int NewestVersion = 2;
constexpr int LongestLine = 1 << 20;
constexpr qint64 TailSize = 1 << 16; // where the last record is looked for

bool isDigit(char letter)
{
    return letter >= '0' && letter <= '9';
}

// Takes "(seconds.fraction) " from the front of the line.
std::optional<nanoseconds> takeTime(const char*& at)
{
    constexpr int64_t LongestSeconds = 1'000'000'000;
    if (*at++ != '(' || !isDigit(*at))
        return std::nullopt;
    int64_t whole = 0;
    for (; isDigit(*at) && whole < LongestSeconds; ++at)
        whole = 10 * whole + (*at - '0');
    nanoseconds time = seconds(whole);
    if (*at == '.') {
        int64_t unit = nanoseconds(1s).count() / 10;
        for (++at; isDigit(*at); ++at, unit /= 10)
            time += nanoseconds((*at - '0') * unit);
    }
    if (*at++ != ')' || *at++ != ' ')
        return std::nullopt;
    return time;
}

bool isHex(const QByteArray& text)
{
    return !text.isEmpty() && text.size() % 2 == 0 &&
           std::all_of(text.begin(), text.end(), [](char c) { return std::isxdigit(static_cast<uchar>(c)); });
}

// The record of a line; nothing where it is none.
std::optional<CaptureRecord> recordOf(const QByteArray& line)
{
    const char* at = line.constData();
    const std::optional<nanoseconds> time = takeTime(at);
    if (!time || qstrlen(at) < 4 || at[2] != ' ')
        return std::nullopt;
    const QByteArray kind(at, 2);
    const QByteArray rest(at + 3);
    if (kind == "do")
        return CaptureRecord{*time, CaptureRecord::Call, {}, QString::fromUtf8(rest), 0};
    if ((kind != "rx" && kind != "tx") || !isHex(rest))
        return std::nullopt;
    return CaptureRecord{*time,
                         kind == "rx" ? CaptureRecord::Received : CaptureRecord::Sent,
                         QByteArray::fromHex(rest),
                         {},
                         0};
}

// Takes up what a line of the header tells, if it tells anything.
void read(CaptureHeader& header, const QString& line)
{
    static const QRegularExpression version("^# capture: (\\d+)$");
    static const QRegularExpression date("^# date: (.+)$");
    static const QRegularExpression car("^# car model: (\\d+), index (\\d+)$");
    if (const auto match = version.match(line); match.hasMatch())
        header.version = match.captured(1).toInt();
    if (const auto match = date.match(line); match.hasMatch())
        header.date = QDateTime::fromString(match.captured(1), Qt::ISODateWithMs);
    if (const auto match = car.match(line); match.hasMatch()) {
        header.carModel = match.captured(1).toInt();
        header.carModelIndex = match.captured(2).toInt();
    }
}

} // namespace

QString CaptureReader::open(const QString& path)
{
    m_file.setFileName(path);
    const bool isOpen =
        path == "-" ? m_file.open(stdin, QIODevice::ReadOnly) : m_file.open(QIODevice::ReadOnly);
    return isOpen ? readHeader() : QString("cannot read %1: %2").arg(path, m_file.errorString());
}

QString CaptureReader::readHeader()
{
    m_header = {};
    m_isPending = false;
    bool isRead = readLine();
    for (; isRead && m_line.startsWith('#'); isRead = readLine())
        read(m_header, QString::fromUtf8(m_line));
    m_isPending = isRead;
    if (m_header.version > NewestVersion)
        m_error = QString("%1 is a capture of format %2; this program reads 1 to %3")
                      .arg(m_file.fileName())
                      .arg(m_header.version)
                      .arg(NewestVersion);
    return m_error;
}

std::optional<CaptureRecord> CaptureReader::next()
{
    while (m_error.isEmpty() && readLine()) {
        if (m_line.isEmpty() || m_line.startsWith('#'))
            continue;
        std::optional<CaptureRecord> record = recordOf(m_line);
        if (!record) {
            passOver("is no line of a capture");
        } else if (record->time < m_last) {
            passOver("goes back in time");
        } else {
            m_last = record->time;
            record->line = m_number;
            return record;
        }
    }
    return std::nullopt;
}

// Reads the next line. @return whether there is one.
bool CaptureReader::readLine()
{
    if (std::exchange(m_isPending, false))
        return true;
    m_buffer.resize(LongestLine);
    const qint64 size = m_file.readLine(m_buffer.data(), LongestLine);
    m_line = QByteArray(m_buffer.constData(), static_cast<int>(std::max<qint64>(size, 0)));
    ++m_number;
    if (m_line.endsWith('\n')) {
        m_line.chop(m_line.endsWith("\r\n") ? 2 : 1);
        return true;
    }
    if (m_line.isEmpty())
        return false;
    if (m_file.atEnd()) {
        note(place(m_number) + "the last line is cut off and left out");
        m_line.clear();
        return false;
    }
    while (!m_file.atEnd() && !m_file.readLine(LongestLine).endsWith('\n')) {
    }
    m_line = "(too long)"; // which is no record
    return true;
}

void CaptureReader::passOver(const QString& why)
{
    const QString text = place(m_number) + QString("\"%1\" %2").arg(QString::fromUtf8(m_line.left(60)), why);
    if (isLenient)
        note(text + ", left out");
    else
        m_error = text + "; --lenient leaves such lines out";
}

QString CaptureReader::place(int number) const
{
    const QString name = m_file.fileName().isEmpty() ? "standard input" : m_file.fileName();
    return QString("%1:%2: ").arg(name).arg(number);
}

bool CaptureReader::rewind()
{
    if (!m_file.seek(0))
        return false;
    m_number = 0;
    m_last = 0ns;
    m_error.clear();
    return readHeader().isEmpty();
}

std::optional<nanoseconds> CaptureReader::endTime() const
{
    QFile tail(m_file.fileName());
    if (m_file.isSequential() || !tail.open(QIODevice::ReadOnly) ||
        !tail.seek(std::max<qint64>(0, tail.size() - TailSize)))
        return std::nullopt;
    std::optional<nanoseconds> time;
    for (const QByteArray& line : tail.readAll().split('\n')) {
        if (const std::optional<CaptureRecord> record = recordOf(line))
            time = record->time;
    }
    return time;
}
