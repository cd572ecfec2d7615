#include "gstreamer/FilterRun.h"

#include "catalogue/NativeFilters.h"
#include "native/internal/GreyOfBlueFirst.h"

#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <mutex>
#include <vector>

namespace velmor::gstreamer {
namespace {

/// How many rows above and below a row its result depends on; -1 where it may depend on any row.
int reachOf(const FilterChoice& choice)
{
    switch (choice.what->takes) {
    case catalogue::Data::DIRECTIONS:
        return -1;
    case catalogue::Data::MOSAIC:
        return 2; // an even number, so that a band begins with a row that has red
    default:
        return givesFloats(choice) ? 1 : 0;
    }
}

/// Rows that a core works on at a time: few enough that what it keeps of them stays in its cache.
int rowsOfBand(const cv::Mat& source)
{
    constexpr int kPixels = 1 << 15;
    return std::max(kPixels / source.cols, 8) & ~1;
}

/// For each byte v the float v / 255, rounded once.
const cv::Mat& quotients()
{
    static const cv::Mat kQuotients = [] {
        cv::Mat result(1, 256, CV_32FC1);
        for (int i = 0; i < 256; ++i)
            result.at<float>(i) = static_cast<float>(i) / 255.0F;
        return result;
    }();
    return kQuotients;
}

void exchangeRedAndBlue(const cv::Mat& source, cv::Mat& result)
{
    cv::cvtColor(source, result, source.channels() == 4 ? cv::COLOR_BGRA2RGBA : cv::COLOR_BGR2RGB);
}

/// A filter that gives of pictures with blue first what another one gives of them with red first; null where there is
/// none.
std::unique_ptr<native::Filter> makeForBlueFirst(const std::string& name)
{
    if (name == "BGR2GRAY" || name == "RGB2GRAY")
        return std::make_unique<native::GreyOfBlueFirst>();
    if (name == "BGR2HSV")
        return catalogue::makeNative("RGB2HSV");
    if (name == "RGB2HSV")
        return catalogue::makeNative("BGR2HSV");
    return nullptr;
}

} // namespace

/// What is between the steps of a band.
struct FilterRun::Band
{
    cv::Mat redFirst, floatsIn, out, bytes;
};

/// Bands whose memory serves band after band and frame after frame: new memory would cost as much as the work on it.
class FilterRun::Bands
{
public:
    std::unique_ptr<Band> take()
    {
        const std::lock_guard lock(mMutex);
        if (mIdle.empty())
            return std::make_unique<Band>();
        std::unique_ptr<Band> result = std::move(mIdle.back());
        mIdle.pop_back();
        return result;
    }

    void giveBack(std::unique_ptr<Band> band)
    {
        const std::lock_guard lock(mMutex);
        mIdle.push_back(std::move(band));
    }

private:
    std::mutex mMutex;
    std::vector<std::unique_ptr<Band>> mIdle;
};

FilterRun::FilterRun(const FilterChoice& choice, const catalogue::Values& values, const Models& models)
    : mChoice(choice), mFilter(catalogue::makeNative(choice.what->name, values, givenOf(models))),
      mForBlueFirst(makeForBlueFirst(choice.what->name)), mBands(std::make_unique<Bands>())
{
}

FilterRun::~FilterRun() = default;

bool FilterRun::isInPlace(const FilterChoice& choice)
{
    return keepsFormat(choice) && !givesNumbers(choice) && reachOf(choice) == 0 && choice.what->name != "FlipV";
}

void FilterRun::run(const cv::Mat& source, const Format& from, const cv::Mat& result, const Format& to,
                    const FloatsToBytes& toBytes) const
{
    const bool isPlain = !exchangesSource(from) && (keepsFormat(mChoice) || !to.isBlueFirst);
    const bool areBytes = !givesFloats(mChoice) || (mChoice.what->name == "Laplacian" && toBytes == FloatsToBytes());
    if (isPlain && areBytes) {
        cv::Mat written = result;
        filterFor(from).execute(source, written, CV_8U);
        return;
    }
    const int rows = reachOf(mChoice) < 0 ? source.rows : rowsOfBand(source);
    const int bands = (source.rows + rows - 1) / rows;
    cv::parallel_for_(cv::Range(0, bands), [&](const cv::Range& mine) {
        std::unique_ptr<Band> band = mBands->take();
        for (int i = mine.start; i < mine.end; ++i)
            runBand(source, from, result, to, toBytes, {i * rows, std::min((i + 1) * rows, source.rows)}, *band);
        mBands->giveBack(std::move(band));
    });
}

bool FilterRun::exchangesSource(const Format& from) const
{
    return takesColour(mChoice) && from.isBlueFirst && !mForBlueFirst;
}

const native::Filter& FilterRun::filterFor(const Format& from) const
{
    return from.isBlueFirst && mForBlueFirst ? *mForBlueFirst : *mFilter;
}

void FilterRun::runBand(const cv::Mat& source, const Format& from, const cv::Mat& result, const Format& to,
                        const FloatsToBytes& toBytes, const cv::Range& rows, Band& band) const
{
    const int reach = std::max(reachOf(mChoice), 0);
    const cv::Range read(std::max(rows.start - reach, 0), std::min(rows.end + reach, source.rows));
    cv::Mat in = source.rowRange(read);
    if (exchangesSource(from)) {
        exchangeRedAndBlue(in, band.redFirst);
        in = band.redFirst;
    }
    if (mChoice.what->takes == catalogue::Data::DIRECTIONS) { // which are floats
        cv::LUT(in, quotients(), band.floatsIn);
        in = band.floatsIn;
    }
    cv::Mat written = result.rowRange(rows);
    const bool isBlueFirst = to.isBlueFirst && (takesColour(mChoice) || !keepsFormat(mChoice));
    if (reach == 0 && !isBlueFirst && !givesFloats(mChoice))
        return filterFor(from).execute(in, written, CV_8U);
    filterFor(from).execute(in, band.out, givesFloats(mChoice) ? CV_32F : CV_8U);
    cv::Mat out = band.out.rowRange(rows.start - read.start, rows.end - read.start);
    if (givesFloats(mChoice)) {
        cv::Mat& bytes = isBlueFirst ? band.bytes : written;
        bytes.create(out.size(), CV_MAKETYPE(CV_8U, out.channels()));
        bytesOf(out, toBytes, bytes);
        out = bytes;
    }
    if (isBlueFirst)
        exchangeRedAndBlue(out, written);
}

void bytesOf(const cv::Mat& floats, const FloatsToBytes& how, cv::Mat& bytes)
{
    floats.convertTo(bytes, CV_8U, how.scale * 255, how.offset * 255 + 1.0 / 1024);
}

} // namespace velmor::gstreamer
