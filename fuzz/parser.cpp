// One chunk, to a plug-in that lives on.

#include "session.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Session session;
    session.receive(Input(data, size).bytes(static_cast<int>(size)));
    session.settle();
    return 0;
}
