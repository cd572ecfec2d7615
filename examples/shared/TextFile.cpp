#include "examples/shared/TextFile.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace velmor::demo {

void writeTextFile(const std::string& file, const std::string& text)
{
    errno = 0;
    std::ofstream stream(file, std::ios::binary);
    stream << text;
    stream.close();
    if (!stream)
        throw std::runtime_error("cannot write '" + file + "': " + std::strerror(errno));
}

} // namespace velmor::demo
