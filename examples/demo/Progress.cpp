#include "examples/demo/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>

namespace velmor::demo {
namespace {

constexpr int kBarLength = 30;
const char* const kClearLine = "\r\033[K";

} // namespace

Progress::Progress(int total) : mShown(isatty(STDERR_FILENO) == 1), mTotal(std::max(1, total)) {}

Progress::~Progress()
{
    if (mShown && mDone > 0)
        std::cerr << kClearLine << std::flush;
}

void Progress::step(const std::string& what)
{
    mDone = std::min(mDone + 1, mTotal);
    if (!mShown)
        return;
    const auto filled = static_cast<std::size_t>(kBarLength * mDone / mTotal);
    std::cerr << kClearLine << '[' << std::string(filled, '#') << std::string(kBarLength - filled, '.') << "] " << what
              << std::flush;
}

} // namespace velmor::demo
