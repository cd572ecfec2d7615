// Loops over elements for vector code; included once for each instruction set, after Highway's headers.
//
// A rule of elements is written once, for vectors. Ends of rows shorter than a vector go through a buffer of its
// length, so that every element is computed by the same instructions.

#if defined(VELMOR_NATIVE_ELEMENTS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VELMOR_NATIVE_ELEMENTS_INL_H
#undef VELMOR_NATIVE_ELEMENTS_INL_H
#else
#define VELMOR_NATIVE_ELEMENTS_INL_H
#endif

#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

HWY_BEFORE_NAMESPACE();
namespace velmor::native::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

/// Fewer elements than a vector has. What lies behind them in the vector is zero.
template<class D, class Function, typename T = hn::TFromD<D>>
HWY_ATTR void mapPart(D d, const T* a, const T* b, T* out, std::size_t count, const Function& function)
{
    HWY_ALIGN T first[hn::MaxLanes(d)] = {};
    HWY_ALIGN T second[hn::MaxLanes(d)] = {};
    std::copy_n(a, count, first);
    if (b)
        std::copy_n(b, count, second);
    hn::Store(function(d, hn::Load(d, first), hn::Load(d, second)), d, first);
    std::copy_n(first, count, out);
}

/// Elements from a place on up to the first one where a vector is aligned.
template<class D, typename T = hn::TFromD<D>>
HWY_ATTR std::size_t elementsToAlignment(D d, const T* place)
{
    const std::size_t vectorBytes = hn::Lanes(d) * sizeof(T);
    const std::size_t beyond = reinterpret_cast<std::uintptr_t>(place) % vectorBytes;
    return (vectorBytes - beyond) % vectorBytes / sizeof(T);
}

/// out[i] = function(a[i], b[i]). The result may be a source as it is.
/// @param b        null for a function of one source, which is given `a` twice
/// @param streams  whether the result had better not go through the caches
template<class D, class Function, typename T = hn::TFromD<D>>
HWY_ATTR void mapElements(D d, const T* a, const T* b, T* out, std::size_t count, bool streams,
                          const Function& function)
{
    const std::size_t lanes = hn::Lanes(d);
    const T* const second = b ? b : a;
    std::size_t i = 0;
    if (streams) {
        i = std::min(count, elementsToAlignment(d, out));
        mapPart(d, a, b, out, i, function);
        for (; i + lanes <= count; i += lanes)
            hn::Stream(function(d, hn::LoadU(d, a + i), hn::LoadU(d, second + i)), d, out + i);
        hwy::FlushStream();
    }
    for (; i + lanes <= count; i += lanes)
        hn::StoreU(function(d, hn::LoadU(d, a + i), hn::LoadU(d, second + i)), d, out + i);
    if (i < count)
        mapPart(d, a + i, b ? b + i : nullptr, out + i, count - i, function);
}

/// out[i] = function(in[i]) where the elements of the two differ in type. The result may be the source as it is where
/// they have one size.
/// @param d         of the result
/// @param streams   as above
/// @param function  takes as many elements of the source as a vector of the result has
template<class D, typename In, class Function, typename T = hn::TFromD<D>>
HWY_ATTR void convertElements(D d, const In* in, T* out, std::size_t count, bool streams, const Function& function)
{
    const hn::Rebind<In, D> dIn;
    const std::size_t lanes = hn::Lanes(d);
    const auto convertPart = [&](std::size_t first, std::size_t number) HWY_ATTR {
        HWY_ALIGN In part[hn::MaxLanes(d)] = {};
        HWY_ALIGN T converted[hn::MaxLanes(d)];
        std::copy_n(in + first, number, part);
        hn::Store(function(hn::Load(dIn, part)), d, converted);
        std::copy_n(converted, number, out + first);
    };
    std::size_t i = 0;
    if (streams) {
        i = std::min(count, elementsToAlignment(d, out));
        convertPart(0, i);
        for (; i + lanes <= count; i += lanes)
            hn::Stream(function(hn::LoadU(dIn, in + i)), d, out + i);
        hwy::FlushStream();
    }
    for (; i + lanes <= count; i += lanes)
        hn::StoreU(function(hn::LoadU(dIn, in + i)), d, out + i);
    if (i < count)
        convertPart(i, count - i);
}

/// Calls a function for each vector of pixels of several channels, with where they lie in the sources and the result.
template<std::size_t channels, class D, class Function, typename T = hn::TFromD<D>>
HWY_ATTR void forEachVector(D d, const T* a, const T* b, T* out, std::size_t pixels, const Function& function)
{
    const std::size_t lanes = hn::Lanes(d);
    std::size_t i = 0;
    for (; i + lanes <= pixels; i += lanes)
        function(a + channels * i, b + channels * i, out + channels * i);
    if (i < pixels) {
        HWY_ALIGN T first[channels * hn::MaxLanes(d)] = {};
        HWY_ALIGN T second[channels * hn::MaxLanes(d)] = {};
        std::copy_n(a + channels * i, channels * (pixels - i), first);
        std::copy_n(b + channels * i, channels * (pixels - i), second);
        function(first, second, first);
        std::copy_n(first, channels * (pixels - i), out + channels * i);
    }
}

/// mapElements() of two sources for pixels of three channels.
/// @param function  takes the vectors of each channel of the first source, then of the second, and writes those of the
///                  result in place of the first
template<class D, class Function, typename T = hn::TFromD<D>>
HWY_ATTR void mapPixelsOfThree(D d, const T* a, const T* b, T* out, std::size_t pixels, const Function& function)
{
    forEachVector<3>(d, a, b, out, pixels, [&](const T* first, const T* second, T* result) HWY_ATTR {
        auto a0 = hn::Zero(d), a1 = a0, a2 = a0, b0 = a0, b1 = a0, b2 = a0;
        hn::LoadInterleaved3(d, first, a0, a1, a2);
        hn::LoadInterleaved3(d, second, b0, b1, b2);
        function(d, a0, a1, a2, b0, b1, b2);
        hn::StoreInterleaved3(a0, a1, a2, d, result);
    });
}

/// The same for pixels of four channels.
template<class D, class Function, typename T = hn::TFromD<D>>
HWY_ATTR void mapPixelsOfFour(D d, const T* a, const T* b, T* out, std::size_t pixels, const Function& function)
{
    forEachVector<4>(d, a, b, out, pixels, [&](const T* first, const T* second, T* result) HWY_ATTR {
        auto a0 = hn::Zero(d), a1 = a0, a2 = a0, a3 = a0, b0 = a0, b1 = a0, b2 = a0, b3 = a0;
        hn::LoadInterleaved4(d, first, a0, a1, a2, a3);
        hn::LoadInterleaved4(d, second, b0, b1, b2, b3);
        function(d, a0, a1, a2, a3, b0, b1, b2, b3);
        hn::StoreInterleaved4(a0, a1, a2, a3, d, result);
    });
}

} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
