#include "tests/support/InstructionSets.h"

#include <hwy/targets.h>

#include <cstdint>

namespace velmor::tests {

void onEachInstructionSet(const std::function<void(const std::string& name)>& function)
{
    const auto use = [](int64_t targets) {
        hwy::SetSupportedTargetsForTest(targets);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    };
    use(0);
    const int64_t targets = (hwy::SupportedTargets() & HWY_TARGETS) | HWY_STATIC_TARGET;
    // The lower the bit, the better the set.
    for (int bit = 62; bit >= 0; --bit) {
        const int64_t target = int64_t{1} << bit;
        if ((targets & target) == 0)
            continue;
        use(target);
        function(hwy::TargetName(target));
    }
    use(0);
}

} // namespace velmor::tests
