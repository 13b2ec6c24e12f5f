#include <gtest/gtest.h>

#include <iostream>
#include <regex>
#include <sstream>

#include "LibraryOutput.h"
#include "ProgressBar.h"
#include "Report.h"
#include "frame/tools.h"
#include "options.h"
#include "outputs.h"
#include "support/capture.h"
#include "support/plyText.h"
#include "support/tempFolder.h"

namespace {

// Takes std::cerr for the time of its life.
struct CaptureCerr {
    std::ostringstream buffer;
    std::streambuf* pOld = std::cerr.rdbuf(buffer.rdbuf());
    ~CaptureCerr() { std::cerr.rdbuf(pOld); }
};

std::vector<int> percentages(const std::string& text) {
    std::vector<int> vPercent;
    const std::regex percent("(\\d+) %");
    for (std::sregex_iterator it(text.begin(), text.end(), percent), end; it != end; ++it) {
        vPercent.push_back(std::stoi((*it)[1]));
    }
    return vPercent;
}

}  // namespace

TEST(ToolProgressBar, neverFallsWithinARunAndVanishes) {
    std::ostringstream out;
    {
        ProgressBar bar(out, true);
        for (const double value : {0.1, 0.5, 0.3, 0.7}) {
            bar.update("Reconstruct", value);
            bar.hide();  // so that each update draws
        }
        bar.update("Flip", 0.2);
    }
    EXPECT_EQ(percentages(out.str()), (std::vector<int>{10, 50, 50, 70, 20}));
    EXPECT_NE(out.str().find("Reconstruct"), std::string::npos);
    EXPECT_TRUE(out.str().ends_with("\r\033[K"));
    std::ostringstream silent;
    ProgressBar(silent, false).update("Reconstruct", 0.5);
    EXPECT_EQ(silent.str(), "");
}

TEST(ToolLibraryOutput, turnsMessagesIntoTheToolsFormOnTheOtherStream) {
    std::ostringstream none;
    ProgressBar bar(none, false);
    for (const bool bQuiet : {false, true}) {
        const CaptureCerr cerr;
        const zef_test::CaptureCout cout;
        {
            const LibraryOutput output(bar, bQuiet);
            std::cout << "a line\n";
            QUOR_ZEF::showWarning(QUOR_ZEF::where("void f()", 7), "look out");
            QUOR_ZEF::showError("CMesh", "did not work");
        }
        EXPECT_EQ(cout.text(), "");
        const std::string error = "zef: error: did not work\n";
        EXPECT_EQ(cerr.buffer.str(), bQuiet ? error : "a line\nzef: warning: look out\n" + error);
    }
}

TEST(ToolLibraryOutput, keepsWhatAFailedCheckSaidForTheEnd) {
    std::ostringstream none;
    ProgressBar bar(none, false);
    const CaptureCerr cerr;
    const LibraryOutput output(bar, false);
    EXPECT_EQ(output.getFailure(), "");
    EXPECT_THROW(ASSEX(1 > 2 && "do it the other way"), QUOR_ZEF::ZefBugException);
    EXPECT_EQ(output.getFailure(), "do it the other way");
    EXPECT_THROW(ASSEX(2>3), QUOR_ZEF::ZefBugException);
    EXPECT_NE(output.getFailure().find("[ 2>3 failed ]"), std::string::npos);
    EXPECT_NE(output.getFailure().find("parts_test.cpp"), std::string::npos);
    EXPECT_EQ(cerr.buffer.str(), "");
}

TEST(ToolReport, countsAndBytesReadWell) {
    EXPECT_EQ(countText(0), "0");
    EXPECT_EQ(countText(999), "999");
    EXPECT_EQ(countText(1000), "1,000");
    EXPECT_EQ(countText(1234567), "1,234,567");
    EXPECT_EQ(bytesText(999), "999 bytes");
    EXPECT_EQ(bytesText(1500000), "1.5 MB");
}

TEST(ToolOptions, shiftTakesThreeNumbersOnly) {
    std::array<double, 3> shift;
    ASSERT_TRUE(parseShift("1,-2.5,3e2", shift));
    EXPECT_EQ(shift, (std::array<double, 3>{1.0, -2.5, 300.0}));
    for (const char* const text : {"", "1,2", "1,2,3,4", "1,2,x", "1,2,inf", "1,,3", "auto"}) {
        EXPECT_FALSE(parseShift(text, shift)) << text;
    }
}

TEST(ToolOutput, knowsCloudsAndMeshesByTheirBytes) {
    const zef_test::TempFolder folder;
    using zef_test::bytesOf;
    const std::string stl = std::string(80, ' ') + bytesOf(std::uint32_t{1}) + std::string(50, ' ');
    for (const std::string& bytes :
         {std::string(), std::string("ply\nformat"), std::string("# x y z\n1 2 3\n"), std::string("x,y,z\n1,2,3\n"),
          std::string("# made\nv 0 0 0\n"), std::string("OFF\n3 1 0"), std::string("solid a"), std::string("glTF\2\0"),
          std::string("{ LIST"), stl, bytesOf(std::int32_t{30}, std::int64_t{1}, 0.0, 0.0, 0.0)}) {
        EXPECT_TRUE(isCloudOrMeshFile(folder.put("file", bytes))) << bytes;
    }
    for (const std::string& bytes :
         {std::string("Dear Sir,\n"),
          std::string("\x7f"
                      "ELF\1\0\0",
                      7),
          stl + "more", std::string("int main() {}\n"), bytesOf(std::int32_t{30}, std::int64_t{2}, 0.0)}) {
        EXPECT_FALSE(isCloudOrMeshFile(folder.put("file", bytes))) << bytes;
    }
    EXPECT_FALSE(isCloudOrMeshFile(folder.name("missing")));
}
