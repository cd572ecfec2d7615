#pragma once

#include "bench/Frames.h"
#include "bench/Ratio.h"

#include <opencv2/core.hpp>

#include <functional>
#include <set>
#include <stdexcept>
#include <string>

namespace velmor::bench {

/// An operator in main memory beside what a user would call instead.
struct Comparison
{
    std::string name; ///< operator/types/size/pictures, such as "BGR2HSV/bytes/1080p/real"
    std::function<void()> own;
    std::string beside; ///< what the other one calls, such as "cv::cvtColor"
    std::function<void()> other;
    double most = 0;    ///< largest ratio of the times that is good enough; 0 where none was set
    double ownWork = 1; ///< how much more work the own one does, as in bytes moved; the ratio is divided by it
    double pixels = 0;  ///< that a call of the own one takes; 0 where no speed was set
    double least = 0;   ///< lowest speed of the own one that is good enough, in pixels a nanosecond
};

/// What is timed now. A program empties it at its end where a comparison holds what ends before static objects do, as
/// OpenGL's driver.
inline Comparison& timedNow()
{
    static Comparison comparison;
    return comparison;
}

/// The operators that have a benchmark.
inline std::set<std::string>& measuredOperators()
{
    static std::set<std::string> names;
    return names;
}

/// Registers a comparison.
/// @param name  operator, types, size and pictures, such as "BGR2HSV/8UC3/1080p/real"
/// @param make  makes the pictures, checks the results, and says what to time; called once for all repetitions that
///              follow each other
inline void add(const std::string& name, const std::function<Comparison()>& make)
{
    measuredOperators().insert(name.substr(0, name.find('/')));
    const auto run = [name, make](benchmark::State& state) {
        static std::string made;
        Comparison& comparison = timedNow();
        if (made != name)
            comparison = make();
        made = name;
        compare(state, comparison.own, comparison.beside, comparison.other);
        const double ratio = state.counters["ratio"] /= comparison.ownWork;
        if (comparison.most > 0) {
            state.counters["most"] = comparison.most;
            state.counters["missed"] = ratio > comparison.most;
        }
        if (comparison.pixels > 0) {
            const double speed = 1e-6 * comparison.pixels / state.counters["own_ms"];
            state.counters["Gpix/s"] = speed;
            state.counters["least"] = comparison.least;
            state.counters["missed"] = speed < comparison.least;
        }
    };
    benchmark::RegisterBenchmark(name.c_str(), run)->UseManualTime()->Unit(benchmark::kMillisecond);
}

/// A frame of the pedestrian video, with so many channels of bytes or floats on 0..1, red first.
inline cv::Mat realPicture(const Size& size, int type)
{
    using core::cvdata::Image;
    const Image frame = cameraFrames(1, size, Image::RGB).front();
    const cv::Mat colours = frame.mat();
    cv::Mat picture;
    switch (CV_MAT_CN(type)) {
    case 1:
        cv::cvtColor(colours, picture, cv::COLOR_RGB2GRAY);
        break;
    case 3:
        picture = colours.clone();
        break;
    default:
        cv::cvtColor(colours, picture, cv::COLOR_RGB2RGBA);
    }
    if (CV_MAT_DEPTH(type) == CV_32F)
        picture.convertTo(picture, CV_32F, 1.0 / 255.0);
    return picture;
}

/// A picture of random bytes, or of random floats on 0..1.
inline cv::Mat randomPicture(const Size& size, int type)
{
    cv::Mat picture(static_cast<int>(size.height), static_cast<int>(size.width), type);
    cv::RNG random(1);
    const bool floats = CV_MAT_DEPTH(type) == CV_32F;
    random.fill(picture, cv::RNG::UNIFORM, 0, floats ? 1 : 256);
    return picture;
}

/// Throws unless what is to be timed is right.
inline void expect(bool holds, const std::string& what)
{
    if (!holds)
        throw std::runtime_error(what + " is wrong; nothing is timed");
}

} // namespace velmor::bench
