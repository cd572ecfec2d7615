#pragma once

#include <cstddef>
#include <cstdint>

/// The bins that pixels fall into, found in vectors.
namespace velmor::cvprocess {

/// The rule: which pixels are counted, and in which bin.
struct BinRule
{
    std::uint32_t bins1, bins2, bins3;
    bool hsv;

    std::uint32_t binCount() const { return bins1 * bins2 * bins3; }

    bool counts(const std::uint8_t* pixel) const { return pixel[2] != 0 && (hsv || (pixel[0] != 0 && pixel[1] != 0)); }

    std::uint32_t binOf(const std::uint8_t* pixel) const
    {
        return (pixel[0] * bins1 >> 8) + bins1 * ((pixel[1] * bins2 >> 8) + bins2 * (pixel[2] * bins3 >> 8));
    }
};

/// Pixels whose bins are computed at once: whole vectors of every instruction set. Half as many take 7 % longer, and
/// twice as many gain nothing.
constexpr std::size_t kBlock = 128;

/// So many numbers from binCount() on stand for no bin. Pixels that are not counted have them in turn, so that they
/// need no branch and seldom wait for each other.
constexpr std::size_t kSpares = 32;

/// Pixels that lie side by side.
struct Block
{
    const std::uint8_t* pixels;
    unsigned channels;        ///< 3 or 4
    const std::uint8_t* mask; ///< null for none
    std::size_t skipped;      ///< so many pixels at the beginning are not counted
};

/// Finds the bins of a block, in some order. Pixels that are not counted get numbers from binCount() on.
/// @param[out] numbers  kBlock of them; with 16 bits, binCount() + kSpares are at most 65,536
/// @return              false where the mask excludes all; then there may be no numbers
bool findBins(const Block& block, const BinRule& rule, std::uint16_t* numbers);
bool findBins(const Block& block, const BinRule& rule, std::uint32_t* numbers);

/// Adds counters to bins: bins[i] = (bins[i] + counters[i] of all sets) * factor.
/// @param stride  from set to set
void addCounters(const std::uint16_t* counters, std::size_t sets, std::size_t stride, double factor, std::size_t count,
                 double* bins);

} // namespace velmor::cvprocess
