#include "frame/tools.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <iostream>
#include <utility>

#include "support/capture.h"

using namespace QUOR_ZEF;
using zef_test::failsWith;
using zef_test::failureText;
using zef_test::printedText;

TEST(Assertion, printsFileFunctionAndConditionInThisOrder) {
    int line = 0;
    const std::string text = failureText([&] {
        line = __LINE__ + 1;
        ASSEX( line<0 );
    });
    const std::string start = "      tools_test.cpp:" + std::to_string(line) + "\n      ";
    const std::string end = "\n      [ZEF Message] ASSEX, ERROR: Condition [ line<0 failed ]\n\n";
    ASSERT_GT(text.size(), start.size() + end.size());
    EXPECT_EQ(text.substr(0, start.size()), start);
    EXPECT_EQ(text.substr(text.size() - end.size()), end);
    const std::string function = text.substr(start.size(), text.size() - start.size() - end.size());
    EXPECT_NE(function.find("TestBody"), std::string::npos);
    EXPECT_EQ(function.find('\n'), std::string::npos);
}

// The conditions contain what a careless macro would swallow or split.
TEST(Assertion, takesAnyConditionLetterByLetter) {
    int array[14] = {};
    const int base = 0;
    EXPECT_TRUE(failsWith("array[13]=base", [&] { ASSEX(array[13]=base); }));
    EXPECT_TRUE(failsWith("std::pair<int,int>(1, 2).first==2", [] { ASSEX(std::pair<int,int>(1, 2).first==2); }));
    EXPECT_TRUE(failsWith("\"%d\"==nullptr || 1>2", [] { ASSEX("%d"==nullptr || 1>2); }));
    const int seven = 7;
    ASSEX(array[13]=seven);
    EXPECT_EQ(array[13], 7);
}

TEST(Assertion, isOneStatementAndEvaluatesOnce) {
    int numCalls = 0;
    const auto holds = [&] { return ++numCalls > 0; };
    if (numCalls == 0)
        ASSEX(holds());
    else
        FAIL();
    EXPECT_EQ(numCalls, 1);
}

TEST(Messages, standApartFromWhatIsAround) {
    EXPECT_EQ(printedText([] { showError("Hal", "no cells"); }), "\n      [ZEF Message] Hal, ERROR: no cells\n\n");
    EXPECT_EQ(printedText([] { showWarning(where("void f(int)", 12), "odd"); }),
              "\n      [ZEF Message]  ** void f(int):12 ** , WARNING: odd\n\n");
}

TEST(Exceptions, sayWhatHappened) {
    const std::string bug = "ZEF Exception - Bug *OR* wrong usage. Report a bug and it will be fixed quickly: ";
    EXPECT_EQ(std::string(ZefBugException().what()).substr(0, bug.size()), bug);
    EXPECT_GT(std::string(ZefBugException().what()).size(), bug.size());
    EXPECT_STREQ(ZefLicenseException().what(), "ZEF License Exception - no valid license");
    EXPECT_THROW(throwBug(), ZefBugException);
    EXPECT_THROW(throwLicense(), ZefLicenseException);
}

namespace {

struct TellsItsEnd {
    ~TellsItsEnd() { std::cerr << "destroyed" << std::endl; }
};

// Death tests see standard error only.
void sendCoutToCerr() {
    std::cout.rdbuf(std::cerr.rdbuf());
}

}  // namespace

TEST(HardStopDeathTest, deliberateExitEndsWithStatusZeroAndRunsNothing) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            static const TellsItsEnd atExit;
            const TellsItsEnd onStack;
            sendCoutToCerr();
            deliberateExit(" ** here:1 ** ");
        },
        testing::ExitedWithCode(0), testing::Matcher<const std::string&>("\n\ndeliberateExit( ** here:1 ** )\n\n"));
}

TEST(HardStopDeathTest, flushesStdioAndKeepsTheStatus) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            static char buffer[64];
            std::setvbuf(stderr, buffer, _IOFBF, sizeof buffer);
            std::fputs("kept", stderr);
            hardStop(1);
        },
        testing::ExitedWithCode(1), "kept");
}
