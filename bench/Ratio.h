#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

namespace velmor::bench {

template<typename Code>
double seconds(const Code& code)
{
    const auto start = std::chrono::steady_clock::now();
    code();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

inline double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Times a piece of code in turn with the one that it is compared with, so that both see the same machine, and reports
/// the medians in milliseconds and the median of the ratios, pair by pair. Which comes first changes from pair to pair:
/// the second finds the machine warmer.
template<typename Code, typename Other>
void compare(benchmark::State& state, const Code& code, const std::string& otherName, const Other& other)
{
    std::vector<double> own, others, ratios;
    bool ownFirst = true;
    for (auto each : state) {
        (void)each;
        const double first = ownFirst ? seconds(code) : seconds(other);
        const double second = ownFirst ? seconds(other) : seconds(code);
        own.push_back(ownFirst ? first : second);
        others.push_back(ownFirst ? second : first);
        ownFirst = !ownFirst;
        ratios.push_back(own.back() / others.back());
        state.SetIterationTime(own.back() + others.back()); // so that a slow other one does not take minutes
    }
    if (own.empty())
        return;
    state.counters["own_ms"] = 1e3 * median(own);
    state.counters[otherName + "_ms"] = 1e3 * median(others);
    state.counters["ratio"] = median(ratios);
}

} // namespace velmor::bench
