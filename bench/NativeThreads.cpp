// Each filter on pictures in main memory with one thread and with all: how fast it is, and what the threads gain beside
// what they gain for a loop in registers, in turn with it.

#include "bench/NativeFilters.h"
#include "bench/Operators.h"

#include <opencv2/core/utility.hpp>

#include <atomic>
#include <cstdint>
#include <cstring>

namespace velmor::bench {
namespace {

/// Runs pieces of work on the threads that OpenCV has.
template<typename Piece>
void onThreads(int pieces, const Piece& piece)
{
    cv::parallel_for_(cv::Range(0, pieces), [&](const cv::Range& range) {
        for (int k = range.start; k < range.end; ++k)
            piece(k);
    });
}

/// Some milliseconds of work that needs no memory.
void loopInRegisters()
{
    constexpr int kPieces = 16;
    constexpr int kSteps = 100000;
    std::atomic<std::uint64_t> sum{0};
    onThreads(kPieces, [&](int piece) {
        std::uint64_t random = static_cast<std::uint64_t>(piece) + 1;
        for (int step = 0; step < kSteps; ++step) {
            random ^= random << 13;
            random ^= random >> 7;
            random ^= random << 17;
        }
        sum += random;
    });
    benchmark::DoNotOptimize(sum.load());
}

/// Reads and writes as many bytes as a filter, by memcpy().
class Copy
{
public:
    explicit Copy(std::size_t bytes)
        : mPiece(static_cast<int>(bytes / 2 / kPieces)), mFrom(kPieces, mPiece, CV_8U, cv::Scalar(1)),
          mTo(kPieces, mPiece, CV_8U, cv::Scalar(2))
    {
    }
    void operator()()
    {
        onThreads(kPieces, [&](int piece) { std::memcpy(mTo.ptr(piece), mFrom.ptr(piece), mTo.step); });
    }

private:
    static constexpr int kPieces = 16;
    int mPiece;
    cv::Mat mFrom, mTo;
};

/// The time of a second call, after a change of the number of threads.
template<typename Code>
double secondsWarm(const Code& code)
{
    code();
    return seconds(code);
}

/// Times with one thread and with all, in turn.
struct Times
{
    std::vector<double> one, all;

    template<typename Code>
    double add(const Code& code)
    {
        cv::setNumThreads(1);
        one.push_back(secondsWarm(code));
        cv::setNumThreads(cv::getNumberOfCPUs());
        all.push_back(secondsWarm(code));
        cv::setNumThreads(1);
        return 2 * (one.back() + all.back());
    }

    double gain() const
    {
        std::vector<double> gains;
        for (std::size_t k = 0; k < one.size(); ++k)
            gains.push_back(one[k] / all[k]);
        return median(gains);
    }
};

/// @param besideLoop  whether to time the loop in registers and the copy too
void measure(benchmark::State& state, const NativeWork& work, const Size& size, bool besideLoop)
{
    Copy copy(work.bytes);
    Times own, loop, copied;
    for (auto each : state) {
        (void)each;
        double all = own.add(work.run);
        if (besideLoop)
            all += loop.add(loopInRegisters) + copied.add([&] { copy(); });
        state.SetIterationTime(all);
    }
    state.counters["pixels"] = static_cast<double>(size.width) * size.height;
    state.counters["one_ms"] = 1e3 * median(own.one);
    state.counters["all_ms"] = 1e3 * median(own.all);
    if (!besideLoop)
        return;
    state.counters["gain"] = own.gain();
    state.counters["loop_gain"] = loop.gain();
    // What a filter that gained as much as the loop would take of what a copy gets from memory.
    state.counters["memory_share"] = median(copied.all) / median(own.one) * loop.gain();
}

} // namespace

void addThreads()
{
    for (const Operator& what : catalogue::operators()) {
        if (!isNative(what))
            continue;
        for (const Size& size : {kFrameSizes[1], kFrameSizes[2], kFrameSizes[3]}) {
            const auto run = [&what, size](benchmark::State& state) {
                Models models(3, 3);
                measure(state, nativeWork(what, pictureFor(what, size), models), size, size.width == 3840);
            };
            const Size smallest{"", 8, 8};
            const std::string name =
                what.name + "/" + typesOf(pictureFor(what, smallest)) + "/" + size.name + "/real/threads";
            benchmark::RegisterBenchmark(name.c_str(), run)->UseManualTime()->Unit(benchmark::kMillisecond);
        }
    }
}

} // namespace velmor::bench
