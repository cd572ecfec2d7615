#include "examples/shared/Program.h"

#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>

#include <cstdlib>
#include <iostream>
#include <new>

namespace velmor::demo {
namespace {

constexpr int kUsageError = 2;

} // namespace

void silenceCodecs()
{
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    setenv("OPENCV_FFMPEG_LOGLEVEL", "-8", 0);
}

void reportFailure(const std::string& name, const std::string& reason)
{
    std::cerr << name << ": " << reason << std::endl;
}

int runProgram(const std::string& name, const std::function<void()>& program)
{
    try {
        program();
        return EXIT_SUCCESS;
    } catch (const UsageError& error) {
        reportFailure(name, std::string(error.what()) + " (--help shows the usage)");
        return kUsageError;
    } catch (const cv::Exception& error) {
        reportFailure(name, "OpenCV: " + error.err);
    } catch (const std::bad_alloc&) {
        reportFailure(name, "there is not enough memory for frames of this size");
    } catch (const std::exception& error) {
        reportFailure(name, error.what());
    }
    return EXIT_FAILURE;
}

} // namespace velmor::demo
