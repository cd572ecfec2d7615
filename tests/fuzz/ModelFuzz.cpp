// Bytes of any kind as a model's file: loading them ends, with a model or with an error that leaves the model as it
// was; and a model that was loaded is the same, to the bit, when it has been saved and loaded again, in every format.
// The content tells the format of a file, not its name.

#include "core/cvdata/ColorGMM.h"
#include "tests/support/MemoryFile.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

namespace {

using velmor::core::cvdata::ColorGMM;
using velmor::core::cvdata::GM;
using velmor::tests::MemoryFile;

[[noreturn]] void stop(const std::string& what)
{
    std::cerr << what << std::endl;
    std::abort();
}

/// The numbers of a model. All values that are no number are one.
std::vector<std::uint64_t> bitsOf(const ColorGMM& model)
{
    std::vector<std::uint64_t> all;
    const auto add = [&](double number) {
        std::uint64_t bits = 0;
        if (std::isnan(number))
            number = std::nan("");
        std::memcpy(&bits, &number, sizeof(bits));
        all.push_back(bits);
    };
    add(model.detectionThreshold);
    for (const auto& component : model.mixture) {
        for (const double number :
             {double{component->weight}, double{component->determinant}, static_cast<double>(component->dimension)})
            add(number);
        for (unsigned row = 0; row < component->mean.size(); ++row) {
            add(component->mean[row]);
            for (unsigned col = 0; col < component->mean.size(); ++col)
                add(component->invCovariance[row][col]);
        }
    }
    return all;
}

ColorGMM modelBefore()
{
    ColorGMM model;
    model.mixture.emplace_back(new GM(2));
    model.mixture.front()->weight = 0.5f;
    return model;
}

/// Loads a file; false when it is refused as is promised.
bool load(ColorGMM& model, const std::string& file)
{
    const std::vector<std::uint64_t> before = bitsOf(model);
    try {
        model.load(file);
        return true;
    } catch (const std::runtime_error& error) {
        if (std::string_view(error.what()).substr(0, 31 + file.size()) != "ColorGMM::load(): cannot load '" + file)
            stop(std::string("an error of another kind: ") + error.what());
    }
    if (bitsOf(model) != before)
        stop("the model is another one behind an error");
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static MemoryFile file;
    file.write({reinterpret_cast<const char*>(data), size});
    ColorGMM model = modelBefore();
    if (!load(model, file.path()))
        return 0;
    for (const char* const extension : {".yml", ".yaml", ".xml"}) {
        const std::string saved = "/dev/shm/velmor_fuzz_model." + std::to_string(getpid()) + extension;
        ColorGMM again = modelBefore();
        model.save(saved);
        const bool isLoaded = load(again, saved);
        std::filesystem::remove(saved);
        if (!isLoaded || bitsOf(again) != bitsOf(model))
            stop(std::string("another model comes back from ") + extension);
    }
    return 0;
}
