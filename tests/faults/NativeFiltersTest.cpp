// The filters on pictures in main memory when there is no memory.

#include "catalogue/NativeFilters.h"
#include "core/cvdata/ColourHist2d.h"
#include "native/ColorHistShader.h"
#include "tests/faults/FailingMemory.h"
#include "tests/support/Models.h"
#include "tests/support/NativeOperators.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <memory>
#include <vector>

namespace velmor::tests {
namespace {

using catalogue::Data;
using catalogue::Operator;

std::vector<unsigned char> bytesOf(const cv::Mat& picture)
{
    const std::size_t rowBytes = static_cast<std::size_t>(picture.cols) * picture.elemSize();
    std::vector<unsigned char> bytes;
    for (int y = 0; y < picture.rows; ++y)
        bytes.insert(bytes.end(), picture.ptr(y), picture.ptr(y) + rowBytes);
    return bytes;
}

cv::Mat randomPicture(int type, unsigned seed, cv::Size size)
{
    cv::Mat picture(size, type);
    cv::RNG(seed).fill(picture, cv::RNG::UNIFORM, 0, picture.depth() == CV_32F ? 1 : 256);
    return picture;
}

std::vector<int> typesFor(const Operator& each)
{
    switch (each.takes) {
    case Data::GREY:
    case Data::MOSAIC:
        return {CV_8UC1, CV_32FC1};
    case Data::DIRECTIONS:
        return {CV_32FC3};
    case Data::INTEGERS:
        return {CV_16UC1};
    default:
        return {CV_8UC3, CV_32FC3};
    }
}

TEST(NativeFiltersWithoutMemory, EachBearsFailures)
{
    core::cvdata::ColorGMM model = makeModel(
        {{{{0.01, 0}, {0, 0.01}}, 1e4f, {128, 128}, 0.5f}, {{{0.01, 0}, {0, 0.01}}, 1e4f, {64, 64}, 0.5f}}, 1e-5);
    catalogue::Given given;
    given.models = {&model};
    given.size = {67, 29};
    cv::setNumThreads(1);
    for (const Operator& each : nativeOperators()) {
        for (const int type : typesFor(each)) {
            SCOPED_TRACE(each.name + " of type " + std::to_string(type));
            const cv::Mat source = randomPicture(type, 1, given.size), other = randomPicture(type, 2, given.size);
            const auto call = [&](const native::Filter& filter) {
                cv::Mat result;
                if (filter.sources() == 1)
                    filter.execute(source, result);
                else
                    filter.execute(source, other, result);
                return bytesOf(result);
            };
            expectOperatorBearsFailures([&] { return catalogue::makeNative(each.name, {}, given); }, call);
            // And the making of it.
            expectOperatorBearsFailures([] { return std::make_unique<int>(); },
                                        [&](int) { return call(*catalogue::makeNative(each.name, {}, given)); });
        }
    }
    cv::setNumThreads(-1);
}

TEST(NativeFiltersWithoutMemory, NumbersBearFailures)
{
    cv::setNumThreads(1);
    const cv::Mat colours = randomPicture(CV_8UC3, 1, {67, 29});
    expectOperatorBearsFailures([] { return std::make_unique<core::cvdata::ColourHist2d>(4, 5, 6); },
                                [&](core::cvdata::ColourHist2d& histogram) {
                                    native::colorHistShader(colours, cv::Rect(0, 0, 67, 29), histogram);
                                    const math::Vector& data = histogram.data();
                                    return std::vector<double>(&data[0], &data[0] + data.size());
                                });
    cv::setNumThreads(-1);
}

} // namespace
} // namespace velmor::tests
