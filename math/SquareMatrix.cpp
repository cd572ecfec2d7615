#include "math/SquareMatrix.h"

#include "math/Vector.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velmor::math {
namespace {

struct Rotation
{
    double cosine;
    double sine;
};

/// The rotation of the plane (p, q) that brings the element (p, q) of a symmetric matrix to zero.
Rotation annihilating(const SquareMatrix& m, unsigned p, unsigned q)
{
    const double cotangent = (0.5 * m[q][q] - 0.5 * m[p][p]) / m[p][q]; // halved first: no overflow
    const double tangent = std::copysign(1.0, cotangent) / (std::abs(cotangent) + std::hypot(1.0, cotangent));
    const double cosine = 1.0 / std::hypot(1.0, tangent);
    return {cosine, tangent * cosine};
}

void rotate(double& a, double& b, const Rotation& rotation)
{
    const double old = a;
    a = rotation.cosine * old - rotation.sine * b;
    b = rotation.sine * old + rotation.cosine * b;
}

void mirrorUpperTriangle(SquareMatrix& m)
{
    for (unsigned row = 1; row < m.rows(); ++row)
        for (unsigned col = 0; col < row; ++col)
            m[row][col] = m[col][row];
}

bool isFinite(const SquareMatrix& m)
{
    return std::all_of(m[0], m[m.rows()], [](double element) { return std::isfinite(element); });
}

/// Turns a symmetric matrix into a diagonal one; the rows of `vectors` follow.
void diagonalise(SquareMatrix& m, SquareMatrix& vectors)
{
    constexpr int maxSweeps = 60; // quadratic convergence: a handful is enough for any order in use
    const unsigned order = m.rows();
    for (int sweep = 0; sweep < maxSweeps; ++sweep) {
        bool changed = false;
        for (unsigned p = 0; p + 1 < order; ++p) {
            for (unsigned q = p + 1; q < order; ++q) {
                // Below this an element no longer moves the diagonal by a unit in the last place.
                const double negligible = 0.5 * std::numeric_limits<double>::epsilon() * std::sqrt(std::abs(m[p][p])) *
                                          std::sqrt(std::abs(m[q][q]));
                if (std::abs(m[p][q]) <= negligible)
                    continue;
                changed = true;
                const Rotation rotation = annihilating(m, p, q);
                for (unsigned k = 0; k < order; ++k)
                    rotate(m[k][p], m[k][q], rotation);
                for (unsigned k = 0; k < order; ++k)
                    rotate(m[p][k], m[q][k], rotation);
                for (unsigned k = 0; k < order; ++k)
                    rotate(vectors[p][k], vectors[q][k], rotation);
                m[p][q] = m[q][p] = 0.0;
            }
        }
        if (!changed)
            return;
    }
}

void moveLargestFirst(SquareMatrix& vectors, Vector& values)
{
    const unsigned order = values.size();
    for (unsigned place = 0; place < order; ++place) {
        const double* const begin = &values[0];
        const auto largest = static_cast<unsigned>(std::max_element(begin + place, begin + order) - begin);
        if (largest != place) {
            std::swap(values[place], values[largest]);
            std::swap_ranges(vectors[place], vectors[place] + order, vectors[largest]);
        }
    }
}

void makeFirstNonZeroPositive(double* begin, double* end)
{
    const double* const first = std::find_if(begin, end, [](double element) { return element != 0.0; });
    if (first != end && *first < 0.0)
        std::transform(begin, end, begin, [](double element) { return element == 0.0 ? 0.0 : -element; });
}

} // namespace

SquareMatrix::SquareMatrix(unsigned order) : Matrix(order, order) {}

void SquareMatrix::load(const Matrix& other)
{
    copyFrom(other);
}

void SquareMatrix::eigenSymmetric(SquareMatrix& vectors, Vector& values) const
{
    SquareMatrix work(*this);
    mirrorUpperTriangle(work);
    const unsigned order = rows();
    vectors = SquareMatrix(order);
    values = Vector(order);
    if (order == 0)
        return;

    if (!isFinite(work)) {
        const double notANumber = std::numeric_limits<double>::quiet_NaN();
        std::fill(vectors[0], vectors[order], notANumber);
        std::fill_n(&values[0], order, notANumber);
        return;
    }
    for (unsigned k = 0; k < order; ++k)
        vectors[k][k] = 1.0;
    diagonalise(work, vectors);
    for (unsigned k = 0; k < order; ++k)
        values[k] = work[k][k];
    moveLargestFirst(vectors, values);
    for (unsigned k = 0; k < order; ++k)
        makeFirstNonZeroPositive(vectors[k], vectors[k] + order);
}

} // namespace velmor::math
