#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace velmor::core::util {

/// Whether some bit of a group of doubles is set: a group of zeros is told from others without a branch for each.
/// @tparam kCount   an even number
/// @param  doubles  so many of them, or their bytes; need not be aligned
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
