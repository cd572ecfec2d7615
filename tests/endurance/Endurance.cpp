#include "tests/endurance/Endurance.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <stdexcept>
#include <vector>

#include <malloc.h>
#include <unistd.h>

namespace velmor::tests {
namespace {

double heapInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

double resident()
{
    std::ifstream file("/proc/self/statm");
    double pages = 0, residentPages = 0;
    file >> pages >> residentPages;
    return residentPages * static_cast<double>(sysconf(_SC_PAGESIZE));
}

std::vector<std::uint64_t> roundOf(const Endurance::Call& call, bool hasResults)
{
    std::vector<std::uint64_t> results;
    for (std::size_t k = 0; k < Endurance::kRound; ++k) {
        Digest digest;
        call(k, hasResults ? &digest : nullptr);
        results.push_back(digest.value());
    }
    return results;
}

/// The least of a quarter of some numbers, of which there are at least four.
double leastOfQuarter(const std::vector<double>& numbers, std::size_t quarter)
{
    const auto at = [&](std::size_t k) {
        return numbers.begin() + static_cast<std::ptrdiff_t>(k * numbers.size() / 4);
    };
    return *std::min_element(at(quarter), at(quarter + 1));
}

} // namespace

void Endurance::endure(const std::string& name, std::size_t calls, const Call& call, double mayStay)
{
    using Clock = std::chrono::steady_clock;
    const std::size_t rounds = std::max<std::size_t>(4, calls / kRound);
    const Clock::time_point begin = Clock::now();
    std::vector<std::uint64_t> first, last;
    std::vector<double> heap(rounds), pages(rounds); // after each round
    for (std::size_t round = 0; round < rounds; ++round) {
        const bool isSecond = round == 1, isLast = round + 1 == rounds;
        last = roundOf(call, round == 0 || isSecond || isLast);
        if (isSecond)
            first = last;
        heap[round] = heapInUse();
        pages[round] = resident();
    }
    // The first quarter is for what comes once. Drivers fill a buffer before they make another one, and then take
    // turns: the least of many rounds has the same buffers.
    const std::size_t counted = rounds / 2 * kRound;
    const double heapStays = (leastOfQuarter(heap, 3) - leastOfQuarter(heap, 1)) / static_cast<double>(counted);
    const double pagesStay = leastOfQuarter(pages, 3) - leastOfQuarter(pages, 1);
    const std::chrono::duration<double> seconds = Clock::now() - begin;

    const bool isSame = first == last, isFlat = heapStays <= mayStay;
    mIsGood = mIsGood && isSame && isFlat;
    std::cout << std::left << std::setw(40) << name << std::right << std::setw(9) << rounds * kRound << std::fixed
              << std::setprecision(1) << std::setw(8) << seconds.count() << " s" << std::setw(9) << heapStays
              << std::setw(9) << pagesStay / 1024 << " KB" << (isFlat ? "" : "   GROWS") << (isSame ? "" : "   DIFFERS")
              << std::endl;
}

std::size_t numberOf(int argc, char** argv, int index, std::size_t otherwise)
{
    if (index >= argc)
        return otherwise;
    std::size_t used = 0;
    const std::string text = argv[index];
    const int number = std::stoi(text, &used);
    if (used != text.size() || number <= 0)
        throw std::invalid_argument("expected a number above 0, got '" + text + "'");
    return static_cast<std::size_t>(number);
}

} // namespace velmor::tests
