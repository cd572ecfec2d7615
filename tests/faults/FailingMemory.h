#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>
#include <string>

namespace velmor::tests {

/// While it lives, allocations fail: `malloc()` and its relatives give null, and so `new` throws.
class FailingMemory
{
public:
    static constexpr std::size_t kAll = std::numeric_limits<std::size_t>::max();

    /// Whose allocations are counted and fail.
    enum Whose
    {
        EVERYBODYS, ///< those of everything in the process
        OURS        ///< those that our libraries and OpenCV make: drivers end the process when they have no memory
    };

    /// @param first  number of allocations that succeed before
    /// @param count  of those that fail then
    FailingMemory(std::size_t first, std::size_t count, Whose whose = EVERYBODYS);
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;
    ~FailingMemory();

    /// Whether an allocation has failed.
    bool hasFailed() const;
};

/// Number of allocations that have not been freed.
std::size_t allocationsAlive();

/// How a call ended.
enum class Ending
{
    RETURNED,
    OUT_OF_MEMORY, ///< by std::bad_alloc
    NO_PICTURE,    ///< by the error of a picture file that its codec has not taken, and does not say why
    OTHER          ///< by another exception, whose text is in `said`
};

template<typename Call>
Ending endingOf(const Call& call, std::string& said)
{
    try {
        call();
        return Ending::RETURNED;
    } catch (const std::bad_alloc&) {
        return Ending::OUT_OF_MEMORY;
    } catch (const std::exception& error) {
        said = error.what();
        for (const char* const reason : {"its picture is damaged, cut short or too large", "the format cannot hold"})
            if (said.find(reason) != std::string::npos)
                return Ending::NO_PICTURE;
        return Ending::OTHER;
    }
}

/// Lets each allocation of a try fail in turn, that one alone and all from it on, until one more has none to fail. From
/// some number on a few are left out, more and more of them, unless the environment says VELMOR_EACH_ALLOCATION=1.
/// @param tryWith  takes what FailingMemory takes; whether an allocation has failed
/// @param each     the number up to which none is left out
template<typename Try>
void forEachAllocation(const Try& tryWith, std::size_t each = 100)
{
    const std::size_t sparse = std::getenv("VELMOR_EACH_ALLOCATION") ? FailingMemory::kAll : each;
    for (const std::size_t count : {std::size_t{1}, FailingMemory::kAll}) {
        std::size_t first = 0;
        for (bool hasFailed = true; hasFailed; first += 1 + first / sparse) {
            SCOPED_TRACE("allocation " + std::to_string(first) + (count == 1 ? "" : " and all that follow"));
            hasFailed = tryWith(first, count);
            if (testing::Test::HasFailure())
                return;
        }
        EXPECT_GT(first, 1u) << "there is no allocation to fail";
    }
}

/// OpenCV leaves the pixels of a matrix behind when there is no memory for what describes them.
constexpr std::size_t kLeakOfOpenCv = 1;

/// Makes a change of an object with each of its allocations failing in turn.
///
/// When the change ends by an exception, the object is as it was before; when it returns, the change is made. Then it
/// is made once more, with memory. In the end no more stays allocated than a change leaves.
/// @param make    gives a new object, as a smart pointer
/// @param change  changes it
/// @param look    gives what can be seen of it, to compare
/// @param leaks   allocations that may stay after a failure; see kLeakOfOpenCv
template<typename Make, typename Change, typename Look>
void expectChangeIsWholeOrNone(const Make& make, const Change& change, const Look& look, std::size_t leaks = 0)
{
    const auto expected = [&] {
        const auto object = make();
        const auto before = look(*object);
        change(*object);
        return std::pair(before, look(*object));
    }();
    const auto allocationsLeftBy = [](const auto& call) {
        const std::size_t before = allocationsAlive();
        call();
        return allocationsAlive() - before;
    };
    const std::size_t left = allocationsLeftBy([&] { change(*make()); });
    forEachAllocation([&](std::size_t first, std::size_t count) {
        bool hasFailed = true;
        const auto changeTwice = [&] {
            const auto object = make();
            std::string said;
            said.reserve(1000);
            Ending ending;
            {
                const FailingMemory memory(first, count);
                ending = endingOf([&] { change(*object); }, said);
                hasFailed = memory.hasFailed();
            }
            EXPECT_NE(ending, Ending::OTHER) << said;
            EXPECT_TRUE(look(*object) == (ending == Ending::RETURNED ? expected.second : expected.first));
            change(*object);
            EXPECT_TRUE(look(*object) == expected.second);
        };
        changeTwice(); // with what the first failure of a kind allocates for good
        const std::size_t stays = allocationsLeftBy(changeTwice);
        EXPECT_GE(stays, left);
        EXPECT_LE(stays, 2 * left + leaks);
        return hasFailed;
    });
}

/// Calls an operator with each of its allocations failing in turn: it ends by std::bad_alloc or with the right result,
/// and a call after it, with memory, has the right result.
/// @param make  gives a new operator, as a smart pointer
/// @param call  calls it, and gives the result
template<typename Make, typename Call>
void expectOperatorBearsFailures(const Make& make, const Call& call)
{
    const auto expected = call(*make());
    forEachAllocation([&](std::size_t first, std::size_t count) {
        const auto made = make();
        std::string said;
        said.reserve(1000);
        auto result = expected;
        bool hasFailed = true;
        Ending ending;
        {
            const FailingMemory memory(first, count);
            ending = endingOf([&] { result = call(*made); }, said);
            hasFailed = memory.hasFailed();
        }
        EXPECT_TRUE(ending == Ending::RETURNED || ending == Ending::OUT_OF_MEMORY) << said;
        if (ending == Ending::RETURNED) {
            EXPECT_TRUE(result == expected);
        } else {
            EXPECT_TRUE(call(*made) == expected);
        }
        return hasFailed;
    });
}

} // namespace velmor::tests
