#pragma once

#include <condition_variable>
#include <mutex>

namespace velmor::python {

/// Lets in any number of threads, or one alone that has to be by itself. Who wants to be by himself goes first, so that
/// threads that come and go cannot keep him waiting.
class Gate
{
public:
    /// Waits while somebody is by himself.
    void enter();
    void leave();

    /// Waits until all others have left.
    void enterAlone();
    void leaveAlone();

private:
    std::mutex mMutex;
    std::condition_variable mChange;
    int mInside = 0;
    bool mIsClosed = false;
};

} // namespace velmor::python
