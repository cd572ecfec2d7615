// The filters on pictures in main memory beside what a user would call instead, on one thread. Results are compared
// before they are timed. Each family of filters has a file of its own.

#include "bench/NativeFilters.h"

#include <benchmark/benchmark.h>

#include <iostream>

int main(int argc, char** argv)
{
    try {
        cv::setNumThreads(1);
        velmor::bench::addThreads();
        velmor::bench::addArithmetic();
        velmor::bench::addBayer();
        velmor::bench::addColour();
        velmor::bench::addEdges();
        velmor::bench::addLogic();
        velmor::bench::addMixtures();
        velmor::bench::addViews();
        benchmark::Initialize(&argc, argv);
        benchmark::RunSpecifiedBenchmarks();
    } catch (const std::exception& error) {
        std::cerr << "velmor_bench_native: " << error.what() << '\n';
        return 1;
    }
}
