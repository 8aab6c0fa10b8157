#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace protocol {

constexpr size_t LongestCan = 8;
constexpr size_t LongestCanFd = 64;

/// The length of the CAN or CAN FD frame that carries @p size bytes, LongestCanFd at most.
inline size_t paddedLength(size_t size)
{
    constexpr size_t lengths[] = {12, 16, 20, 24, 32, 48, LongestCanFd};
    return size <= LongestCan ? size : *std::lower_bound(std::begin(lengths), std::end(lengths) - 1, size);
}

} // namespace protocol
