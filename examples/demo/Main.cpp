#include "examples/demo/Demo.h"
#include "examples/demo/Interruption.h"
#include "examples/demo/Options.h"

#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>

namespace {

constexpr int kUsageError = 2;

int fail(const std::string& reason, int code = EXIT_FAILURE)
{
    std::cerr << "velmor_demo: " << reason << std::endl;
    return code;
}

/// OpenCV and its video library print what is wrong with a video, the latter from threads of its own at any time; the
/// program says it in one line.
void silenceCodecs()
{
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    setenv("OPENCV_FFMPEG_LOGLEVEL", "-8", 0);
}

} // namespace

int main(int argc, char** argv)
{
    using namespace velmor::demo;
    try {
        const Options options = parseOptions(argc, argv);
        if (options.help) {
            std::cout << usage();
            return EXIT_SUCCESS;
        }
        silenceCodecs();
        Interruption::watch();
        const std::string summary = runDemo(options);
        if (!(std::cout << summary << std::flush))
            return fail("cannot print the summary: " + std::string(std::strerror(errno)));
        return EXIT_SUCCESS;
    } catch (const UsageError& error) {
        return fail(std::string(error.what()) + " (--help shows the usage)", kUsageError);
    } catch (const Interruption& interruption) {
        fail(interruption.what());
        Interruption::endProcess();
    } catch (const cv::Exception& error) {
        return fail("OpenCV: " + error.err);
    } catch (const std::bad_alloc&) {
        return fail("there is not enough memory for frames of this size");
    } catch (const std::exception& error) {
        return fail(error.what());
    }
}
