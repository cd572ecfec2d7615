// velmor_outside <folder>: what the filters in main memory and OpenCV make of the pictures in <folder>/pictures, for
// tests/outside/compare.py. A picture is a file <name>.npy of NumPy. Beside it is <name>.second.npy, the second source
// of filters that take two. An answer goes to <folder>/<answer>/<name>.npy.

#include "tests/outside/Answers.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <regex>
#include <stdexcept>
#include <string>

namespace {

namespace fs = std::filesystem;
using velmor::tests::Answer;

struct Depth
{
    const char* letters; ///< what NumPy calls it
    int number;          ///< what OpenCV calls it
};
constexpr std::array<Depth, 3> kDepths = {{{"|u1", CV_8U}, {"<f4", CV_32F}, {"<f8", CV_64F}}};

// A file begins with these and the length of the text, low byte first; then the text that says what the numbers are.
const std::string kMagic("\x93NUMPY\x01\x00", 8);

std::size_t bytesOf(const cv::Mat& picture)
{
    return picture.total() * picture.elemSize();
}

cv::Mat read(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::array<char, 10> start{};
    file.read(start.data(), start.size());
    if (!file || !std::equal(kMagic.begin(), kMagic.end(), start.begin()))
        throw std::runtime_error(path.string() + " is no file of NumPy, version 1.0");
    const auto byte = [&](std::size_t i) {
        return static_cast<unsigned char>(start.at(i));
    };
    std::string text(byte(8) + 256u * byte(9), ' ');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));

    static const std::regex form(
        R"(\{'descr': '([^']*)', 'fortran_order': False, 'shape': \((\d+), (\d+)(, (\d+))?\), \}\s*)");
    std::smatch match;
    if (!std::regex_match(text, match, form))
        throw std::runtime_error(path.string() + ": expected a picture of rows, got " + text);
    const auto depth = std::find_if(kDepths.begin(), kDepths.end(), [&](Depth d) { return match[1] == d.letters; });
    if (depth == kDepths.end())
        throw std::runtime_error(path.string() + ": unknown kind of numbers " + match[1].str());
    const int channels = match[5].matched ? std::stoi(match[5]) : 1;
    cv::Mat picture(std::stoi(match[2]), std::stoi(match[3]), CV_MAKETYPE(depth->number, channels));
    file.read(picture.ptr<char>(), static_cast<std::streamsize>(bytesOf(picture)));
    if (!file)
        throw std::runtime_error(path.string() + " is too short");
    return picture;
}

void write(const cv::Mat& result, const fs::path& path)
{
    const cv::Mat picture = result.isContinuous() ? result : result.clone();
    const auto depth =
        std::find_if(kDepths.begin(), kDepths.end(), [&](Depth d) { return picture.depth() == d.number; });
    if (depth == kDepths.end())
        throw std::runtime_error(path.string() + ": a result of depth " + std::to_string(picture.depth()));
    std::string text = std::string("{'descr': '") + depth->letters + "', 'fortran_order': False, 'shape': (" +
                       std::to_string(picture.rows) + ", " + std::to_string(picture.cols);
    if (picture.channels() > 1)
        text += ", " + std::to_string(picture.channels());
    text += "), }\n";

    std::ofstream file(path, std::ios::binary);
    file << kMagic << static_cast<char>(text.size() % 256) << static_cast<char>(text.size() / 256) << text;
    file.write(picture.ptr<char>(), static_cast<std::streamsize>(bytesOf(picture)));
    if (!file.flush())
        throw std::runtime_error("could not write " + path.string());
}

void answer(const Answer& answer, const fs::path& folder, const fs::path& name, const cv::Mat& first,
            const cv::Mat& second)
{
    if (std::find(answer.types.begin(), answer.types.end(), first.type()) == answer.types.end())
        return;
    fs::create_directories(folder / answer.name);
    write(answer.compute(first, second), folder / answer.name / name);
}

void answerAll(const fs::path& folder)
{
    std::vector<Answer> answers = velmor::tests::answersOfVelmor();
    const std::vector<Answer> others = velmor::tests::answersOfOpenCv();
    answers.insert(answers.end(), others.begin(), others.end());
    for (const fs::directory_entry& entry : fs::directory_iterator(folder / "pictures")) {
        const fs::path& path = entry.path();
        if (path.stem().extension() == ".second")
            continue;
        fs::path beside = path;
        beside.replace_extension(".second.npy");
        const cv::Mat first = read(path);
        const cv::Mat second = read(beside);
        for (const Answer& each : answers)
            answer(each, folder, path.filename(), first, second);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: velmor_outside <folder>\n";
        return 2;
    }
    try {
        answerAll(argv[1]);
    } catch (const std::exception& error) {
        std::cerr << "velmor_outside: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
