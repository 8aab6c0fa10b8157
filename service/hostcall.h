#pragma once

#include <translator.h>

// What the host does within a call is its own affair, and it may deliver the next chunk. Each call that is
// made for a frame is counted while it lasts, signals apart: see SimpleService::takeFrame().

namespace canservice {

/// @return true
inline bool enterHost(int& calls)
{
    ++calls;
    return true;
}

/// @return false
inline bool leaveHost(int& calls)
{
    --calls;
    return false;
}

/// The host's text with the id @p id.
inline QString translated(int& calls, int id)
{
    enterHost(calls);
    QString text = Translator::translate(id);
    leaveHost(calls);
    return text;
}

} // namespace canservice
