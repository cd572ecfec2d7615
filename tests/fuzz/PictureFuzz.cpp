// Files of any kind as pictures: each is refused or loads, grey and in colour, with pixels.

#include "imageio/ImageIo.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using velmor::core::cvdata::Image;
    static const int file = memfd_create("picture", 0);
    static const std::string name = "/proc/self/fd/" + std::to_string(file);
    if (ftruncate(file, 0) != 0 || pwrite(file, data, size, 0) != static_cast<ssize_t>(size))
        std::abort();
    for (const auto layout : {Image::GREYSCALE, Image::RGB}) {
        try {
            const Image image = velmor::imageio::load(name, layout);
            if (image.width() == 0 || image.height() == 0)
                std::abort();
        } catch (const std::runtime_error& error) {
            if (std::string(error.what()).find("load(): cannot load '" + name + "': ") != 0)
                std::abort();
        }
    }
    return 0;
}
