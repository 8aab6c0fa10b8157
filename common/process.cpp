#include "process.h"

#include <QCoreApplication>
#include <QDir>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/signalfd.h>
#include <unistd.h>

void prepareStandardStreams()
{
    int file = 0;
    while (file >= 0 && file <= STDERR_FILENO)
        file = open("/dev/null", O_RDWR);
    close(file);
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
}

const std::initializer_list<int> endSignals{SIGINT, SIGTERM, SIGHUP};

int takeOverSignals(std::initializer_list<int> numbers)
{
    sigset_t set;
    sigemptyset(&set);
    for (int number : numbers)
        sigaddset(&set, number);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    return signalfd(-1, &set, SFD_CLOEXEC);
}

int takeSignal(int descriptor)
{
    signalfd_siginfo signal{};
    static_cast<void>(read(descriptor, &signal, sizeof signal) < 0);
    return static_cast<int>(signal.ssi_signo);
}

std::function<void()> beforeLine = [] {};

QStringList processesWith(const std::function<bool(const QFileInfo& file)>& isMeant)
{
    QStringList names;
    const QDir processes("/proc");
    for (const QString& process : processes.entryList({"[1-9]*"}, QDir::Dirs)) {
        const QFileInfoList files =
            QDir(processes.filePath(process + "/fd")).entryInfoList(QDir::Files | QDir::System);
        QFile name(processes.filePath(process + "/comm"));
        if (process.toLongLong() != QCoreApplication::applicationPid() &&
            std::any_of(files.begin(), files.end(), isMeant) && name.open(QIODevice::ReadOnly))
            names.append(QString("%1 (process %2)").arg(QString(name.readAll()).trimmed(), process));
    }
    return names;
}

bool printLine(FILE* stream, const QString& line)
{
    beforeLine();
    return std::fprintf(stream, "%s\n", qUtf8Printable(line)) >= 0 && std::fflush(stream) == 0;
}

void StandardOutput::print(const QString& line)
{
    if (!m_intact || printLine(stdout, line))
        return;
    m_intact = false;
    onFailure(errno);
}
