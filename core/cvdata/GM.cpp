#include "core/cvdata/GM.h"

#include "core/util/internal/OutOfMemory.h"

#include <boost/make_shared.hpp>
#include <opencv2/core.hpp>

#include <cmath>
#include <stdexcept>
#include <string>
#include <utility>

namespace velmor::core::cvdata {
namespace {

unsigned checkedOrder(int dimension)
{
    if (dimension < 1)
        throw std::invalid_argument("GM::GM(): expected at least 1 dimension, got " + std::to_string(dimension));
    return static_cast<unsigned>(dimension);
}

cv::Mat symmetricCopy(const math::SquareMatrix& matrix)
{
    const int order = static_cast<int>(matrix.rows());
    cv::Mat copy = cv::Mat(order, order, CV_64F, matrix[0]).clone();
    cv::completeSymm(copy);
    return copy;
}

/// The inverse is of no use unless the matrix is positive definite.
std::pair<float, cv::Mat> determinantAndInverse(const math::SquareMatrix& symmetric)
{
    const cv::Mat matrix = symmetricCopy(symmetric);
    return {static_cast<float>(cv::determinant(matrix)), matrix.inv()};
}

bool isPositiveDefinite(const math::SquareMatrix& matrix)
{
    math::SquareMatrix vectors(matrix.rows());
    math::Vector values(matrix.rows());
    matrix.eigenSymmetric(vectors, values);
    return values[values.size() - 1] > 0.0;
}

} // namespace

GM::GM(int dimensionCount)
    : invCovariance(checkedOrder(dimensionCount)), determinant(0.0f), dimension(dimensionCount),
      mean(static_cast<unsigned>(dimensionCount)), weight(0.0f)
{
}

GM& GM::operator=(const GM& other)
{
    return *this = GM(other);
}

boost::shared_ptr<GM> GM::fromCovariance(const math::SquareMatrix& covariance, const math::Vector& mean, float weight)
{
    const unsigned order = mean.size();
    if (order == 0 || covariance.rows() != order)
        throw std::invalid_argument("GM::fromCovariance(): expected a covariance of the order of the mean, 1 or more, "
                                    "got order " +
                                    std::to_string(covariance.rows()) + " and " + std::to_string(order) +
                                    " elements of the mean");

    const auto [determinant, inverse] = util::orBadAlloc([&] { return determinantAndInverse(covariance); });
    if (!isPositiveDefinite(covariance) || !std::isfinite(determinant) || !(determinant > 0.0f))
        throw std::invalid_argument("GM::fromCovariance(): expected a positive definite covariance, got one with the "
                                    "determinant " +
                                    std::to_string(determinant));

    auto component = boost::make_shared<GM>(static_cast<int>(order));
    for (unsigned row = 0; row < order; ++row)
        for (unsigned col = 0; col < order; ++col) {
            const double element = inverse.at<double>(static_cast<int>(row), static_cast<int>(col));
            component->invCovariance[row][col] = element + 0.0; // no negative zeros
        }
    component->determinant = determinant;
    component->mean = mean;
    component->weight = weight;
    return component;
}

} // namespace velmor::core::cvdata
