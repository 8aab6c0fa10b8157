#pragma once

#include "consumer.h"

#include <deque>
#include <vector>

namespace protocol {

/// Shows what differs between two sequences of units, each direction for itself and times and answers aside:
/// "-" before what only the first has, "+" before what only the second has. What stands in both is found
/// again behind at most Window units that differ.
class Difference
{
public:
    static constexpr size_t Window = 128;

    Difference(TextFormat& format, Output& output)
        : m_format(format)
        , m_output(output)
    {
    }

    /// Adds a unit to the first (0) or second (1) sequence.
    void add(size_t which, const Item& item);
    /// How many units of the sequence are kept.
    size_t kept(size_t which) const;
    /// Compares what can be compared: less than Window units of a direction are left unless the sequence is
    /// over.
    void compare(bool firstIsOver, bool secondIsOver);

    uint64_t compared = 0; ///< units that are in both
    uint64_t only[2] = {}; ///< units that are in one

private:
    struct Kept
    {
        Item item; // its bytes lie below
        std::vector<uint8_t> bytes;
        size_t hash;
    };
    using Sequence = std::deque<Kept>;

    bool isSame(const Kept& a, const Kept& b) const { return a.hash == b.hash && a.bytes == b.bytes; }
    bool goesOn(const Sequence& a, size_t atA, const Sequence& b, size_t atB) const;
    void compare(Sequence& a, bool aIsOver, Sequence& b, bool bIsOver);
    void show(Sequence& a, size_t countA, Sequence& b, size_t countB);
    void show(char sign, const Kept& kept, const Kept* other);

    TextFormat& m_format;
    Output& m_output;
    Sequence m_sequences[2][3]; // by side
};

} // namespace protocol
