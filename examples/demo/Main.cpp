#include "examples/demo/Demo.h"
#include "examples/demo/Interruption.h"
#include "examples/demo/Options.h"
#include "examples/shared/Program.h"

#include <cerrno>
#include <cstring>
#include <iostream>
#include <stdexcept>

namespace {

using namespace velmor::demo;

constexpr const char* kName = "velmor_demo";

void run(int argc, char** argv)
{
    const Options options = parseOptions(argc, argv);
    if (options.help) {
        std::cout << usage();
        return;
    }
    silenceCodecs();
    Interruption::watch();
    const std::string summary = runDemo(options);
    if (!(std::cout << summary << std::flush))
        throw std::runtime_error("cannot print the summary: " + std::string(std::strerror(errno)));
}

} // namespace

int main(int argc, char** argv)
{
    return runProgram(kName, [&] {
        try {
            run(argc, argv);
        } catch (const Interruption& interruption) {
            reportFailure(kName, interruption.what());
            Interruption::endProcess();
        }
    });
}
