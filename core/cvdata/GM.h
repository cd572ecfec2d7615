#pragma once

#include "core/Export.h"
#include "math/SquareMatrix.h"
#include "math/Vector.h"

#include <boost/shared_ptr.hpp>

namespace velmor::core::cvdata {

/// One Gaussian of a colour mixture, stored in the form in which it is evaluated.
///
/// In n dimensions the density at a colour c is
/// `exp(-(c - mean)' invCovariance (c - mean) / 2) / sqrt((2 pi)^n determinant)`. The operators of this library work in
/// two dimensions, on colour components of 0..255.
class VELMOR_CORE_EXPORT GM
{
public:
    /// Makes a Gaussian whose fields are all zero, to be filled in.
    /// @param dimension  number of colour components, at least 1
    /// @throws std::invalid_argument  when dimension is smaller than 1
    explicit GM(int dimension = 2);

    /// A deep copy.
    GM(const GM&) = default;

    /// Takes the fields of another one, whose mean and inverse covariance are empty afterwards.
    GM(GM&&) noexcept = default;

    /// Copies all fields, or none when memory runs out.
    GM& operator=(const GM& other);

    /// Takes the fields of another one, whose mean and inverse covariance are empty afterwards.
    GM& operator=(GM&&) noexcept = default;

    /// Makes a Gaussian from its covariance.
    /// @param covariance  symmetric and positive definite, of the order of the mean; only the diagonal and what is
    ///                    above it are read
    /// @param mean        one element per colour component
    /// @param weight      share in the mixture, 0..1
    /// @throws std::invalid_argument  when the sizes differ, the covariance is not positive definite, or its
    ///                                determinant is too small or too large for a float
    static boost::shared_ptr<GM> fromCovariance(const math::SquareMatrix& covariance, const math::Vector& mean,
                                                float weight);

    math::SquareMatrix invCovariance; ///< inverse of the covariance
    float determinant;                ///< determinant of the covariance, not of its inverse
    int dimension;                    ///< number of colour components
    math::Vector mean;                ///< one element per colour component, 0..255
    float weight;                     ///< share in the mixture, 0..1
};

} // namespace velmor::core::cvdata
