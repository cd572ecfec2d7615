#include "python/binding/Gate.h"

namespace velmor::python {

void Gate::enter()
{
    std::unique_lock<std::mutex> lock(mMutex);
    mChange.wait(lock, [this] { return !mIsClosed; });
    ++mInside;
}

void Gate::leave()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    --mInside;
    if (mIsClosed && mInside == 0)
        mChange.notify_all();
}

void Gate::enterAlone()
{
    std::unique_lock<std::mutex> lock(mMutex);
    mChange.wait(lock, [this] { return !mIsClosed; });
    mIsClosed = true;
    mChange.wait(lock, [this] { return mInside == 0; });
}

void Gate::leaveAlone()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    mIsClosed = false;
    mChange.notify_all();
}

} // namespace velmor::python
