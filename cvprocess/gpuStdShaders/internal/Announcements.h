#pragma once

#include "cvprocess/Export.h"

#include <ostream>

namespace velmor::cvprocess {

/// Where filters print what they announce: std::cout, unless there is Silence on the calling thread.
std::ostream& announcements();

/// While it lives, filters announce nothing on the thread that made it. There is one at a time on a thread.
class VELMOR_CVPROCESS_EXPORT Silence
{
public:
    Silence();
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;
    ~Silence();

private:
    std::ostream mNowhere{nullptr};
};

} // namespace velmor::cvprocess
