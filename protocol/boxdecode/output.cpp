#include "output.h"

#include <cerrno>
#include <unistd.h>

namespace protocol {

void Output::flush()
{
    std::string_view rest = m_buffer;
    while (!rest.empty() && m_error == 0) {
        const ssize_t written = ::write(m_descriptor, rest.data(), rest.size());
        if (written >= 0)
            rest.remove_prefix(static_cast<size_t>(written));
        else if (errno != EINTR)
            m_error = errno;
    }
    m_buffer.clear();
}

} // namespace protocol
