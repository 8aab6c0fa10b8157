#include "capture.h"

#include "note.h"

#include <QFileInfo>

#include <array>
#include <cerrno>
#include <ctime>
#include <unistd.h>

namespace {

constexpr char Header[] =
    "# capture: 2\n# date: %1\n# line: 38400 baud, 8N1\n%2# purpose: %3\n"
    "# (seconds.micros) rx HEX|tx HEX|do COMMAND; rx is what the head unit received, the date is that of "
    "(0.000000)";

// The name with strftime's codes replaced.
QString nameNow(const QString& path)
{
    const std::time_t time = std::time(nullptr);
    std::tm local{};
    localtime_r(&time, &local);
    std::array<char, 4096> name{};
    const std::size_t size =
        std::strftime(name.data(), name.size(), QFile::encodeName(path).constData(), &local);
    return QFile::decodeName(QByteArray(name.data(), static_cast<int>(size)));
}

// Opens the file of @p options. Returns nothing where that cannot be, which is told.
std::unique_ptr<QFile> makeFile(const CaptureOptions& options)
{
    constexpr auto Mode = QIODevice::WriteOnly | QIODevice::Unbuffered;
    auto file = std::make_unique<QFile>(nameNow(options.path));
    const QFileInfo present(file->fileName());
    if (options.path == "-") {
        file->open(STDOUT_FILENO, Mode);
    } else if (present.isFile() && !options.overwrites) {
        complain(
            QString("cannot write %1: it exists; --overwrite replaces it, and codes of the time in the name, "
                    "as in %2, tell captures apart")
                .arg(file->fileName(), "%F-%H%M%S"));
        return nullptr;
    } else if (!file->open(Mode | (present.exists() ? QIODevice::Truncate : QIODevice::NewOnly))) {
        complain(QString("cannot write %1: %2").arg(file->fileName(), file->errorString()));
        return nullptr;
    }
    return file;
}

} // namespace

QString captureHeader(const CaptureOptions& options, std::chrono::nanoseconds begin)
{
    const QString car =
        QString("# car model: %1, index %2\n").arg(options.carModel).arg(options.carModelIndex);
    return QString(Header).arg(dateOf(begin).toString(Qt::ISODateWithMs),
                               options.carModel < 0 ? QString() : car, options.purpose);
}

bool Capture::open(const CaptureOptions& options, std::chrono::nanoseconds begin)
{
    std::unique_ptr<QFile> file = makeFile(options);
    if (!file)
        return false;
    m_begin = begin;
    m_file = std::move(file);
    return writeLine(captureHeader(options, begin));
}

void Capture::openAnew(CaptureOptions options)
{
    options.overwrites = false; // else it might be the one that is written
    if (!open(options, now()))
        note("the capture goes on in the old file");
}

bool Capture::write(const QString& what, const QString& detail, std::chrono::nanoseconds time)
{
    return writeLine(stamp(time - m_begin) + ' ' + what + ' ' + detail);
}

bool Capture::writeLine(const QString& line)
{
    const QByteArray bytes = line.toUtf8() + '\n';
    if (m_file->write(bytes) == bytes.size())
        return true;
    const bool isShort = m_file->error() == QFile::NoError; // and QFile does not tell why
    complain(QString("cannot write %1: %2")
                 .arg(m_file->fileName(), isShort ? qt_error_string(errno) : m_file->errorString()));
    m_file.reset();
    return false;
}
