#include "process.h"

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
    sigset_t signals;
    sigemptyset(&signals);
    for (int number : numbers)
        sigaddset(&signals, number);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC);
}

int takeSignal(int descriptor)
{
    signalfd_siginfo signal{};
    static_cast<void>(read(descriptor, &signal, sizeof signal) < 0);
    return static_cast<int>(signal.ssi_signo);
}

std::function<void()> beforeLine = [] {};

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
