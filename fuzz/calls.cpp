// Host calls in any order with any arguments, between good frames.

#include "session.h"

static QString argument(Input& input)
{
    const int kind = input.byte();
    const QByteArray bytes = input.bytes(4);
    int number = 0;
    for (const char byte : bytes)
        number = static_cast<int>(static_cast<unsigned>(number) << 8 | static_cast<unsigned char>(byte));
    if (kind < 64)
        return QString::number(number);
    if (kind < 128)
        return QStringLiteral("%1|%2").arg(number).arg(kind);
    return QString::fromLatin1(input.bytes(kind - 128));
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    Session session;
    while (!input.atEnd()) {
        const auto step = static_cast<size_t>(input.byte());
        if (step < operations().size())
            session.call(operations()[step], {argument(input), argument(input), argument(input)});
        else if (step < 0xF0)
            session.receive(frameOf(0x1D + input.byte() % 0x4B, input.bytes(input.byte() % 16)));
        else if (step < 0xF8)
            RecordingHost::instance().carModel = input.byte();
        else
            session.wait(input.byte() * 160);
    }
    session.inspect();
    return 0;
}
