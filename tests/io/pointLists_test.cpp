#include <gtest/gtest.h>

#include <functional>
#include <locale>

#include "support/capture.h"
#include "support/plyText.h"
#include "support/tempFolder.h"
#include "zef/pointFiles.h"

using namespace QUOR_ZEF;
using zef_test::bytesOf;
using zef_test::printedText;
using zef_test::TempFolder;

namespace {

std::string errText(const std::function<void()>& fn) {
    testing::internal::CaptureStderr();
    fn();
    return testing::internal::GetCapturedStderr();
}

// Decimal commas and grouped thousands, for everything that asks the locale.
struct CommaPunct : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

class GlobalLocale {
public:
    explicit GlobalLocale(const std::locale& locale) : old(std::locale::global(locale)) {}
    ~GlobalLocale() { std::locale::global(old); }

private:
    std::locale old;
};

const std::vector<Point3> threePoints = {{1.0 / 3.0, -2e-300, 3e300}, {1234567.125, 0, -0.5}, {7, 8, 9}};

}  // namespace

TEST(getFileType, knowsThreeSpellingsOfEachEnding) {
    EXPECT_EQ(getFileType("a.stl"), 0);
    EXPECT_EQ(getFileType("a.PLY"), 1);
    EXPECT_EQ(getFileType("a.Ply"), 1);
    for (const char* name : {"a.xyz", "a.XYZ", "a.Xyz", "a.txt", "a.TXT", "a.Txt", "a.asc", "a.ASC", "a.Asc"})
        EXPECT_EQ(getFileType(name), 2) << name;
    EXPECT_EQ(getFileType("a.Bin"), 3);
    EXPECT_EQ(getFileType("a.list"), 4);
    EXPECT_EQ(getFileType("a.List"), 4);
    for (const char* name : {"a.pLY", "a.obj", "a.plyx", "aaply", "a.liSt", "5char"})
        EXPECT_EQ(getFileType(name), 5) << name;
    EXPECT_EQ(getFileType(".ply"), 1);
    for (const char* name : {"", "ply", "name"}) EXPECT_THROW(getFileType(name), std::out_of_range) << name;
}

TEST(pointLists, appendAndComeBackAsTheyWere) {
    const TempFolder folder;
    for (std::string name : {"a.xyz", "b.TXT", "c.bin"}) {
        name = folder.name(name);
        std::vector<Point3> vPoints = threePoints;
        EXPECT_TRUE(writePoints_auto(name, vPoints, true));
        EXPECT_TRUE(readPoints_auto(name, vPoints));
        ASSERT_EQ(vPoints.size(), 6u);
        for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(vPoints[i + 3], threePoints[i]) << name;
    }
    EXPECT_EQ(folder.get("a.xyz").substr(0, 21), "0.333333333333333315 ");
    EXPECT_EQ(folder.get("c.bin").size(), 12u + 3 * 24);
    EXPECT_EQ(folder.get("c.bin").substr(0, 20),
              bytesOf(std::int32_t{30}) + bytesOf(std::int64_t{3}) + bytesOf(1.0 / 3));
}

TEST(pointLists, theLocalePlaysNoPart) {
    const TempFolder folder;
    std::vector<Point3> vPoints = {{1234.5, 0.25, -1e-7}};
    const auto write = [&](const std::string& name) {
        for (std::string file : {name + ".xyz", name + ".ply", name + ".list"}) {
            file = folder.name(file);
            printedText([&] { EXPECT_TRUE(writePoints_auto(file, vPoints, true)); });
        }
    };
    write("before");
    const GlobalLocale locale(std::locale(std::locale::classic(), new CommaPunct));
    write("after");
    EXPECT_EQ(folder.get("before.list"), folder.get("after.list"));
    for (const std::string ending : {".xyz", ".ply"}) {
        EXPECT_EQ(folder.get("before" + ending), folder.get("after" + ending));
        std::string name = folder.name("after" + ending);
        std::vector<Point3> vBack;
        EXPECT_TRUE(readPoints_auto(name, vBack));
        ASSERT_EQ(vBack.size(), 1u);
        EXPECT_EQ(vBack[0].px, 1234.5);
    }
}

TEST(readPoints_BIN, refusesWrongTypesAndAbsurdCounts) {
    const TempFolder folder;
    std::vector<Point3> vPoints;
    const auto read = [&](std::int32_t type, std::int64_t count) {
        const std::string bytes = bytesOf(type) + bytesOf(count) + bytesOf(1.0, 2.0, 3.0);
        return readPoints_BIN(folder.put("a.bin", bytes).c_str(), vPoints);
    };
    const std::string text = printedText([&] { EXPECT_FALSE(read(31, 1)); });
    EXPECT_EQ(text, folder.name("a.bin") + " has wrong filetype 31, expected: 30 or 20\n");
    EXPECT_TRUE(read(30, 0));
    EXPECT_TRUE(read(30, -5));
    for (const std::int64_t count : {std::int64_t{1} << 62, std::int64_t{1} << 32, std::int64_t{40'000}})
        EXPECT_NE(printedText([&] { EXPECT_FALSE(read(30, count)); }), "") << count;
    EXPECT_TRUE(vPoints.empty());
}

TEST(pointLists, tellWhatCannotBeOpened) {
    const TempFolder folder;
    std::vector<Point3> vPoints;
    const std::string none = folder.name("missing/a.xyz");
    EXPECT_EQ(printedText([&] { EXPECT_FALSE(readPoints_ASCII(none.c_str(), vPoints)); }), none + " is unreadable\n");
    EXPECT_EQ(printedText([&] { EXPECT_FALSE(readPoints_BIN(none.c_str(), vPoints)); }), none + " can't be read\n");
    EXPECT_EQ(printedText([&] { EXPECT_FALSE(writePoints_ASCII(none.c_str(), vPoints)); }),
              none + " can't be written\n");
    EXPECT_EQ(printedText([&] { EXPECT_FALSE(writePoints_BIN(none.c_str(), vPoints)); }), none + " can't be written\n");
    EXPECT_EQ(printedText([&] { EXPECT_FALSE(readSTL_ASCII(none.c_str(), vPoints)); }),
              "readSTL(): " + none + " is unreadable\n");
    EXPECT_FALSE(readPoints_ASCII(folder.path.c_str(), vPoints));
}

TEST(pointLists, otherEndingsAreRefusedOrGetAPlyFile) {
    const TempFolder folder;
    std::string stl = folder.put("a.stl", "solid a\nendsolid a\n"), odd = folder.name("a.pts"),
                list = folder.name("a.list");
    std::vector<Point3> vPoints;
    EXPECT_EQ(errText([&] { EXPECT_FALSE(readPoints_auto(stl, vPoints)); }),
              "Filename extension of [" + stl + "] is not valid, expected *.ply, *.xyz or *.bin\n");
    vPoints = {{1, 2, 3}};
    EXPECT_EQ(errText([&] { EXPECT_FALSE(writePoints_auto(odd, vPoints, false)); }),
              "Filename [" + odd + "] is not valid, using [zef_output_bin.ply] instead\n");
    EXPECT_TRUE(writePoints_auto(list, vPoints, false));
    EXPECT_EQ(folder.get("a.list").substr(0, 12), "LIST\n{ VECT\n");
    EXPECT_TRUE(readPly(odd.c_str(), true, vPoints));
    EXPECT_EQ(vPoints, (std::vector<Point3>{{1, 2, 3}, {1, 2, 3}}));
}
