#include "line.h"

#include "process.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace boxsim {

namespace {

constexpr int LookForPeerMs = 50;

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

// Makes @p fd a plain byte line at 38400 baud, 8N1, and forgets what waits to be read from it.
bool makeRaw(int fd)
{
    termios settings{};
    if (tcgetattr(fd, &settings) != 0)
        return false;
    cfmakeraw(&settings);
    cfsetspeed(&settings, B38400);
    settings.c_cflag &= ~static_cast<tcflag_t>(CSTOPB | CRTSCTS);
    settings.c_cflag |= CLOCAL | CREAD;
    return tcsetattr(fd, TCSANOW, &settings) == 0 && tcflush(fd, TCIFLUSH) == 0;
}

// Whether @p path is a link that a simulator may replace: one to a pseudo-terminal or to nothing.
bool isReplaceable(const QString& path)
{
    const QFileInfo info(path);
    return info.isSymLink() && (!info.exists() || info.symLinkTarget().startsWith("/dev/pts/"));
}

// The other simulators that hold the pseudo-terminal to which @p link leads.
QStringList holdersOf(const QString& link)
{
    const QString number = QFileInfo(link).symLinkTarget().section("/dev/pts/", 1);
    QStringList holders = processesWith([&number](const QFileInfo& file) {
        QFile info(file.path() + "info/" + file.fileName()); // tells which of them a master belongs to
        return file.symLinkTarget().endsWith("/ptmx") && info.open(QIODevice::ReadOnly) &&
               info.readAll().contains("tty-index:\t" + number.toLatin1() + '\n');
    });
    QFile own("/proc/self/comm");
    const QByteArray name = own.open(QIODevice::ReadOnly) ? own.readAll().trimmed() : QByteArray();
    return holders.filter(QRegularExpression('^' + QRegularExpression::escape(name) + " \\("));
}

} // namespace

Line::Line(QString device, QString link)
    : m_device(std::move(device))
    , m_link(std::move(link))
{
    m_lookForPeer.setInterval(LookForPeerMs);
    connect(&m_lookForPeer, &QTimer::timeout, this, &Line::readAvailable);
}

Line::~Line()
{
    removeLink();
    m_notifier.reset();
    if (m_fd >= 0)
        ::close(m_fd);
}

QString Line::open()
{
    QString error = m_device.isEmpty() ? openTerminal() : openDevice();
    if (!error.isEmpty())
        return error;
    m_notifier = std::make_unique<QSocketNotifier>(m_fd, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &Line::readAvailable);
    setPeer(m_terminal.isEmpty());
    return {};
}

QString Line::openDevice()
{
    m_fd = ::open(QFile::encodeName(m_device).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_fd < 0 || !makeRaw(m_fd))
        return QString("cannot use the device %1: %2; name a serial device that you may read and write")
            .arg(m_device, systemError());
    return {};
}

QString Line::openTerminal()
{
    std::array<char, 64> name{};
    m_fd = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_fd < 0 || grantpt(m_fd) != 0 || unlockpt(m_fd) != 0 ||
        ptsname_r(m_fd, name.data(), name.size()) != 0)
        return QString("cannot make a pseudo-terminal: %1; is /dev/pts mounted?").arg(systemError());
    m_terminal = QFile::decodeName(name.data());
    resetTerminal();
    return m_link.isEmpty() ? QString() : placeLink();
}

// Puts the terminal's other end into raw mode and drops what nobody has read from it. Opening and closing it
// also makes the kernel report "nobody there" before the first peer comes. @return false when that fails.
bool Line::resetTerminal()
{
    const int fd = ::open(QFile::encodeName(m_terminal).constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const bool done = fd >= 0 && makeRaw(fd);
    if (!done)
        emit noted(QString("cannot set up %1: %2").arg(m_terminal, systemError()));
    ::close(fd);
    return done;
}

// Makes the link under another name and renames it, so that it leads somewhere at every moment.
QString Line::placeLink()
{
    if (QFileInfo(m_link).isSymLink() ? !isReplaceable(m_link) : QFileInfo::exists(m_link))
        return QString("%1 exists and is no link to a pseudo-terminal; name another path or remove it")
            .arg(m_link);
    if (const QStringList holders = holdersOf(m_link); !holders.isEmpty())
        return QString("%1 is the link of %2; name another path or end that").arg(m_link, holders.join(", "));
    const QString temporary = QString("%1.%2").arg(m_link).arg(getpid());
    const bool isMade = QFile::link(m_terminal, temporary);
    if (isMade &&
        std::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(m_link).constData()) == 0)
        return {};
    const QString reason = systemError();
    if (isMade)
        QFile::remove(temporary);
    return QString("cannot make the link %1: %2; name a path in a directory that you may write")
        .arg(m_link, reason);
}

// Removes the link unless somebody else has put theirs in its place.
void Line::removeLink()
{
    if (!m_terminal.isEmpty() && QFileInfo(m_link).symLinkTarget() == m_terminal)
        QFile::remove(m_link);
}

QString Line::path() const
{
    if (!m_link.isEmpty())
        return m_link;
    return m_terminal.isEmpty() ? m_device : m_terminal;
}

void Line::write(const QByteArray& bytes, const QString& meaning)
{
    if (!m_peer) {
        emit logged("not sent, nobody has the line open: " + meaning);
        return;
    }
    const ssize_t written = ::write(m_fd, bytes.constData(), static_cast<size_t>(bytes.size()));
    const int taken = written < 0 ? 0 : static_cast<int>(written);
    if (taken > 0)
        emit sent(bytes.left(taken), meaning);
    if (taken < bytes.size())
        emit logged(
            QString("lost %1 bytes that the line does not take: %2").arg(bytes.size() - taken).arg(meaning));
}

void Line::hangUp()
{
    if (m_terminal.isEmpty()) {
        emit noted("a serial device cannot be hung up");
        return;
    }
    const int old = m_fd;
    const QString error = open(); // first, so that the link leads somewhere at every moment
    ::close(old);
    if (!error.isEmpty())
        emit lost(error);
}

// Reads until nothing is left. For a pseudo-terminal this also tells whether somebody has it open: without a
// peer, reading fails at once, and a notifier would fire without end; a timer looks for the next peer
// instead.
void Line::readAvailable()
{
    std::array<char, 4096> buffer{};
    for (;;) {
        const ssize_t count = ::read(m_fd, buffer.data(), buffer.size());
        if (count > 0) {
            setPeer(true);
            emit received(QByteArray(buffer.data(), static_cast<int>(count)));
        } else if (count < 0 && errno == EAGAIN) {
            setPeer(true);
            return;
        } else if (count == 0 || errno != EINTR) {
            setPeer(false);
            return;
        }
    }
}

void Line::setPeer(bool present)
{
    const bool changed = present != m_peer;
    m_peer = present;
    m_notifier->setEnabled(present);
    if (present) {
        m_lookForPeer.stop();
    } else if (m_terminal.isEmpty()) {
        emit lost(QString("the device %1 is gone").arg(m_device));
    } else {
        m_lookForPeer.start();
    }
    if (!changed || m_terminal.isEmpty())
        return;
    emit noted(present ? "the line was opened" : "the line was closed");
    // A peer that was killed leaves the terminal locked against whoever comes next.
    if (!present && !resetTerminal() && !m_link.isEmpty())
        hangUp();
}

} // namespace boxsim
