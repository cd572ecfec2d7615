// Writes the frames that the other benchmarks run on, and what the filters in main memory make of the small one, as
// files of numpy: bench/outside.py reads them.
//   velmor_bench_frames <folder>

#include "bench/Operators.h"

#include <cstdint>
#include <fstream>
#include <iostream>

namespace velmor::bench {
namespace {

/// Writes version 1.0 of numpy's format: a text that says what follows, padded to 64 bytes, and the numbers.
void write(const cv::Mat& picture, const std::string& file)
{
    const char* const type = picture.depth() == CV_8U ? "|u1" : "<f4";
    std::string header = std::string("{'descr': '") + type + "', 'fortran_order': False, 'shape': (" +
                         std::to_string(picture.rows) + ", " + std::to_string(picture.cols) + ", " +
                         std::to_string(picture.channels()) + "), }";
    constexpr std::size_t kPrefix = 10, kAlignment = 64;
    header.resize((kPrefix + header.size() + kAlignment) / kAlignment * kAlignment - kPrefix - 1, ' ');
    header += '\n';
    const auto length = static_cast<std::uint16_t>(header.size());
    std::ofstream out(file, std::ios::binary);
    out << "\x93NUMPY" << '\1' << '\0' << static_cast<char>(length % 256) << static_cast<char>(length / 256) << header;
    for (int row = 0; row < picture.rows; ++row)
        out.write(picture.ptr<char>(row),
                  static_cast<std::streamsize>(static_cast<std::size_t>(picture.cols) * picture.elemSize()));
    if (!out.flush())
        throw std::runtime_error("cannot write " + file);
}

/// Writes what filters make of a frame, where numpy has their types.
void writeResults(const std::string& folder)
{
    for (const Operator& what : catalogue::operators()) {
        if (!catalogue::hasNative(what) || what.takes == catalogue::Data::INTEGERS)
            continue;
        Models models(3, 3);
        const NativeWork work = nativeWork(what, pictureFor(what, kFrameSizes[1]), models);
        work.run();
        write(work.result, folder + "/" + what.name + ".npy");
    }
}

void writeAll(const std::string& folder)
{
    for (const Size& size : {kFrameSizes[1], kFrameSizes[2], kFrameSizes[3]}) {
        write(realPicture(size, CV_8UC3), folder + "/colours-" + size.name + ".npy");
        write(realPicture(size, CV_8UC1), folder + "/grey-" + size.name + ".npy");
    }
    writeResults(folder);
}

} // namespace
} // namespace velmor::bench

int main(int argc, char** argv)
{
    try {
        if (argc != 2)
            throw std::runtime_error("expected the name of a folder");
        velmor::bench::writeAll(argv[1]);
    } catch (const std::exception& error) {
        std::cerr << "velmor_bench_frames: " << error.what() << '\n';
        return 1;
    }
}
