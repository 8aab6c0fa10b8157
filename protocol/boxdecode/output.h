#pragma once

#include <string>
#include <string_view>

namespace protocol {

/// A file descriptor that is written in large pieces. Behind a piece that could not be written nothing is.
class Output
{
public:
    explicit Output(int descriptor)
        : m_descriptor(descriptor)
    {
    }

    void write(std::string_view bytes)
    {
        m_buffer.append(bytes);
        if (m_buffer.size() >= Full)
            flush();
    }
    /// Writes what is kept back.
    void flush();
    /// The errno of what went wrong; 0 as long as nothing did.
    int error() const { return m_error; }

private:
    static constexpr size_t Full = 1 << 16;

    std::string m_buffer;
    int m_descriptor;
    int m_error = 0;
};

} // namespace protocol
