#include "frame/tools.h"

#include <gtest/gtest.h>
#include <unistd.h>

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

// The conditions contain what a careless macro would swallow, split or do twice.
TEST(Assertion, isOneStatementOfAnyCondition) {
    EXPECT_TRUE(failsWith("std::pair<int,int>(1, 2).first==2", [] { ASSEX(std::pair<int,int>(1, 2).first==2); }));
    EXPECT_TRUE(failsWith("\"%d\"==nullptr || 1>2", [] { ASSEX("%d"==nullptr || 1>2); }));
    int numCalls = 0;
    if (numCalls == 0)
        ASSEX(++numCalls>0);
    else
        FAIL();
    EXPECT_EQ(numCalls, 1);
}

TEST(Messages, standApartFromWhatIsAround) {
    EXPECT_EQ(printedText([] { showError("Hal", "no cells"); }), "\n      [ZEF Message] Hal, ERROR: no cells\n\n");
    EXPECT_EQ(printedText([] { showWarning(where("void f(int)", 12), "odd"); }),
              "\n      [ZEF Message]  ** void f(int):12 ** , WARNING: odd\n\n");
    const std::string bug = "ZEF Exception - Bug *OR* wrong usage. Report a bug and it will be fixed quickly: ";
    EXPECT_EQ(std::string(ZefBugException().what()).substr(0, bug.size()), bug);
    EXPECT_STREQ(ZefLicenseException().what(), "ZEF License Exception - no valid license");
}

namespace {

struct TellsItsEnd {
    ~TellsItsEnd() { std::cerr << "destroyed" << std::endl; }
};

// Death tests see standard error only. It is a pipe or a file here, so that what
// standard output holds back is lost unless it is flushed.
void sendOutputToError() {
    ASSERT_EQ(dup2(STDERR_FILENO, STDOUT_FILENO), STDOUT_FILENO);
}

}  // namespace

TEST(HardStopDeathTest, deliberateExitFlushesAndEndsWithStatusZeroAndRunsNothing) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            static const TellsItsEnd atExit;
            const TellsItsEnd onStack;
            sendOutputToError();
            std::printf("kept");
            deliberateExit(" ** here:1 ** ");
        },
        testing::ExitedWithCode(0), "kept\n\ndeliberateExit\\( \\*\\* here:1 \\*\\* \\)\n\n$");
}
