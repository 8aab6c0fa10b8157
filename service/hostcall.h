#pragma once

#include <translator.h>

namespace canservice {

/// A call that is made of the host, other than by a signal. What the host does in it is its own affair, and
/// it may deliver the next chunk: see SimpleService::takeFrame(). As long as it lasts, @p calls is one
/// higher.
class HostCall
{
public:
    explicit HostCall(int& calls)
        : m_calls(calls)
    {
        ++m_calls;
    }
    ~HostCall() { --m_calls; }
    HostCall(const HostCall&) = delete;
    HostCall& operator=(const HostCall&) = delete;

private:
    int& m_calls;
};

/// The host's text with the id @p id.
inline QString translated(int& calls, int id)
{
    const HostCall call(calls);
    return Translator::translate(id);
}

} // namespace canservice
