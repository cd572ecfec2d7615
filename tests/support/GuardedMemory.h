#pragma once

#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <sys/mman.h>
#include <unistd.h>

namespace velmor::tests {

/// Memory whose end is that of what may be touched.
class GuardedMemory
{
public:
    explicit GuardedMemory(std::size_t bytes)
        : mPage(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))), mBytes((bytes + mPage - 1) / mPage * mPage),
          mBegin(static_cast<uchar*>(
              mmap(nullptr, mBytes + mPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
    {
        EXPECT_EQ(mprotect(mBegin + mBytes, mPage, PROT_NONE), 0);
    }
    ~GuardedMemory() { munmap(mBegin, mBytes + mPage); }
    GuardedMemory(const GuardedMemory&) = delete;
    GuardedMemory& operator=(const GuardedMemory&) = delete;

    /// A picture at the very end.
    cv::Mat picture(cv::Size size, int type) const
    {
        const std::size_t bytes = static_cast<std::size_t>(size.area()) * CV_ELEM_SIZE(type);
        return {size, type, mBegin + mBytes - bytes};
    }

    /// A picture at the very end that equals another one, which may be empty.
    cv::Mat copyOf(const cv::Mat& other) const
    {
        cv::Mat copy = picture(other.size(), other.type());
        other.copyTo(copy);
        return copy;
    }

private:
    std::size_t mPage;
    std::size_t mBytes;
    uchar* mBegin;
};

} // namespace velmor::tests
