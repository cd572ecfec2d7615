#pragma once

#include <opencv2/core.hpp>

#include <new>

namespace velmor::core::util {

/// Whether OpenCV ended a call because it had no memory. Its UMat says so by an assertion.
inline bool isOutOfMemory(const cv::Exception& error)
{
    return error.code == cv::Error::StsNoMem || (error.code == cv::Error::StsAssert && error.err == "u != 0");
}

/// Does what calls OpenCV. Where that has no memory, it throws an exception of its own; here it is std::bad_alloc.
template<typename Work>
decltype(auto) orBadAlloc(const Work& work)
{
    try {
        return work();
    } catch (const cv::Exception& error) {
        if (isOutOfMemory(error))
            throw std::bad_alloc();
        throw;
    }
}

} // namespace velmor::core::util
