#include <gtest/gtest.h>

#include <sstream>

#include "CommandRun.h"
#include "ProgressBar.h"
#include "files/outputs.h"
#include "support/plyText.h"
#include "support/tempFolder.h"

TEST(ToolProgressBar, showsTheStageOrElseTheStepAndVanishes) {
    std::ostringstream out, silent;
    {
        ProgressBar bar(out, ProgressBar::Kind::DRAWN);
        bar.step("reducing");
        bar.hide();  // so that each update draws
        bar.update("", 0.1);
        bar.hide();
        bar.update("merging vertices", 0.5);
        ProgressBar(silent, ProgressBar::Kind::ONE_LINE).update("merging vertices", 0.5);
    }
    for (const char* const part : {"reducing", " 10 %", "merging vertices", " 50 %"})
        EXPECT_NE(out.str().find(part), std::string::npos) << out.str();
    EXPECT_TRUE(out.str().ends_with("\r\033[K"));
    EXPECT_EQ(silent.str(), "");
}

TEST(ToolCommandRun, showsAsMuchAsItIsAskedTo) {
    const std::string warning = "zef: warning: look out\n";
    for (const auto& [talk, text] :
         {std::pair(TalkOptions{.bQuiet = true}, std::string()), std::pair(TalkOptions(), warning),
          std::pair(TalkOptions{.bVerbose = true}, warning + "a detail\n")}) {
        testing::internal::CaptureStderr();
        const CommandRun run(talk);
        run.getContext().message(zef::Severity::WARNING, "look out");
        run.getContext().message(zef::Severity::DETAIL, "a detail");
        EXPECT_EQ(testing::internal::GetCapturedStderr(), text);
    }
}

TEST(ToolOutput, knowsCloudsAndMeshesByTheirBytes) {
    const zef_test::TempFolder folder;
    using zef_test::bytesOf;
    const std::string stl = std::string(80, ' ') + bytesOf(std::uint32_t{1}) + std::string(50, ' ');
    for (const std::string& bytes :
         {std::string(), std::string("ply\nformat"), std::string("x,y,z\n1,2,3\n"), std::string("# made\nv 0 0 0\n"),
          std::string("{ LIST"), stl, bytesOf(std::int32_t{30}, std::int64_t{1}, 0.0, 0.0, 0.0)}) {
        EXPECT_TRUE(isCloudOrMeshFile(folder.put("file", bytes))) << bytes;
    }
    for (const std::string& bytes : {std::string("Dear Sir,\n"), stl + "more", std::string("int main() {}\n"),
                                     bytesOf(std::int32_t{30}, std::int64_t{2}, 0.0)}) {
        EXPECT_FALSE(isCloudOrMeshFile(folder.put("file", bytes))) << bytes;
    }
}
