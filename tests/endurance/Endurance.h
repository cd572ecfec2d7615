#pragma once

#include "tests/support/Digest.h"

#include <cstddef>
#include <functional>
#include <string>

namespace velmor::tests {

/// Calls things again and again, and prints for each how its memory and its results have stayed.
class Endurance
{
public:
    /// How many different calls there are, one after the other, before the first comes again.
    static constexpr std::size_t kRound = 50;

    /// A call: its number in the round, and where its results go; null when they are not asked for.
    using Call = std::function<void(std::size_t number, Digest* results)>;

    /// Makes so many calls, at least four rounds, and prints a line. Results are compared between the second round and
    /// the last one, and memory between the second quarter of the rounds and the last quarter: the least of each.
    /// @param mayStay  bytes of the heap that may stay with each call
    void endure(const std::string& name, std::size_t calls, const Call& call, double mayStay = 0.0);

    /// Whether nothing has grown more than it may, and all results stayed the same.
    bool isGood() const { return mIsGood; }

private:
    bool mIsGood = true;
};

/// A number of the command line, or another one where there is none.
/// @throws std::invalid_argument  when it is no number above 0
std::size_t numberOf(int argc, char** argv, int index, std::size_t otherwise);

} // namespace velmor::tests
