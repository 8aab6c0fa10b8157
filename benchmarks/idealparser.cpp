#include "idealparser.h"

#include <algorithm>
#include <cstring>
#include <numeric>

void IdealParser::receive(const char* chunk, int size)
{
    const auto* byte = reinterpret_cast<const unsigned char*>(chunk);
    const auto* const end = byte + size;
    while (byte != end) {
        if (m_state == Payload) {
            const int run = std::min(m_length - m_size, static_cast<int>(end - byte));
            std::memcpy(m_payload + m_size, byte, static_cast<std::size_t>(run));
            byte += run;
            m_size += run;
            if (m_size < m_length)
                return;
            m_sum = std::accumulate(m_payload, m_payload + m_size, m_sum);
            m_state = Checksum;
            continue;
        }
        const unsigned char b = *byte++;
        switch (m_state) {
        case Header:
            m_state = b == 0x2E ? Type : Header;
            break;
        case Type:
            m_type = b;
            m_state = Length;
            break;
        case Length:
            m_length = b;
            m_size = 0;
            m_sum = static_cast<unsigned char>(m_type + b);
            m_state = b > 0 ? Payload : Checksum;
            break;
        default:
            if (b == static_cast<unsigned char>(~m_sum))
                m_callback(m_type, m_payload, m_size);
            m_state = Header;
        }
    }
}
