#pragma once

#include <functional>
#include <string>

namespace velmor::tests {

/// Runs a function under each instruction set that the processor has, the best one last, and with the plain loops that
/// stand for none.
void onEachInstructionSet(const std::function<void(const std::string& name)>& function);

} // namespace velmor::tests
