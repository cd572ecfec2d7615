#include "native/FlipV.h"

#include "native/internal/Rule.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "native/FlipV.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include "native/internal/Elements-inl.h"

#include <hwy/highway.h>

#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace velmor::native::HWY_NAMESPACE {

HWY_ATTR void streamRow(const uint8_t* from, uint8_t* to, std::size_t bytes)
{
    mapElements(hn::ScalableTag<uint8_t>(), from, static_cast<const uint8_t*>(nullptr), to, bytes, true,
                [](auto, auto value, auto) HWY_ATTR { return value; });
}

} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velmor::native {
namespace {

HWY_EXPORT(streamRow);

void flip(const Band& band)
{
    const cv::Mat& source = band.sources[0];
    cv::Mat result = band.result;
    const std::size_t bytes = static_cast<std::size_t>(source.cols) * source.elemSize();
    for (int row = band.first; row < band.last; ++row) {
        const uchar* const from = source.ptr(source.rows - 1 - row);
        if (band.streams)
            HWY_DYNAMIC_DISPATCH(streamRow)(from, result.ptr(row), bytes);
        else
            std::memcpy(result.ptr(row), from, bytes);
    }
}

std::shared_ptr<const Rule> makeRule()
{
    Rule rule;
    rule.name = "FlipV";
    rule.isPerPixel = false;
    rule.compute = flip;
    return std::make_shared<const Rule>(std::move(rule));
}

} // namespace

FlipV::FlipV() : Filter(makeRule()) {}

} // namespace velmor::native
#endif
