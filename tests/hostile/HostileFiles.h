#pragma once

#include <functional>
#include <string>

namespace velmor::tests {

/// A file that claims, nests or holds what no good one does.
struct HostileFile
{
    std::string kind; ///< what it is, and what is wrong with it: "pictures, cut"
    std::string name;
    std::string content;
    void (*load)(const std::string& path); ///< throws std::runtime_error with the reason when the file is refused
    bool mayLoad = false;                  ///< it means something
};

/// Hands over all hostile files, one after the other. It writes files into the current folder.
void forEachHostileFile(const std::function<void(const HostileFile&)>& take);

} // namespace velmor::tests
