#pragma once

#include <string>
#include <vector>

namespace velmor::tests {

/// A call of one of OpenCV's C functions, and the object that it was for.
struct OpenCvCall
{
    std::string function;
    const void* object; ///< the image, the storage or the cascade; null for none

    bool operator==(const OpenCvCall& other) const { return function == other.function && object == other.object; }
};

/// While one of these lives, the C functions of OpenCV that operators make and release their objects with are recorded.
///
/// They see the calls of everything that is linked into the test program itself, by way of the linker's --wrap.
class OpenCvCalls
{
public:
    OpenCvCalls();
    OpenCvCalls(const OpenCvCalls&) = delete;
    OpenCvCalls& operator=(const OpenCvCalls&) = delete;
    ~OpenCvCalls();

    /// The calls so far, in their order; they are forgotten.
    std::vector<OpenCvCall> take();

    /// Adds something else that is to stand in its place between the calls.
    void note(const std::string& event, const void* object);

    /// Lets one cvCreateImage() fail as it does without memory.
    /// @param index  how many come before it
    void refuseImage(int index);

    /// From now on cvCreateImage() makes headers alone, and cvSetZero() does nothing: for sizes that take gigabytes.
    void leaveOutPixels();

    /// From now on cvCvtColor() gives values that are one lower.
    void darkenGrey();
};

} // namespace velmor::tests
