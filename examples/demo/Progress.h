#pragma once

#include <string>

namespace velmor::demo {

/// A bar on standard error that grows with the work, where that is a terminal; elsewhere nothing is shown.
class Progress
{
public:
    /// @param total  number of steps
    explicit Progress(int total);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Clears the line.
    ~Progress();

    /// Tells that a further step begins.
    /// @param what  a few words that stand behind the bar
    void step(const std::string& what);

private:
    bool mShown;
    int mTotal;
    int mDone = 0;
};

} // namespace velmor::demo
