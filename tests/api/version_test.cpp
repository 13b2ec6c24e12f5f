#include <gtest/gtest.h>

#include <iostream>
#include <string>

#include "zef/zef_api_functions.h"

using namespace QUOR_ZEF;

TEST(Version, isOneThirteenAndAReleasedBuild) {
    int major = 0;
    int minor = 0;
    getVersion(major, minor);
    EXPECT_EQ(major, 1);
    EXPECT_EQ(minor, 13);
    EXPECT_TRUE(isPure());
    EXPECT_TRUE(isRelease());
}

TEST(Version, printsOneLineWhateverTheStreamIsSetTo) {
    const auto oldFlags = std::cout.flags();
    const char oldFill = std::cout.fill('*');
    std::cout << std::hex << std::showbase;
    testing::internal::CaptureStdout();
    printVersion();
    const std::string text = testing::internal::GetCapturedStdout();
    std::cout.flags(oldFlags);
    std::cout.fill(oldFill);
    EXPECT_EQ(text, "ZEF, version 1.13\n");
}
