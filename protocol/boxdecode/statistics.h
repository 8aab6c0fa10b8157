#pragma once

#include "consumer.h"

#include <QString>

#include <bitset>
#include <memory>
#include <vector>

namespace protocol {

/// Numbers, of which the median can be told to within a percent however many there are, and exactly where
/// they are equal.
class Distribution
{
public:
    void add(int64_t number);
    int64_t median() const;
    int64_t least = std::numeric_limits<int64_t>::max();
    int64_t most = 0;
    uint64_t count = 0;

private:
    static constexpr int Precision = 7; // bits that are kept of a number
    struct Alike
    {
        uint64_t count = 0;
        int64_t sum = 0;
    };
    std::vector<Alike> m_alike; // by the first bits of a number
};

/// Tells of each type how often it came and which of its bits and bytes ever changed.
class Statistics : public Consumer
{
public:
    explicit Statistics(Output& output);
    bool take(const Item& item, bool wants) override;
    void settle() override {}
    void finish() override;

private:
    struct Byte
    {
        uint8_t changed = 0; // bits
        std::bitset<256> values;
    };
    struct Type
    {
        const Frame* frame = nullptr;
        uint64_t count = 0;
        int64_t first = 0; // µs
        int64_t last = 0;
        Distribution periods;
        std::bitset<256> lengths;
        std::vector<Byte> bytes;
    };
    struct Sum
    {
        uint64_t units = 0;
        uint64_t bytes = 0;
    };

    void count(const Item& item);
    void appendType(QString& out, size_t side, size_t type, const Type& stats) const;

    Output& m_output;
    AnswerQueue m_queue;
    std::unique_ptr<Type> m_types[3][256];
    Sum m_kinds[6];
    uint64_t m_answers[3] = {}; // to frames that wait for one
};

} // namespace protocol
