#pragma once

#include "core/Export.h"
#include "math/Vector.h"

#include <cstdint>

namespace velmor::core::cvdata {

/// A colour histogram over up to three components of one byte each, kept in one flat vector of doubles.
///
/// Bin (i, j, k) lies at index `i + b1 * j + b1 * b2 * k`, where b1, b2, b3 are the numbers of bins. A dimension that
/// is not used has one bin.
class VELMOR_CORE_EXPORT ColourHist2d
{
public:
    /// Makes a histogram of zeros.
    /// @param bins1, bins2, bins3  bins of each dimension, 1..255
    /// @throws std::invalid_argument  when one of them is 0
    ColourHist2d(unsigned char bins1, unsigned char bins2, unsigned char bins3);

    /// A histogram of the same bins with the same values.
    ColourHist2d(const ColourHist2d&) = default;

    /// Takes the numbers of bins and the values of another histogram.
    ColourHist2d& operator=(const ColourHist2d& other);

    virtual ~ColourHist2d();

    /// Gives the number of bins of each dimension.
    virtual void getNofBins(unsigned char& bins1, unsigned char& bins2, unsigned char& bins3) const;

    /// Sets every bin to zero. An override has to leave zeros too, because operators count on from there.
    virtual void reset();

    /// All bins, for reading and writing.
    math::Vector& data() const;

    /// Bin (i, j, k). Of the indices only the place in the flat vector is checked, by an assertion.
    double& getValue(unsigned char i, unsigned char j, unsigned char k) const
    {
        return mData[i + mBins1 * j + mThirdStride * k];
    }

    /// Adds 1 to bin (i, j, k).
    void increaseValue(unsigned char i, unsigned char j, unsigned char k) { getValue(i, j, k) += 1.0; }

private:
    unsigned char mBins1;
    unsigned char mBins2;
    unsigned char mBins3;
    std::uint32_t mThirdStride; ///< distance between neighbours in the third dimension, in bins
    mutable math::Vector mData;
};

} // namespace velmor::core::cvdata
