#pragma once

/// What receiving could cost at the least: the same frames, read in whole runs of payload, with no log, timer
/// or signal. A good frame is handed to a callback, a bad one is dropped.
class IdealParser
{
public:
    using Callback = void (*)(int type, const unsigned char* payload, int size);

    explicit IdealParser(Callback callback)
        : m_callback(callback)
    {
    }

    void receive(const char* chunk, int size);

private:
    enum State { Header, Type, Length, Payload, Checksum };

    Callback m_callback;
    State m_state = Header;
    int m_type = 0;
    int m_length = 0;
    int m_size = 0;
    unsigned char m_sum = 0;
    unsigned char m_payload[255];
};
