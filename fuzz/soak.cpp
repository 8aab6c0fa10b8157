// Hours of a bad line in virtual time: the full rate, with frames damaged, chunks cut and stalls, by a seed.
// The Session checks every answer; each hour ends with a look at the records, the memory and the open files.
// usage: soak HOURS SEED

#include "session.h"

#include <QDir>
#include <QFile>

#include <cstdio>
#include <random>

#include <unistd.h>

namespace {

constexpr int BytesPerSecond = 3840;
constexpr int HourMs = 3600 * 1000;
constexpr double MemoryGrowth = 0.01; // after the warm-up
constexpr int WarmUpHours = 2;        // by then the heap has grown to what it needs

class Line
{
public:
    explicit Line(unsigned seed)
        : m_random(seed)
    {
    }

    void runHour(Session& session);

private:
    int below(int bound) { return static_cast<int>(m_random() % static_cast<unsigned>(bound)); }
    QByteArray nextFrame();

    std::mt19937 m_random;
};

// One frame in fifty is damaged, one in two hundred follows noise.
QByteArray Line::nextFrame()
{
    QByteArray payload(below(13), '\0');
    for (char& byte : payload)
        byte = static_cast<char>(m_random());
    QByteArray bytes = frameOf(typeFromBox(below(256)), payload);
    if (below(50) == 0)
        bytes = damaged(bytes, below(Damages), below(256));
    return below(200) == 0 ? QByteArray(below(8), static_cast<char>(m_random())) + bytes : bytes;
}

// A chunk is what one or more frames leave of it: every tenth is cut. Once a minute or so nothing comes for a
// while.
void Line::runHour(Session& session)
{
    QByteArray waiting;
    for (qint64 bytes = 0, passed = 0; passed < HourMs;) {
        waiting += nextFrame();
        const QByteArray chunk = waiting.left(below(10) == 0 ? below(waiting.size() + 1) : waiting.size());
        waiting.remove(0, chunk.size());
        session.receive(chunk);
        bytes += chunk.size();
        const qint64 stall = below(20000) == 0 ? below(40000) : 0;
        const qint64 due = bytes * 1000 / BytesPerSecond + stall;
        session.wait(due - passed);
        passed = due;
        bytes += stall * BytesPerSecond / 1000;
    }
}

long residentKiB()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    const bool open = file.open(QIODevice::ReadOnly);
    return open ? file.readAll().split(' ').value(1).toLong() * sysconf(_SC_PAGESIZE) / 1024 : 0;
}

int openFiles()
{
    return QDir(QStringLiteral("/proc/self/fd"))
        .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
        .size();
}

} // namespace

int main(int argc, char** argv)
{
    LLVMFuzzerInitialize(&argc, &argv);
    const int hours = argc == 3 ? QByteArray(argv[1]).toInt() : 0;
    if (hours < 1)
        qFatal("usage: soak HOURS SEED");
    Session session;
    Line line(QByteArray(argv[2]).toUInt());
    long warmMemory = 0;
    int warmFiles = 0;
    for (int hour = 1; hour <= hours; ++hour) {
        line.runHour(session);
        session.inspect();
        const int files = openFiles();
        const long memory = residentKiB();
        std::printf("hour %d: %d frames acknowledged, %d rejected, %ld KiB, %d files open\n", hour,
                    session.good, session.bad, memory, files);
        std::fflush(stdout);
        if (hour <= WarmUpHours) {
            warmMemory = memory;
            warmFiles = files;
        }
        if (static_cast<double>(memory - warmMemory) > MemoryGrowth * static_cast<double>(warmMemory))
            qFatal("memory has grown by more than 1 %% since the warm-up");
        if (files != warmFiles)
            qFatal("files stay open");
    }
    return 0;
}
