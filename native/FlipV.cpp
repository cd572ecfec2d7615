#include "native/FlipV.h"

#include "native/internal/Rule.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "native/FlipV.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include "native/internal/Elements-inl.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace velmor::native::HWY_NAMESPACE {
namespace {

HWY_ATTR void flip(const Band& band)
{
    const cv::Mat& source = band.sources[0];
    const std::size_t bytes = static_cast<std::size_t>(source.cols) * source.elemSize();
    const auto same = [](auto, auto value, auto) HWY_ATTR {
        return value;
    };
    // The source is read forwards, which is what processors fetch ahead best; writing backwards costs nothing.
    for (int row = band.last - 1; row >= band.first; --row)
        mapElements(hn::ScalableTag<uint8_t>(), source.ptr(source.rows - 1 - row), static_cast<const uchar*>(nullptr),
                    band.result.ptr(row), bytes, band.streams, same);
}

} // namespace
} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velmor::native {
namespace {

HWY_EXPORT(flip);

std::shared_ptr<const Rule> makeRule()
{
    Rule rule;
    rule.name = "FlipV";
    rule.isPerPixel = false;
    rule.compute = [](const Band& band) {
        HWY_DYNAMIC_DISPATCH(flip)(band);
    };
    return std::make_shared<const Rule>(std::move(rule));
}

} // namespace

FlipV::FlipV() : Filter(makeRule()) {}

} // namespace velmor::native
#endif
