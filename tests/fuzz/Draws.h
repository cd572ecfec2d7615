#pragma once

#include "catalogue/Catalogue.h"
#include "core/cvdata/ColorGMM.h"

#include <fuzzer/FuzzedDataProvider.h>
#include <opencv2/core.hpp>

#include <cmath>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace velmor::tests {

/// The bytes of an input, from which calls are drawn.
using Bytes = FuzzedDataProvider;

/// Says what is wrong, and stops the fuzzer.
[[noreturn]] void stop(const std::string& what);

/// Stops unless something is as it should be.
void require(bool condition, const std::string& what);

/// Whether a draw of one in so many has come.
bool oneIn(Bytes& bytes, int count);

/// One of some things.
template<typename Things>
const auto& oneOf(Bytes& bytes, const Things& things)
{
    return things[bytes.ConsumeIntegralInRange<std::size_t>(0, things.size() - 1)];
}

/// Sides of pictures: often 64 x 48, else up to a side, with small and odd ones well represented.
cv::Size drawSize(Bytes& bytes, int most);

/// A picture within a larger one, whose memory ends where its last row ends.
class Part
{
public:
    /// What the picture holds: one value, noise of any bits, or of numbers that matter; and for floats bytes / 255.
    Part(Bytes& bytes, const cv::Size& size, int type);

    /// The picture itself.
    const cv::Mat& picture() const { return mPicture; }

    /// A picture of another type or size in the same memory, at a place of its own; empty where it does not fit.
    cv::Mat another(Bytes& bytes, const cv::Size& size, int type) const;

    /// The picture as it was made.
    cv::Mat before() const;

    /// Whether nothing has been written, or nothing but the picture.
    bool isAsBefore() const;
    bool isAsBeforeAround() const;

private:
    std::vector<unsigned char> snapshot() const { return {mMemory.get(), mMemory.get() + mSize}; }

    std::size_t mSize;
    std::unique_ptr<unsigned char[]> mMemory; ///< of that size, so that AddressSanitizer sees its ends
    cv::Mat mPicture;
    std::vector<unsigned char> mBefore;
};

/// Whether two numbers are the same, of zeros also the sign. Any number that is none is the same as any other.
template<typename Number>
bool areSame(Number a, Number b)
{
    return (a == b && std::signbit(a) == std::signbit(b)) || (std::isnan(a) && std::isnan(b));
}

/// Whether two pictures have the same size, type and values; all floats that are no number are one.
bool areEqual(const cv::Mat& a, const cv::Mat& b);

/// A number of the kind that goes wrong: 0, the ends of ranges, denormals, infinities, and what is no number.
double drawNumber(Bytes& bytes);

/// A model of a few components; most have numbers that make sense, and two dimensions, as all have to have that are
/// not drawn for an error.
core::cvdata::ColorGMM drawModel(Bytes& bytes, bool anyDimension);

/// Values of an operator's parameters: most within their ranges, some just outside, and some of no parameter.
catalogue::Values drawValues(Bytes& bytes, const catalogue::Operator& what);

/// Whether an operator takes these values.
bool areTaken(const catalogue::Operator& what, const catalogue::Values& values);

} // namespace velmor::tests
