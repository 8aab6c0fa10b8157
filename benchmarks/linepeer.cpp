// What stands at the head unit's end of the line at the least: acknowledges each good frame and does no more.
// usage: linepeer poll|direct|queued|written|timed DEVICE     without Qt; with QSerialPort, whose signal is
// taken at once or queued; queued, and the answer written to the device itself; and a timer of 30 s restarted

#include "idealparser.h"

#include <QCoreApplication>
#include <QSerialPort>
#include <QTimer>

#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <termios.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

int device = -1;
QSerialPort* port = nullptr;
QTimer* silence = nullptr;

void answer(int, const unsigned char*, int)
{
    static_cast<void>(!write(device, "\xFF", 1));
}

void answerAndWatch(int type, const unsigned char* payload, int size)
{
    answer(type, payload, size);
    silence->start(30s);
}

int runPoll(const char* path)
{
    device = open(path, O_RDWR | O_NOCTTY);
    termios line{};
    tcgetattr(device, &line);
    cfmakeraw(&line);
    tcsetattr(device, TCSANOW, &line);
    IdealParser parser(answer);
    pollfd event{device, POLLIN, 0};
    char chunk[256];
    while (poll(&event, 1, -1) > 0) {
        const ssize_t count = read(device, chunk, sizeof chunk);
        if (count <= 0)
            break;
        parser.receive(chunk, static_cast<int>(count));
    }
    return 0;
}

void answerThroughPort(int, const unsigned char*, int)
{
    port->write("\xFF", 1);
}

int runQSerialPort(const char* path, Qt::ConnectionType connection, IdealParser::Callback onFrame)
{
    int argc = 0;
    QCoreApplication app(argc, nullptr);
    QSerialPort serial(QString::fromLocal8Bit(path));
    serial.setBaudRate(38400);
    port = &serial;
    QTimer timer;
    silence = &timer;
    IdealParser parser(onFrame);
    const auto receive = [&] {
        const QByteArray chunk = serial.readAll();
        parser.receive(chunk.constData(), chunk.size());
    };
    QObject::connect(&serial, &QSerialPort::readyRead, &app, receive, connection);
    if (!serial.open(QIODevice::ReadWrite))
        return 1;
    device = serial.handle();
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char** argv)
{
    const std::string way = argc == 3 ? argv[1] : "";
    if (way == "poll")
        return runPoll(argv[2]);
    if (way == "direct")
        return runQSerialPort(argv[2], Qt::DirectConnection, answerThroughPort);
    if (way == "queued")
        return runQSerialPort(argv[2], Qt::QueuedConnection, answerThroughPort);
    if (way == "written")
        return runQSerialPort(argv[2], Qt::QueuedConnection, answer);
    if (way == "timed")
        return runQSerialPort(argv[2], Qt::QueuedConnection, answerAndWatch);
    std::fprintf(stderr, "usage: linepeer poll|direct|queued|written|timed DEVICE\n");
    return 2;
}
