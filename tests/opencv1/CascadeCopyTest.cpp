#include "opencv1/CascadeCopy.h"

#include "opencv1/HaarCascade.h"
#include "tests/support/Cascades.h"
#include "tests/support/ThrownText.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <stdexcept>

using velmor::opencv1::CascadeCopy;
using velmor::opencv1::copyOfCascade;

namespace velmor::tests {
namespace {

constexpr const char* kAttempt = "Faces: cannot load";

bool isTaken(const std::string& file)
{
    auto* cascade = static_cast<CvHaarClassifierCascade*>(cvLoad(file.c_str()));
    const bool isThere = cascade != nullptr;
    cvReleaseHaarClassifierCascade(&cascade);
    return isThere;
}

int nextDescriptor()
{
    const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(next);
    return next;
}

std::string refusal(const std::string& file)
{
    return thrownText<std::runtime_error>([&] { copyOfCascade(kAttempt, file); });
}

TEST(CascadeCopy, StaysWhatItWasWhenTheFileChanges)
{
    const TemporaryFolder folder;
    const std::string content = contentOf(kSmallCascades[0]);
    const std::string file = folder.write("cascade.xml", content);
    const auto copy = copyOfCascade(kAttempt, file);
    folder.write("cascade.xml", "no cascade any more");
    EXPECT_EQ(contentOf(copy->name()), content);
    EXPECT_TRUE(isTaken(copy->name()));
}

TEST(CascadeCopy, IsGoneWithTheObject)
{
    const int free = nextDescriptor();
    std::string name;
    {
        const auto copy = copyOfCascade(kAttempt, kSmallCascades[0]);
        name = copy->name();
        EXPECT_TRUE(isTaken(name));
    }
    EXPECT_FALSE(isTaken(name));
    EXPECT_EQ(nextDescriptor(), free);
}

TEST(CascadeCopy, SaysWhatIsWrongAndKeepsNothingOpen)
{
    const TemporaryFolder folder;
    const int free = nextDescriptor();
    const std::string missing = folder.file("missing.xml");
    EXPECT_EQ(refusal(missing), "Faces: cannot load '" + missing + "': No such file or directory");
    const std::string tag = folder.write("tag.xml", "<cascade>\n");
    EXPECT_EQ(refusal(tag), "Faces: cannot load '" + tag + "': line 2: no element found");
    EXPECT_EQ(nextDescriptor(), free);
}

} // namespace
} // namespace velmor::tests
