// Feeds programs at the line's full rate, each on a pseudo-terminal of its own and all at the same time, and
// tells what a frame costs each of them.
//
// usage: linerate SECONDS CALLS-FOLDER COMMAND...     CALLS-FOLDER "" measures time, else strace counts the
// calls
//
// A command is run by the shell; {} in it stands for the device. Prints a line for each: frames,
// acknowledgements, processor time in microseconds a frame, reads and writes and wake-ups a frame, resident
// memory in KiB before and after.

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <sys/wait.h>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace std::chrono;
using namespace std::chrono_literals;

namespace {

// A climate frame: repeated, it changes nothing.
const unsigned char frame[] = {0x2E, 0x28, 0x06, 0xC0, 0x45, 0x0A, 0x0A, 0x00, 0x00, 0xB8};
constexpr int framesPerSecond = 3840 / sizeof frame;

struct Usage
{
    double seconds = 0;
    double reads = 0;
    double writes = 0;
    double wakeUps = 0;
    double kib = 0;
};

struct Program
{
    int line = -1;
    pid_t pid = -1;
    pid_t tracer = -1;
    long acknowledgements = 0;
    Usage before;
};

/// The number behind @p key in a file of /proc; the first number of the file where @p key is empty.
double figure(pid_t pid, const char* file, const std::string& key)
{
    std::ifstream in("/proc/" + std::to_string(pid) + '/' + file);
    double value = 0;
    for (std::string word; !key.empty() && in >> word && word != key;) {
    }
    in >> value;
    return value;
}

Usage usageOf(pid_t pid)
{
    return {figure(pid, "schedstat", "") / 1e9, figure(pid, "io", "syscr:"), figure(pid, "io", "syscw:"),
            figure(pid, "status", "voluntary_ctxt_switches:"), figure(pid, "status", "VmRSS:")};
}

Program startProgram(std::string command)
{
    Program program;
    program.line = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    grantpt(program.line);
    unlockpt(program.line);
    termios line{};
    tcgetattr(program.line, &line);
    cfmakeraw(&line);
    tcsetattr(program.line, TCSANOW, &line);
    if (const auto place = command.find("{}"); place != std::string::npos)
        command.replace(place, 2, ptsname(program.line));
    command = "exec " + command + " >/dev/null";
    int input[2]; // stays open and silent
    static_cast<void>(!pipe(input));
    program.pid = fork();
    if (program.pid == 0) {
        dup2(input[0], STDIN_FILENO);
        execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        std::_Exit(127);
    }
    return program;
}

pid_t startTracer(pid_t pid, const std::string& file)
{
    const pid_t tracer = fork();
    if (tracer == 0) {
        const std::string target = std::to_string(pid);
        execlp("strace", "strace", "-qq", "-c", "-U", "calls,name", "-o", file.c_str(), "-p", target.c_str(),
               nullptr);
        std::_Exit(127);
    }
    return tracer;
}

void takeAnswers(Program& program)
{
    unsigned char answers[256];
    for (ssize_t count; (count = read(program.line, answers, sizeof answers)) > 0;) {
        for (ssize_t i = 0; i < count; ++i)
            program.acknowledgements += answers[i] == 0xFF;
    }
}

/// Sends @p frames to every program, at the line's rate, each time in another order.
void feed(std::vector<Program>& programs, long frames)
{
    const auto start = steady_clock::now();
    for (long n = 0; n < frames; ++n) {
        std::this_thread::sleep_until(start + n * 1000000us / framesPerSecond);
        for (std::size_t i = 0; i < programs.size(); ++i) {
            Program& program = programs[(i + static_cast<std::size_t>(n)) % programs.size()];
            static_cast<void>(!write(program.line, frame, sizeof frame));
            takeAnswers(program);
        }
    }
    std::this_thread::sleep_for(200ms);
    for (Program& program : programs)
        takeAnswers(program);
}

void end(pid_t pid, int signal)
{
    kill(pid, signal);
    waitpid(pid, nullptr, 0);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4) {
        std::fprintf(stderr, "usage: linerate SECONDS CALLS-FOLDER COMMAND...\n");
        return 2;
    }
    const std::string callsFolder = argv[2];
    std::vector<Program> programs;
    for (int i = 3; i < argc; ++i)
        programs.push_back(startProgram(argv[i]));
    std::this_thread::sleep_for(1s);
    feed(programs, 2 * framesPerSecond); // until memory has settled
    for (std::size_t i = 0; i < programs.size() && !callsFolder.empty(); ++i)
        programs[i].tracer = startTracer(programs[i].pid, callsFolder + '/' + std::to_string(i));
    std::this_thread::sleep_for(1s);
    for (Program& program : programs) {
        program.acknowledgements = 0;
        program.before = usageOf(program.pid);
    }
    const long frames = std::atol(argv[1]) * framesPerSecond;
    feed(programs, frames);
    for (Program& program : programs) {
        const Usage now = usageOf(program.pid);
        const Usage& before = program.before;
        const auto perFrame = [frames](double count) { return count / static_cast<double>(frames); };
        std::printf("%ld\t%ld\t%.1f\t%.2f\t%.2f\t%.2f\t%.0f\t%.0f\n", frames, program.acknowledgements,
                    perFrame(now.seconds - before.seconds) * 1e6, perFrame(now.reads - before.reads),
                    perFrame(now.writes - before.writes), perFrame(now.wakeUps - before.wakeUps), before.kib,
                    now.kib);
        if (program.tracer > 0)
            end(program.tracer, SIGINT);
        end(program.pid, SIGKILL);
    }
    return 0;
}
