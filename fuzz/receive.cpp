// Any chunks at any times.

#include "session.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    Session session;
    while (!input.atEnd()) {
        const int step = input.byte();
        if (step < 192)
            session.receive(input.bytes(step));
        else
            session.wait((step - 191) * (step - 191) * 10); // 10 ms to 41 s
    }
    session.inspect();
    return 0;
}
