#pragma once

namespace velmor::math {

/// Comparison helpers. Each returns a reference to one of its arguments, so an argument must outlive the result.
struct Math
{
    /// The smaller of two values; `a` where they are equal.
    template<typename T>
    static const T& getMin(const T& a, const T& b)
    {
        return b < a ? b : a;
    }

    /// The larger of two values; `a` where they are equal.
    template<typename T>
    static const T& getMax(const T& a, const T& b)
    {
        return a < b ? b : a;
    }

    /// The value clamped into the closed range [low, high]; `low` when low > high.
    template<typename T>
    static const T& getCrop(const T& value, const T& low, const T& high)
    {
        return getMax(low, getMin(value, high));
    }
};

} // namespace velmor::math
