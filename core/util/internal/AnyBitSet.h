#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace velmor::core::util {

/// Whether any bit of a group of doubles is set. It finds groups of zeros without a branch for each double.
/// @tparam kCount   an even number
/// @param  doubles  kCount doubles, or their bytes; need not be aligned
template<std::size_t kCount>
bool isAnyBitSet(const void* doubles)
{
    static_assert(kCount % 2 == 0);
    using Bits [[gnu::vector_size(16)]] = std::uint64_t;
    Bits any{};
    for (std::size_t offset = 0; offset < kCount * sizeof(double); offset += sizeof(Bits)) {
        Bits bits;
        std::memcpy(&bits, static_cast<const unsigned char*>(doubles) + offset, sizeof(bits));
        any |= bits;
    }
    return (any[0] | any[1]) != 0;
}

} // namespace velmor::core::util
