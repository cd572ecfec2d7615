#include "core/util/ParameterContainer.h"

#include "core/util/AbstractParameter.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

using velmor::core::util::AbstractParameter;
using velmor::core::util::ParameterContainer;

static_assert(std::has_virtual_destructor_v<AbstractParameter>);
static_assert(std::has_virtual_destructor_v<ParameterContainer>);
static_assert(std::is_abstract_v<ParameterContainer>);
static_assert(!std::is_copy_constructible_v<ParameterContainer> && !std::is_copy_assignable_v<ParameterContainer>);

namespace velmor::tests {
namespace {

/// Writes its name down when it is deleted.
class Witness : public AbstractParameter
{
public:
    Witness(std::string name, std::vector<std::string>& deleted) : mName(std::move(name)), mDeleted(deleted) {}
    ~Witness() override { mDeleted.push_back(mName); }

private:
    std::string mName;
    std::vector<std::string>& mDeleted;
};

class Container : public ParameterContainer
{
public:
    void init() override { clearParameterStatus(); }
    void addFirst(AbstractParameter* parameter) { mParameters.push_back(parameter); }
    void addSecond(AbstractParameter* parameter) { mSecondaryParameters.push_back(parameter); }
    void setStatus(std::int32_t status) { mParameterStatus = status; }
    std::size_t count() const { return mParameters.size() + mSecondaryParameters.size(); }
};

TEST(ParameterContainer, StartsEmptyWithStatusOne)
{
    const Container container;
    EXPECT_EQ(container.count(), 0u);
    EXPECT_EQ(container.parameterStatus(), 1);
}

TEST(ParameterContainer, ClearingBringsTheStatusBackToOne)
{
    Container container;
    for (const std::int32_t status : {0, 2, -5}) {
        container.setStatus(status);
        EXPECT_EQ(container.parameterStatus(), status);
        container.clearParameterStatus();
        EXPECT_EQ(container.parameterStatus(), 1);
        container.setStatus(status);
        container.init();
        EXPECT_EQ(container.parameterStatus(), 1);
    }
}

TEST(ParameterContainer, AChangedParameterChangesNothingHere)
{
    std::vector<std::string> deleted;
    Container container;
    container.addFirst(new Witness("a", deleted));
    container.setStatus(3);
    for (const unsigned index : {0u, 1u, 4294967295u})
        container.onlineParameterChangedCallBack(index);
    EXPECT_EQ(container.parameterStatus(), 3);
    EXPECT_EQ(container.count(), 1u);
    EXPECT_TRUE(deleted.empty());
}

TEST(ParameterContainer, DeletesEachParameterOnceFirstListFirstFrontToBack)
{
    std::vector<std::string> deleted;
    {
        Container container;
        container.addSecond(new Witness("second 1", deleted));
        container.addFirst(new Witness("first 1", deleted));
        container.addFirst(new Witness("first 2", deleted));
        container.addSecond(new Witness("second 2", deleted));
        EXPECT_TRUE(deleted.empty());
    }
    EXPECT_EQ(deleted, (std::vector<std::string>{"first 1", "first 2", "second 1", "second 2"}));
}

TEST(ParameterContainer, SkipsNullEntries)
{
    std::vector<std::string> deleted;
    {
        Container container;
        container.addFirst(nullptr);
        container.addFirst(new Witness("first", deleted));
        container.addFirst(nullptr);
        container.addSecond(nullptr);
        container.addSecond(new Witness("second", deleted));
    }
    EXPECT_EQ(deleted, (std::vector<std::string>{"first", "second"}));
}

TEST(ParameterContainer, IsDeletedThroughItsBase)
{
    std::vector<std::string> deleted;
    auto* const container = new Container;
    container->addFirst(new Witness("first", deleted));
    ParameterContainer* const base = container;
    delete base;
    EXPECT_EQ(deleted, std::vector<std::string>{"first"});
}

} // namespace
} // namespace velmor::tests
