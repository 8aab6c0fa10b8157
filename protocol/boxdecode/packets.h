#pragma once

#include "consumer.h"

namespace protocol {

/// Writes the log format of candump. A frame's type is the CAN id, its payload the data; above 8 bytes it is
/// a CAN FD frame, filled up with zeros to a length that exists. What is no good frame, or has more than 64
/// bytes, becomes error frames of up to 8 of its bytes each, the last of which has fewer. An FF is left out:
/// on a CAN bus acknowledging is not seen. The interface is called as the direction is: rx, tx, either.
class CandumpWriter : public Consumer
{
public:
    explicit CandumpWriter(Output& output)
        : m_output(output)
    {
    }
    bool take(const Item& item, bool wants) override;

private:
    Output& m_output;
    std::string m_text;
};

/// Writes pcapng: a packet for each unit, whole, with the link type USER0, the direction in its flags, and
/// there also whether its checksum is wrong. The capture's header is the section's comment, and the date in
/// it what the packets' times count from.
class PcapngWriter : public Consumer
{
public:
    explicit PcapngWriter(Output& output)
        : m_output(output)
    {
    }
    void takeHeader(std::string_view line) override;
    bool take(const Item& item, bool wants) override;
    void finish() override { begin(); }

private:
    void begin();

    Output& m_output;
    std::string m_comment;
    int64_t m_date = 0; // seconds since the epoch, of the time 0
    std::string m_block;
    bool m_hasBegun = false;
};

} // namespace protocol
