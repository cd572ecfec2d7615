#include "native/internal/Depths.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "native/internal/Depths.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include "native/internal/Elements-inl.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace velmor::native::HWY_NAMESPACE {
namespace {

using Floats = hn::ScalableTag<float>;
using Integers = hn::Rebind<int32_t, Floats>;
using Bytes = hn::Rebind<uint8_t, Floats>;

HWY_ATTR void rowToFloats(const uint8_t* bytes, float* floats, std::size_t count)
{
    const Floats d;
    convertElements(d, bytes, floats, count, false, [&](auto values) HWY_ATTR {
        return hn::Div(hn::ConvertTo(d, hn::PromoteTo(Integers(), values)), hn::Set(d, 255.0F));
    });
}

HWY_ATTR void rowToBytes(const float* floats, uint8_t* bytes, std::size_t count)
{
    const Floats d;
    const auto one = hn::Set(d, 1.0F);
    convertElements(Bytes(), floats, bytes, count, false, [&](auto value) HWY_ATTR {
        const auto atLeast0 = hn::IfThenElseZero(hn::Gt(value, hn::Zero(d)), value);
        const auto scaled = hn::Mul(hn::IfThenElse(hn::Gt(atLeast0, one), one, atLeast0), hn::Set(d, 255.0F));
        // Adding a half would round once more: the largest float below a half would become 1.
        const auto whole = hn::Floor(scaled);
        const auto roundsUp = hn::Ge(hn::Sub(scaled, whole), hn::Set(d, 0.5F));
        const auto rounded = hn::Add(whole, hn::IfThenElseZero(roundsUp, one));
        return hn::DemoteTo(Bytes(), hn::ConvertTo(Integers(), rounded));
    });
}

} // namespace
} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velmor::native {
namespace {

HWY_EXPORT(rowToFloats);
HWY_EXPORT(rowToBytes);

std::size_t elementsOfRow(const cv::Mat& picture)
{
    return static_cast<std::size_t>(picture.cols) * static_cast<std::size_t>(picture.channels());
}

} // namespace

void bytesToFloats(const cv::Mat& bytes, cv::Mat& floats)
{
    for (int row = 0; row < bytes.rows; ++row)
        HWY_DYNAMIC_DISPATCH(rowToFloats)(bytes.ptr(row), floats.ptr<float>(row), elementsOfRow(bytes));
}

void floatsToBytes(const cv::Mat& floats, cv::Mat& bytes)
{
    for (int row = 0; row < floats.rows; ++row)
        HWY_DYNAMIC_DISPATCH(rowToBytes)(floats.ptr<float>(row), bytes.ptr(row), elementsOfRow(floats));
}

} // namespace velmor::native
#endif
