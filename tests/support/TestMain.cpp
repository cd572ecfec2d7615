#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <string>

namespace {

/// The name that the suites of a file XTest.cpp begin with: X.
std::string stemOf(const testing::TestSuite& suite)
{
    const std::string stem = std::filesystem::path(suite.GetTestInfo(0)->file()).stem().string();
    return stem.substr(0, stem.rfind("Test"));
}

/// CTest runs the tests of a file by the name of their suite: one of another name would run nowhere.
bool suitesAreNamedAfterTheirFiles()
{
    const testing::UnitTest& all = *testing::UnitTest::GetInstance();
    bool isGood = true;
    for (int i = 0; i < all.total_test_suite_count(); ++i) {
        const testing::TestSuite& suite = *all.GetTestSuite(i);
        const std::string whole = suite.name();
        const std::string name = whole.substr(whole.rfind('/') + 1); // without the name of an instantiation
        if (name.rfind(stemOf(suite), 0) != 0) {
            std::cerr << "The name of the suite " << name << " has to begin with " << stemOf(suite)
                      << ", the name of its file.\n";
            isGood = false;
        }
    }
    return isGood;
}

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (!suitesAreNamedAfterTheirFiles())
        return 1;
    // A death test runs in a process of its own, started afresh: a forked child that draws on llvmpipe hangs.
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    return RUN_ALL_TESTS();
}
