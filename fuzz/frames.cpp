// Frames of all types the box has, some of them damaged, in one or two chunks.

#include "session.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    Session session;
    while (!input.atEnd()) {
        const int type = typeFromBox(input.byte());
        QByteArray frame = frameOf(type, input.bytes(input.byte() % 16));
        const int damage = input.byte();
        if (damage < Damages)
            frame = damaged(frame, damage, input.byte());
        const int cut = damage < 128 ? frame.size() : input.byte() % 16;
        session.receive(frame.left(cut));
        if (cut < frame.size()) {
            session.wait(input.byte() * 4);
            session.receive(frame.mid(cut));
        }
    }
    session.inspect();
    return 0;
}
