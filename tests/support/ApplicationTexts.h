#pragma once

#include <string>
#include <vector>

namespace velmor::tests {

/// A program of an application that has nothing to do with the filters: shaders of every version of the language, in
/// whatever way people write them.
struct ApplicationProgram
{
    std::string name;
    std::string vertexText;
    std::string fragmentText;
};

/// Two hundred and more of them. None is of the filters' dialect. Drivers refuse a few.
std::vector<ApplicationProgram> applicationPrograms();

/// Programs that are of the dialect, and that a driver takes without any adapting.
std::vector<ApplicationProgram> classicPrograms();

} // namespace velmor::tests
