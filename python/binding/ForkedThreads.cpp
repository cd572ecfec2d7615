#include "python/binding/ForkedThreads.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <thread>
#include <vector>

namespace velmor::python {
namespace {

thread_local int threadNumber = 0;

} // namespace

void ForkedThreads::parallel_for(int tasks, FN_parallel_for_body_cb_t body, void* data)
{
    std::atomic<int> next{0};
    const auto work = [&](int number) {
        threadNumber = number;
        for (int task = next++; task < tasks; task = next++)
            body(task, task + 1, data);
    };
    std::vector<std::thread> others;
    const int wanted = std::min(mThreads, tasks);
    try {
        for (int number = 1; number < wanted; ++number)
            others.emplace_back(work, number);
    } catch (const std::exception&) {
        // The system gives no more threads, or no memory for them: those that there are do all of it.
    }
    work(0);
    for (std::thread& other : others)
        other.join();
}

int ForkedThreads::getThreadNum() const
{
    return threadNumber;
}

int ForkedThreads::setNumThreads(int threads)
{
    const int before = mThreads;
    mThreads = std::max(threads, 1);
    return before;
}

} // namespace velmor::python
