#pragma once

#include <opencv2/core/parallel/parallel_backend.hpp>

namespace velmor::python {

/// The threads of a forked process, for OpenCV.
///
/// Only the thread that forks goes on in the child; OpenCV's own threads do not, and it cannot start them again. These
/// are started for each call and end with it: that costs some microseconds, and there is nothing that the next fork
/// could spoil.
class ForkedThreads : public cv::parallel::ParallelForAPI
{
public:
    void parallel_for(int tasks, FN_parallel_for_body_cb_t body, void* data) override;
    int getThreadNum() const override;
    int getNumThreads() const override { return mThreads; }
    int setNumThreads(int threads) override;
    const char* getName() const override { return "velmor"; }

private:
    int mThreads = 1;
};

} // namespace velmor::python
