#pragma once

#include "core/cvdata/Image.h"
#include "tests/support/ScriptedClock.h"

#include <ctime>
#include <random>
#include <vector>

namespace velmor::tests {

/// A stream of random frames, whose rows may be padded. Only a rectangle changes from frame to frame, by a little or by
/// much, so that a part of the picture is always still. While it lives, clock() tells the time of its last frame.
class MotionStream
{
public:
    MotionStream(unsigned width, unsigned height, std::mt19937& random)
        : mRandom(random), mStride(3 * width + static_cast<unsigned>(random() % 3)),
          mBytes(std::size_t{mStride} * height),
          mFrame(width, height, core::cvdata::Image::BGR, mBytes.data(), mStride), mSeconds(any(kStarts)),
          mClock(mSeconds)
    {
    }

    /// A stream of some size: rows of up to three vectors' length.
    explicit MotionStream(std::mt19937& random)
        : MotionStream(1 + static_cast<unsigned>(random() % 200), 1 + static_cast<unsigned>(random() % 6), random)
    {
    }

    const core::cvdata::Image& next()
    {
        changeRectangle();
        mClock.set(mSeconds += any(kSteps) * part());
        return mFrame;
    }

    unsigned width() const { return mFrame.width(); }
    unsigned height() const { return mFrame.height(); }

    /// The time of the last frame, as a call computes it.
    double time() const { return static_cast<double>(std::clock()) / 1000000.0; }

private:
    /// Seconds: at and around the duration of a motion, and after hours and months.
    static constexpr double kStarts[] = {0.0, 1e-6, 0.01, 0.2, 0.399999, 0.4, 0.5, 3.0, 77.7, 4000.0, 86400.0, 1e7};
    static constexpr double kSteps[] = {0.0, 2e-6, 0.01, 0.1, 0.3, 1.0};

    template<std::size_t n>
    double any(const double (&values)[n])
    {
        return values[mRandom() % n];
    }

    double part() { return static_cast<double>(mRandom() % 1001) / 1000.0; }

    unsigned below(unsigned limit) { return static_cast<unsigned>(mRandom() % limit); }

    void changeRectangle()
    {
        const unsigned x0 = below(width()), y0 = below(height());
        const unsigned x1 = x0 + 1 + below(width() - x0), y1 = y0 + 1 + below(height() - y0);
        const unsigned levels = below(3) == 0 ? 256 : 40; // a change of 20 and one of 21 are both likely
        for (unsigned y = y0; y < y1; ++y)
            for (unsigned i = 3 * x0; i < 3 * x1; ++i)
                mBytes[std::size_t{y} * mStride + i] = static_cast<unsigned char>(below(levels));
    }

    std::mt19937& mRandom;
    unsigned mStride;
    std::vector<unsigned char> mBytes;
    core::cvdata::Image mFrame;
    double mSeconds;
    ScriptedClock mClock;
};

} // namespace velmor::tests
