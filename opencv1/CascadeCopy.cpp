#include "opencv1/CascadeCopy.h"

#include "core/util/internal/WholeFile.h"
#include "opencv1/CascadeFile.h"
#include "opencv1/HaarCascade.h"

#include <sys/mman.h>
#include <unistd.h>

#include <stdexcept>

namespace velmor::opencv1 {
namespace {

bool writeAll(int descriptor, const std::vector<unsigned char>& bytes)
{
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t part = write(descriptor, bytes.data() + written, bytes.size() - written);
        if (part < 0)
            return false;
        written += static_cast<std::size_t>(part);
    }
    return true;
}

/// Whether a file is a cascade, by the function that detectors read it with.
bool isCascade(const std::string& file)
{
    auto* cascade = static_cast<CvHaarClassifierCascade*>(cvLoad(file.c_str()));
    const bool isThere = cascade != nullptr;
    cvReleaseHaarClassifierCascade(&cascade);
    return isThere;
}

} // namespace

CascadeCopy::CascadeCopy(const std::vector<unsigned char>& bytes) : mDescriptor(memfd_create("cascade", MFD_CLOEXEC))
{
    const bool isWhole = mDescriptor >= 0 && writeAll(mDescriptor, bytes);
    if (isWhole && isCascade(name()))
        return;
    if (mDescriptor >= 0)
        close(mDescriptor);
    if (!isWhole)
        throw std::runtime_error("there is no memory for it");
    checkedCascade({bytes.begin(), bytes.end()}); // which says what is wrong
    throw std::runtime_error("it is not a cascade that OpenCV takes");
}

CascadeCopy::~CascadeCopy()
{
    close(mDescriptor);
}

std::string CascadeCopy::name() const
{
    return "/proc/self/fd/" + std::to_string(mDescriptor);
}

std::unique_ptr<CascadeCopy> copyOfCascade(const std::string& attempt, const std::string& file)
{
    const std::vector<unsigned char> bytes = core::util::readWholeFile(attempt, file, kMostOfACascade);
    try {
        return std::make_unique<CascadeCopy>(bytes);
    } catch (const std::runtime_error& error) {
        throw core::util::fileError(attempt, file, error.what());
    }
}

} // namespace velmor::opencv1
