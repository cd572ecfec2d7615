#include "native/internal/Memory.h"

#include <unistd.h>

#include <algorithm>
#include <fstream>

namespace velmor::native {
namespace {

std::size_t rowBytes(const cv::Mat& picture)
{
    return static_cast<std::size_t>(picture.cols) * picture.elemSize();
}

const uchar* endOf(const cv::Mat& picture)
{
    return picture.ptr(picture.rows - 1) + rowBytes(picture);
}

std::size_t readLastCacheSize()
{
    constexpr std::size_t kUsual = std::size_t{8} << 20;
    // What the C library knows is the size of the whole processor's cache even where a virtual machine has a part of
    // it.
    const long known = sysconf(_SC_LEVEL3_CACHE_SIZE);
    std::size_t size = known > 0 ? static_cast<std::size_t>(known) : kUsual;
    std::ifstream file("/sys/devices/system/cpu/cpu0/cache/index3/size");
    std::size_t kibibytes = 0;
    if (file >> kibibytes && kibibytes > 0)
        size = std::min(size, kibibytes << 10);
    return size;
}

} // namespace

bool overlap(const cv::Mat& a, const cv::Mat& b)
{
    if (a.empty() || b.empty() || endOf(a) <= b.ptr() || endOf(b) <= a.ptr())
        return false;
    const std::size_t step = a.step[0];
    if (step != b.step[0])
        return true;
    // Rows of one picture: the columns decide.
    const bool aFirst = a.ptr() <= b.ptr();
    const cv::Mat& left = aFirst ? a : b;
    const cv::Mat& right = aFirst ? b : a;
    const std::size_t column = static_cast<std::size_t>(right.ptr() - left.ptr()) % step;
    return column < rowBytes(left) || column + rowBytes(right) > step;
}

bool coincide(const cv::Mat& a, const cv::Mat& b)
{
    return a.ptr() == b.ptr() && a.size() == b.size() && a.elemSize() == b.elemSize() &&
           (a.rows == 1 || a.step[0] == b.step[0]);
}

std::size_t lastCacheSize()
{
    static const std::size_t size = readLastCacheSize();
    return size;
}

} // namespace velmor::native
