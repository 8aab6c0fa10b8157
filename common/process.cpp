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

int takeOverEndSignals()
{
    sigset_t ending;
    sigemptyset(&ending);
    for (int number : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&ending, number);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    return signalfd(-1, &ending, SFD_CLOEXEC);
}

bool printLine(FILE* stream, const QString& line)
{
    return std::fprintf(stream, "%s\n", qUtf8Printable(line)) >= 0 && std::fflush(stream) == 0;
}

void StandardOutput::print(const QString& line)
{
    if (!m_intact || printLine(stdout, line))
        return;
    m_intact = false;
    onFailure(errno);
}
