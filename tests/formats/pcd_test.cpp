#include "formats/pcd.h"

#include <gtest/gtest.h>
#include <lzf.h>

#include <cmath>
#include <limits>

#include "formats/pcdWriter.h"
#include "formats/readStream.h"
#include "support/plyText.h"

using namespace QUOR_ZEF;
using zef_test::bytesOf;
using zef_test::readBytes;
using zef_test::StreamRead;

namespace {

constexpr double none = std::numeric_limits<double>::quiet_NaN();

std::string pcd(const std::string& fields, const std::string& sizes, const std::string& types,
                const std::string& counts, const std::string& width, const std::string& data) {
    return "# .PCD v0.7\n# by hand\nVERSION .7\nFIELDS " + fields + "\nSIZE " + sizes + "\nTYPE " + types + "\nCOUNT " +
           counts + "\nWIDTH " + width + "\nHEIGHT 2\nVIEWPOINT 1 2 3 0.5 0.5 0.5 0.5\nDATA " + data + "\n";
}

// Four points in two rows, the third without a place, as each of the three forms holds them.
std::string mixed(const std::string& data) {
    const std::string header = pcd("normal_x _ x y z rgba normal_y normal_z Intensity classification",
                                   "4 1 4 8 2 4 4 4 1 1", "F U F F I U F F I U", "1 3 1 1 1 1 1 1 1 1", "2", data);
    const std::array<float, 4> x{1.5f, -2.5f, NAN, 1e-30f};
    const std::array<double, 4> y{1e300, 0.1, none, -7.0};
    const std::array<std::int16_t, 4> z{-32768, 0, 5, 32767};
    const std::array<std::uint32_t, 4> rgba{0xFF010203, 0x80FFFEFD, 0, 0xFFFFFFFF};
    const std::array<float, 4> normal{0.f, 1.f, NAN, -1.f};
    const std::array<std::int8_t, 4> intensity{-128, 127, 0, 1};
    if (data == "ascii") {
        return header +
               "0 9 9 9 1.5 1e300 -32768 4278255107 1 0 -128 2\r\n\n 1 9 9 9 -2.5 0.1 0 2164260605 1 0 127 6\n"
               "nan 9 9 9 nan NaN 5 0 1 0 0 7\n-1 9 9 9 1e-30 -7 32767 4294967295 1 0 1 9";
    }
    std::string rows, columns;
    const std::array<std::uint8_t, 4> classes{2, 6, 7, 9};
    for (std::size_t i = 0; i < 4; ++i)
        rows += bytesOf(normal[i]) + "999" + bytesOf(x[i]) + bytesOf(y[i]) + bytesOf(z[i]) + bytesOf(rgba[i]) +
                bytesOf(1.f, 0.f) + bytesOf(intensity[i]) + bytesOf(classes[i]);
    if (data == "binary") return header + rows;
    columns = bytesOf(normal) + "999999999999" + bytesOf(x) + bytesOf(y) + bytesOf(z) + bytesOf(rgba) +
              bytesOf(1.f, 1.f, 1.f, 1.f, 0.f, 0.f, 0.f, 0.f) + bytesOf(intensity) + bytesOf(classes);
    std::string packed(columns.size() + 100, '\0');
    packed.resize(::lzf_compress(columns.data(), static_cast<unsigned>(columns.size()), packed.data(),
                                 static_cast<unsigned>(packed.size())));
    return header + bytesOf(static_cast<std::uint32_t>(packed.size()), static_cast<std::uint32_t>(columns.size())) +
           packed;
}

// fn(bytes) for the file cut anywhere, and with each byte changed in some ways.
template <class Fn>
void forDamaged(const std::string& whole, const Fn& fn) {
    for (std::size_t i = 0; i < whole.size(); ++i) {
        fn(whole.substr(0, i));
        for (const char change : {'\x01', '\x0f', '\x80'}) {
            std::string damaged = whole;
            damaged[i] = static_cast<char>(damaged[i] ^ change);
            fn(damaged);
        }
    }
}

}  // namespace

TEST(Pcd, readsTheSamePointsFromAllForms) {
    for (const std::string data : {"ascii", "binary", "binary_compressed"}) {
        const StreamRead read = readBytes(mixed(data), openPcd);
        EXPECT_EQ(read.error, "") << data;
        const PointBlock& block = read.block;
        ASSERT_EQ(block.points.size(), 4u);
        EXPECT_EQ(block.points[0], Point3(1.5, 1e300, -32768));
        EXPECT_EQ(block.points[1], Point3(-2.5, 0.1, 0));
        EXPECT_TRUE(std::isnan(block.points[2].px) && std::isnan(block.points[2].py) && block.points[2].pz == 5);
        EXPECT_EQ(block.points[3], Point3(1e-30f, -7, 32767));
        EXPECT_EQ(block.points[1].getColorString(), Point3(0, 0, 0, 255, 254, 253, 128).getColorString()) << data;
        EXPECT_EQ(block.points[0].b, 3);
        ASSERT_EQ(block.normals.size(), 4u);
        EXPECT_EQ(block.normals[3].vx, -1);
        EXPECT_EQ(block.normals[2].length(), 0);
        EXPECT_EQ(block.intensities, std::vector<float>({-128, 127, 0, 1}));
        EXPECT_EQ(block.classes, std::vector<std::uint8_t>({2, 6, 7, 9}));
        EXPECT_EQ(block.viewpoint, Point3(1, 2, 3));
        EXPECT_EQ(read.facts.comments, std::vector<std::string>{"# by hand"});
        EXPECT_EQ(read.facts.numPoints, 4u);
    }
}

TEST(Pcd, scalesColorsOfTheirOwnAndTakesOldHeaders) {
    const std::string head = "COLUMNS x y z r g b\nWIDTH 1\nPOINTS 2\n";
    const std::string wide = "SIZE 4 4 4 2 2 2\nTYPE F F F U U U\n";
    const StreamRead words = readBytes(head + wide + "DATA ascii\n1 2 3 65535 256 257\n1 2 3 0 128 129\n", openPcd);
    ASSERT_EQ(words.block.points.size(), 2u) << words.error;
    EXPECT_EQ(words.block.points[0].getColorString(), Point3(0, 0, 0, 255, 1, 1, 255).getColorString());
    EXPECT_FALSE(words.block.viewpoint);
    EXPECT_EQ(words.facts.notes.size(), 1u);
    const StreamRead shares = readBytes(head + "DATA ascii\n1 2 3 1 0.5 0\n1 2 3 0 0 0\n", openPcd);
    ASSERT_EQ(shares.block.points.size(), 2u) << shares.error;
    EXPECT_EQ(shares.block.points[0].getColorString(), Point3(0, 0, 0, 255, 128, 0, 255).getColorString());
}

TEST(Pcd, deliversWhatStandsBeforeDamage) {
    for (const std::string data : {"ascii", "binary", "binary_compressed"}) {
        forDamaged(mixed(data), [](const std::string& bytes) {
            const StreamRead read = readBytes(bytes, openPcd);
            EXPECT_LE(read.block.points.size(), 1000u);
            EXPECT_TRUE(read.block.normals.empty() || read.block.normals.size() == read.block.points.size());
        });
    }
    const std::string cut = mixed("binary");
    const StreamRead read = readBytes(cut.substr(0, cut.size() - 1), openPcd);
    EXPECT_EQ(read.block.points.size(), 3u);
    EXPECT_NE(read.error.find("the file ends after 3; "), std::string::npos) << read.error;
    const StreamRead text = readBytes(mixed("ascii").substr(0, mixed("ascii").rfind(' ')), openPcd);
    EXPECT_EQ(text.block.points.size(), 3u);
    EXPECT_EQ(text.error.substr(0, 8), "line 16:");
    const std::string giant = pcd("x y z", "8 8 8", "F F F", "1 1 1", "9000000000000000000", "binary") + "abc";
    const StreamRead lying = readBytes(giant, openPcd);
    EXPECT_EQ(lying.block.points.size(), 0u);
    EXPECT_LT(lying.facts.numPoints, 10u);
}

TEST(Pcd, readsWhatItWrites) {
    const zef_test::TempFolder folder;
    std::vector<Point3> points{{0.1, 2e9, 3}, {4, 5, 6, 7, 8, 9, 255}};
    for (const bool bColor : {true, false}) {
        if (!bColor) points.pop_back();
        for (const bool bDoubles : {true, false}) {
            AtomicFile file(folder.name("out.pcd"));
            writePcd(file, points, bDoubles);
            ASSERT_TRUE(file.commit());
            EXPECT_TRUE(isPcd(folder.get("out.pcd")));
            const StreamRead read = zef_test::readStream(folder.name("out.pcd"), openPcd);
            EXPECT_EQ(read.error, "");
            ASSERT_EQ(read.block.points.size(), points.size());
            EXPECT_EQ(read.block.points[0].px, bDoubles ? 0.1 : static_cast<double>(0.1f));
            EXPECT_EQ(read.block.points[0].hasColor(), bColor);
            EXPECT_FALSE(read.block.viewpoint);
            if (bColor) {
                EXPECT_EQ(read.block.points[1].getColorString(), points[1].getColorString());
            }
        }
    }
}

TEST(Pcd, readsARealFile) {
    if (zef_test::realFile("").empty()) return;
    const StreamRead read = zef_test::readStream(zef_test::realFile("autzen-utm.pcd"), openPcd);
    EXPECT_EQ(read.error, "");
    ASSERT_EQ(read.block.points.size(), 1065u);
    const auto box = zef_test::boxOf(read.block.points);
    EXPECT_EQ(box.first, Point3(493994.87, 4877429.62, 123.93));
    EXPECT_EQ(box.second, Point3(494993.68, 4878817.0200000005, 178.73));
    EXPECT_EQ(read.block.points[0].getColorString(), Point3(0, 0, 0, 68, 77, 88, 255).getColorString());
    EXPECT_EQ(read.block.classes[0], 1);
}
