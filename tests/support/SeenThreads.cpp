// Linked under ThreadSanitizer, which takes the order that OpenCV's own threads keep for none, as they are not built
// with it. What OpenCV computes in parallel is done on threads of the standard library instead.

#include "python/binding/ForkedThreads.h"

#include <opencv2/core/utility.hpp>

#include <memory>

namespace {

[[maybe_unused]] const bool kIsSet = [] {
    cv::parallel::setParallelForBackend(std::make_shared<velmor::python::ForkedThreads>(), false);
    cv::setNumThreads(4); // on any machine
    return true;
}();

} // namespace
