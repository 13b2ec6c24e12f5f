#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <locale>
#include <random>
#include <sstream>

#include "support/capture.h"
#include "support/plyText.h"
#include "support/tempFolder.h"
#include "zef/pointFiles.h"

using namespace QUOR_ZEF;
using zef_test::bytesOf;
using zef_test::printedText;
using zef_test::TempFolder;

namespace {

// What the stream library makes of a line.
bool streamPoint(const std::string& line, Point3& point) {
    std::istringstream text(line);
    text.imbue(std::locale::classic());
    return static_cast<bool>(text >> point.px >> point.py >> point.pz);
}

std::vector<Point3> readText(const TempFolder& folder, const std::string& text) {
    std::vector<Point3> vPoints;
    EXPECT_TRUE(readPoints_ASCII(folder.put("a.xyz", text).c_str(), vPoints));
    return vPoints;
}

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

TEST(readPoints_ASCII, takesTheFirstThreeNumbersOfALine) {
    const TempFolder folder;
    const auto vPoints = readText(folder,
                                  "x y z\n# comment\n1 2\n\n1 2 3\r\n  4\t5 6 255 0 0\n+7 -8 .9 rest\n"
                                  "nan 1 2\n1,2,3\n1e999 0 0\n1 2 3e\n0x1 2 3\n10 11 12");
    const std::vector<Point3> expected = {{1, 2, 3}, {4, 5, 6}, {7, -8, .9}, {10, 11, 12}};
    EXPECT_EQ(vPoints, expected);
    EXPECT_FALSE(vPoints[1].hasColor());
}

TEST(readPoints_ASCII, parsesAnyLineAsAStreamDoes) {
    const TempFolder folder;
    std::mt19937 random(1);
    const std::string letters = "0123456789012345  \t+-..eEnx";
    std::string text;
    std::vector<Point3> expected;
    for (int i = 0; i < 60'000; ++i) {
        std::string line;
        for (std::size_t k = 5 + random() % 12; k > 0; --k) line += letters[random() % letters.size()];
        // A second exponent is the one text of which a stream takes more than the number.
        if (std::count_if(line.begin(), line.end(), [](char c) { return c == 'e' || c == 'E'; }) > 1) continue;
        text += line + "\n";
        Point3 point;
        if (streamPoint(line, point)) expected.push_back(point);
    }
    const auto vPoints = readText(folder, text);
    ASSERT_GT(expected.size(), 1000u);
    EXPECT_TRUE(vPoints == expected) << vPoints.size() << " " << expected.size();
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
    std::string before = folder.name("before.xyz"), after = folder.name("after.xyz");
    std::string beforePly = folder.name("before.ply"), afterPly = folder.name("after.ply");
    std::string beforeList = folder.name("before.list"), afterList = folder.name("after.list");
    const auto write = [&](std::string& xyz, std::string& ply, std::string& list) {
        printedText([&] {
            EXPECT_TRUE(writePoints_auto(xyz, vPoints, true) && writePoints_auto(ply, vPoints, true) &&
                        writePoints_auto(list, vPoints, true));
        });
    };
    write(before, beforePly, beforeList);
    const GlobalLocale locale(std::locale(std::locale::classic(), new CommaPunct));
    write(after, afterPly, afterList);
    EXPECT_EQ(folder.get("before.xyz"), folder.get("after.xyz"));
    EXPECT_EQ(folder.get("before.ply"), folder.get("after.ply"));
    EXPECT_EQ(folder.get("before.list"), folder.get("after.list"));
    for (std::string* pName : {&after, &afterPly}) {
        std::vector<Point3> vBack;
        EXPECT_TRUE(readPoints_auto(*pName, vBack));
        ASSERT_EQ(vBack.size(), 1u);
        EXPECT_EQ(vBack[0].px, 1234.5);
    }
}

TEST(readPoints_BIN, readsPointsWithoutZAndFillsUpWhatIsShort) {
    const TempFolder folder;
    std::vector<Point3> vPoints;
    const std::string flat = bytesOf(std::int32_t{20}) + bytesOf(std::int64_t{2}) + bytesOf(1.0, 2.0, 3.0, 4.0);
    EXPECT_TRUE(readPoints_BIN(folder.put("a.bin", flat).c_str(), vPoints));
    const std::string cut = bytesOf(std::int32_t{30}) + bytesOf(std::int64_t{3}) + bytesOf(5.0, 6.0, 7.0, 8.0);
    EXPECT_TRUE(readPoints_BIN(folder.put("b.bin", cut).c_str(), vPoints));
    EXPECT_EQ(vPoints, (std::vector<Point3>{{1, 2, 0}, {3, 4, 0}, {5, 6, 7}, {8, 0, 0}, {0, 0, 0}}));
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
