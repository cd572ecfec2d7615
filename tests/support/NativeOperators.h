#pragma once

#include "catalogue/Catalogue.h"
#include "catalogue/NativeFilters.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace velmor::tests {

/// The filters that there are in main memory too.
inline const std::vector<catalogue::Operator>& nativeOperators()
{
    static const std::vector<catalogue::Operator> kOperators = [] {
        const auto& all = catalogue::operators();
        std::vector<catalogue::Operator> result;
        std::copy_if(all.begin(), all.end(), std::back_inserter(result), catalogue::hasNative);
        return result;
    }();
    return kOperators;
}

} // namespace velmor::tests
