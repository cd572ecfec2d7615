#include "examples/viewer/Player.h"

namespace velmor::viewer {

Player::Player(const std::string& input, const demo::MessageLog& log)
    : mInput(input), mLog(log), mSource(demo::FrameSource::open(input, log))
{
    mSource->next(mFrame);
}

bool Player::advance()
{
    if (mSource->next(mFrame)) {
        mIsFirst = false;
        return true;
    }
    if (mIsFirst)
        return false;
    mSource = demo::FrameSource::open(mInput, mLog);
    return mSource->next(mFrame);
}

} // namespace velmor::viewer
