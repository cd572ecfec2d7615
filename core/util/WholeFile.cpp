#include "core/util/WholeFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace velmor::core::util {

std::runtime_error fileError(const std::string& attempt, const std::string& file, const std::string& reason)
{
    return std::runtime_error(attempt + " '" + file + "': " + reason);
}

std::vector<unsigned char> readWholeFile(const std::string& attempt, const std::string& file)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(file, error);
    if (std::filesystem::is_directory(status))
        throw fileError(attempt, file, "it is a folder");
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throw fileError(attempt, file, std::strerror(errno));
    std::vector<unsigned char> bytes;
    char part[65536];
    while (stream.read(part, sizeof(part)) || stream.gcount() > 0)
        bytes.insert(bytes.end(), part, part + stream.gcount());
    if (stream.bad())
        throw fileError(attempt, file, std::strerror(errno));
    if (bytes.empty())
        throw fileError(attempt, file, "it is empty");
    return bytes;
}

void writeWholeFile(const std::string& attempt, const std::string& file, const std::vector<unsigned char>& bytes)
{
    const std::string unfinished = file + ".part";
    errno = 0;
    std::ofstream stream(unfinished, std::ios::binary);
    if (!stream)
        throw fileError(attempt, file, std::strerror(errno));
    stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    std::error_code error;
    if (stream)
        std::filesystem::rename(unfinished, file, error);
    if (!stream || error) {
        const std::string reason = error ? error.message() : std::strerror(errno);
        std::filesystem::remove(unfinished, error);
        throw fileError(attempt, file, reason);
    }
}

} // namespace velmor::core::util
