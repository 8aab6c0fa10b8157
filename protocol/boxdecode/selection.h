#pragma once

#include "stream.h"

#include <bitset>
#include <limits>
#include <string>

namespace protocol {

/// Which units are shown.
class Selection
{
public:
    /// Adds the terms of a --filter, separated by commas: names of frames, groups, topics or fields, type
    /// numbers, rx, tx, bad, ack, unknown; "!" before one leaves out what it names.
    /// @return what cannot be understood; empty when all can
    std::string add(const std::string& filter, const Description& description);

    /// What neither time nor filter leaves out.
    bool wants(const Item& item) const;
    /// Whether the filter lets good frames of @p type pass.
    bool wantsType(const Frame& frame) const;

    int64_t from = std::numeric_limits<int64_t>::min(); ///< µs, for units with a time
    int64_t to = std::numeric_limits<int64_t>::max();

private:
    struct Term
    {
        enum What { Types, RxSide, TxSide, Bad, Answers } what = Types;
        bool isNegated = false;
        std::bitset<256> types;

        bool matches(const Item& item) const;
    };

    bool passes(const Item& item) const;

    std::vector<Term> m_terms;
    bool m_hasPositive = false;
};

} // namespace protocol
