// The CPU operators beside what a user would call instead, each on one thread and on frames of a real video. Results
// are compared before they are timed. Each operator has a file of its own.

#include "bench/CpuOperators.h"

#include "catalogue/Catalogue.h"

#include <iostream>

namespace {

void expectAllMeasured()
{
    using namespace velmor;
    for (const catalogue::Operator& each : catalogue::operators())
        if (each.kind == catalogue::Kind::CPU_OPERATOR && bench::measuredOperators().count(each.name) == 0)
            throw std::runtime_error("there is no benchmark of " + each.name);
}

} // namespace

int main(int argc, char** argv)
{
    try {
        cv::setNumThreads(1);
        velmor::bench::addColourDetector();
        velmor::bench::addColourHist2D();
        velmor::bench::addMotionSegment();
        velmor::bench::addMoments();
        velmor::bench::addFaceDetect();
        velmor::bench::addRecords();
        expectAllMeasured();
        benchmark::Initialize(&argc, argv);
        benchmark::RunSpecifiedBenchmarks();
    } catch (const std::exception& error) {
        std::cerr << "velmor_bench_cpu: " << error.what() << '\n';
        return 1;
    }
}
