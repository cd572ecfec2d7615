#include "tests/fuzz/Draws.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <limits>

namespace velmor::tests {
namespace {

using core::cvdata::ColorGMM;
using core::cvdata::GM;

/// Noise that an input repeats.
class Noise
{
public:
    explicit Noise(Bytes& bytes) : mState(bytes.ConsumeIntegral<std::uint16_t>() + 1U) {}

    std::uint32_t next()
    {
        mState = mState * 6364136223846793005U + 1442695040888963407U;
        return static_cast<std::uint32_t>(mState >> 32);
    }

private:
    std::uint64_t mState;
};

const std::vector<double>& specialNumbers()
{
    using Float = std::numeric_limits<float>;
    using Double = std::numeric_limits<double>;
    static const std::vector<double> kNumbers = {
        0.0,
        -0.0,
        1.0,
        -1.0,
        0.5,
        2.0,
        255.0,
        1.0 / 255.0,
        127.5,
        1e-5,
        1e6,
        1e12,
        Float::max(),
        -Float::max(),
        Float::min(),
        Double::max(),
        Double::min(),
        Float::denorm_min(),
        1e-300,
        -1e300,
        Double::denorm_min(),
        4294967296.0,
        4294967295.0,
        -Double::infinity(),
        0.49999997,
        Double::epsilon(),
        Double::infinity(),
        Double::quiet_NaN(),
        -1e-7,
        2147483648.0,
    };
    return kNumbers;
}

float asFloat(double number)
{
    const double most = std::numeric_limits<float>::max();
    return static_cast<float>(std::isfinite(number) ? std::clamp(number, -most, most) : number);
}

float floatOf(std::uint32_t random, int kind)
{
    float value = static_cast<float>(random % 256) / 255.0F;
    if (kind == 0)
        std::memcpy(&value, &random, sizeof(value));
    else if (kind == 1)
        value = asFloat(specialNumbers()[random % specialNumbers().size()]);
    return value;
}

void fill(Bytes& bytes, cv::Mat& picture)
{
    Noise noise(bytes);
    const int kind = bytes.ConsumeIntegralInRange(0, 3);
    const std::uint32_t repeated = noise.next();
    const int elements = picture.cols * picture.channels();
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < elements; ++x) {
            const std::uint32_t random = kind == 3 && noise.next() % 8 != 0 ? repeated : noise.next();
            if (picture.depth() == CV_32F)
                picture.ptr<float>(y)[x] = floatOf(random, kind);
            else
                std::memcpy(picture.ptr(y) + static_cast<std::size_t>(x) * picture.elemSize1(), &random,
                            std::min(picture.elemSize1(), sizeof(random)));
        }
    }
}

boost::shared_ptr<GM> drawComponent(Bytes& bytes, int dimension)
{
    const boost::shared_ptr<GM> component(new GM(dimension));
    component->weight = bytes.ConsumeProbability<float>();
    component->determinant = asFloat(std::exp(bytes.ConsumeFloatingPointInRange(-5.0, 20.0)));
    for (unsigned row = 0; row < component->mean.size(); ++row) {
        component->mean[row] = bytes.ConsumeIntegral<std::uint8_t>();
        for (unsigned col = 0; col < component->mean.size(); ++col)
            component->invCovariance[row][col] = bytes.ConsumeFloatingPointInRange(-1e-3, 1e-1);
    }
    while (oneIn(bytes, 4)) {
        const double number = drawNumber(bytes);
        switch (bytes.ConsumeIntegralInRange(0, 3)) {
        case 0:
            component->weight = asFloat(number);
            break;
        case 1:
            component->determinant = asFloat(number);
            break;
        case 2:
            component->mean[bytes.ConsumeIntegralInRange(0U, component->mean.size() - 1)] = number;
            break;
        default:
            component->invCovariance[0][bytes.ConsumeIntegralInRange(0U, component->mean.size() - 1)] = number;
        }
    }
    return component;
}

bool isWithin(const catalogue::Parameter& parameter, double value)
{
    return value >= parameter.least && value <= parameter.most && (!parameter.isWhole || value == std::trunc(value));
}

} // namespace

void stop(const std::string& what)
{
    std::cerr << what << std::endl;
    std::abort();
}

void require(bool condition, const std::string& what)
{
    if (!condition)
        stop(what);
}

bool oneIn(Bytes& bytes, int count)
{
    return bytes.ConsumeIntegralInRange(0, count - 1) == count - 1; // an input that has ended draws 0
}

cv::Size drawSize(Bytes& bytes, int most)
{
    const auto side = [&] {
        return bytes.ConsumeIntegralInRange(1, oneIn(bytes, 4) ? most : std::min(most, 40));
    };
    if (most >= 64 && bytes.ConsumeBool())
        return {64, 48};
    const int width = side();
    return {width, side()};
}

Part::Part(Bytes& bytes, const cv::Size& size, int type)
{
    const auto margin = [&] {
        return bytes.ConsumeIntegralInRange(0, 9);
    };
    const int left = margin(), right = margin(), above = oneIn(bytes, 2) ? 1 : 0;
    const auto pixel = static_cast<std::size_t>(CV_ELEM_SIZE(type));
    const auto step = static_cast<std::size_t>(left + size.width + right) * pixel;
    mSize = step * static_cast<std::size_t>(above + size.height) - static_cast<std::size_t>(right) * pixel;
    mMemory = std::make_unique<unsigned char[]>(mSize);
    std::fill_n(mMemory.get(), mSize, static_cast<unsigned char>(0xAA));
    mPicture =
        cv::Mat(size, type,
                mMemory.get() + step * static_cast<std::size_t>(above) + static_cast<std::size_t>(left) * pixel, step);
    fill(bytes, mPicture);
    mBefore = snapshot();
}

cv::Mat Part::another(Bytes& bytes, const cv::Size& size, int type) const
{
    const auto element = static_cast<std::size_t>(CV_ELEM_SIZE1(type));
    const std::size_t row = static_cast<std::size_t>(size.width) * CV_ELEM_SIZE(type);
    const std::size_t step = oneIn(bytes, 2) ? row : mPicture.step[0] / element * element;
    const std::size_t bytesOf = step * static_cast<std::size_t>(size.height - 1) + row;
    if (step < row || bytesOf > mSize)
        return {};
    const std::size_t begin = bytes.ConsumeIntegralInRange<std::size_t>(0, (mSize - bytesOf) / element) * element;
    return {size, type, mMemory.get() + begin, step};
}

cv::Mat Part::before() const
{
    const auto offset = static_cast<std::size_t>(mPicture.data - mMemory.get());
    auto* const pixels = const_cast<unsigned char*>(mBefore.data() + offset); // which clone() only reads
    return cv::Mat(mPicture.size(), mPicture.type(), pixels, mPicture.step[0]).clone();
}

bool Part::isAsBefore() const
{
    return std::memcmp(mMemory.get(), mBefore.data(), mSize) == 0;
}

bool Part::isAsBeforeAround() const
{
    std::vector<unsigned char> now = snapshot();
    const auto offset = static_cast<std::size_t>(mPicture.data - mMemory.get());
    cv::Mat inside(mPicture.size(), mPicture.type(), now.data() + offset, mPicture.step[0]);
    before().copyTo(inside);
    return now == mBefore;
}

bool areEqual(const cv::Mat& a, const cv::Mat& b)
{
    if (a.type() != b.type() || a.size() != b.size())
        return false;
    const int elements = a.cols * a.channels();
    for (int y = 0; y < a.rows; ++y) {
        if (std::memcmp(a.ptr(y), b.ptr(y), static_cast<std::size_t>(elements) * a.elemSize1()) == 0)
            continue;
        if (a.depth() != CV_32F)
            return false;
        if (!std::equal(a.ptr<float>(y), a.ptr<float>(y) + elements, b.ptr<float>(y), areSame<float>))
            return false;
    }
    return true;
}

double drawNumber(Bytes& bytes)
{
    return oneOf(bytes, specialNumbers());
}

ColorGMM drawModel(Bytes& bytes, bool anyDimension)
{
    ColorGMM model;
    const int count = oneIn(bytes, 8) ? 9 : bytes.ConsumeIntegralInRange(0, 4);
    for (int k = 0; k < count; ++k)
        model.mixture.push_back(
            drawComponent(bytes, anyDimension && oneIn(bytes, 16) ? bytes.ConsumeIntegralInRange(1, 3) : 2));
    model.detectionThreshold = oneIn(bytes, 8) ? drawNumber(bytes) : bytes.ConsumeFloatingPointInRange(0.0, 1e-4);
    return model;
}

catalogue::Values drawValues(Bytes& bytes, const catalogue::Operator& what)
{
    catalogue::Values values;
    for (const catalogue::Parameter& each : what.parameters) {
        const double steps = bytes.ConsumeIntegralInRange(0, 64);
        const double inside = each.least + std::fmod(steps * each.step, each.most - each.least + each.step);
        const double odd[] = {each.least - 1, each.most + 1, each.least + 0.5, drawNumber(bytes)};
        if (oneIn(bytes, 16))
            values[each.name] = odd[bytes.ConsumeIntegralInRange(0, 3)];
        else if (bytes.ConsumeBool())
            values[each.name] = std::min(inside, each.most);
    }
    if (oneIn(bytes, 64))
        values["nothing"] = 0;
    return values;
}

bool areTaken(const catalogue::Operator& what, const catalogue::Values& values)
{
    return std::all_of(values.begin(), values.end(), [&](const auto& value) {
        return std::any_of(what.parameters.begin(), what.parameters.end(), [&](const catalogue::Parameter& each) {
            return each.name == value.first && isWithin(each, value.second);
        });
    });
}

} // namespace velmor::tests
