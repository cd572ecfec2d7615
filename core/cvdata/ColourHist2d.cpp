#include "core/cvdata/ColourHist2d.h"

#include "core/util/internal/AnyBitSet.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace velmor::core::cvdata {
namespace {

unsigned checkedBinCount(unsigned bins1, unsigned bins2, unsigned bins3)
{
    if (bins1 == 0 || bins2 == 0 || bins3 == 0)
        throw std::invalid_argument("ColourHist2d::ColourHist2d(): expected at least 1 bin in each dimension, got " +
                                    std::to_string(bins1) + " x " + std::to_string(bins2) + " x " +
                                    std::to_string(bins3));
    return bins1 * bins2 * bins3;
}

} // namespace

ColourHist2d::ColourHist2d(unsigned char bins1, unsigned char bins2, unsigned char bins3)
    : mBins1(bins1), mBins2(bins2), mBins3(bins3), mThirdStride(static_cast<std::uint32_t>(bins1) * bins2),
      mData(checkedBinCount(bins1, bins2, bins3))
{
}

ColourHist2d::~ColourHist2d() = default;

void ColourHist2d::getNofBins(unsigned char& bins1, unsigned char& bins2, unsigned char& bins3) const
{
    bins1 = mBins1;
    bins2 = mBins2;
    bins3 = mBins3;
}

void ColourHist2d::reset()
{
    // Most of many bins are empty, and to look at them takes less time than to write them.
    constexpr std::size_t kGroup = 16;
    double* bins = &mData[0];
    std::size_t left = mData.size();
    for (; left >= kGroup; left -= kGroup, bins += kGroup)
        if (util::isAnyBitSet<kGroup>(bins))
            std::fill_n(bins, kGroup, 0.0);
    std::fill_n(bins, left, 0.0);
}

math::Vector& ColourHist2d::data() const
{
    return mData;
}

} // namespace velmor::core::cvdata
