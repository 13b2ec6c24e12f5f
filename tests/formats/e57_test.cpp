#include "formats/e57.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>
#include <random>

#include "formats/crc32c.h"
#include "formats/e57Writer.h"
#include "formats/readStream.h"
#include "support/threads.h"

using namespace QUOR_ZEF;
using zef_test::E57TestField;
using zef_test::E57TestScan;
using zef_test::StreamRead;

namespace {

// The first values are the least and the largest one.
E57TestField integers(const std::string& name, const std::string& attributes, unsigned numBits, std::size_t num,
                      std::uint64_t range) {
    static std::mt19937_64 random(7);
    E57TestField field{name, "type=\"Integer\" " + attributes, numBits, std::vector<std::uint64_t>(num)};
    for (std::uint64_t& value : field.packed) value = range == ~std::uint64_t{0} ? random() : random() % (range + 1);
    field.packed[0] = 0;
    if (num > 1) field.packed[1] = range;
    return field;
}

std::string limits(const std::string& lowest, const std::string& highest) {
    return "minimum=\"" + lowest + "\" maximum=\"" + highest + "\"";
}

E57TestField reals(const std::string& name, const std::vector<double>& values) {
    E57TestField field{name, "type=\"Float\"", 64, {}};
    for (const double value : values) field.packed.push_back(std::bit_cast<std::uint64_t>(value));
    return field;
}

E57TestField singles(const std::string& name, const std::vector<float>& values) {
    E57TestField field{name, "type=\"Float\" precision=\"single\"", 32, {}};
    for (const float value : values) field.packed.push_back(std::bit_cast<std::uint32_t>(value));
    return field;
}

StreamRead read(const std::vector<E57TestScan>& vScans, const PointChoice& choice = {}, std::size_t packetBytes = 50) {
    return zef_test::readBytes(zef_test::toPages(zef_test::makeE57(vScans, packetBytes)), openE57, choice);
}

E57TestScan manyWidths(std::size_t num) {
    return {{integers("cartesianX", limits("-5", "1073741819"), 31, num, 1073741824 - 1),
             integers("cartesianY", limits("-4294967296", "4294967295"), 33, num, 8589934591),
             integers("cartesianZ", "", 64, num, ~std::uint64_t{0}),
             integers("timeStamp", limits("3", "4611686018427387906"), 62, num, 5),
             integers("colorRed", limits("0", "127"), 7, num, 127), integers("colorGreen", limits("9", "9"), 0, num, 0),
             integers("colorBlue", limits("0", "1"), 1, num, 1),
             integers("intensity", limits("-1", "9223372036854775806"), 63, num, ~std::uint64_t{0} >> 1)},
            "",
            num};
}

// Four points on the axes and one without a place, seen from (10, 20, 30) by a scanner that is
// turned about z by a right angle.
E57TestScan sphere() {
    constexpr double quarter = std::numbers::pi / 2;
    const float zero = 0.f, one = 1.f;
    return {{reals("sphericalRange", {1, 2, 3, 4, std::nan("")}),
             reals("sphericalAzimuth", {0, quarter, 0, 0, 0}),
             reals("sphericalElevation", {0, 0, quarter, 0, 0}),
             {"sphericalInvalidState", "type=\"Integer\" " + limits("0", "2"), 2, {0, 0, 0, 1, 0}},
             singles("nor:normalX", {one, zero, zero, zero, zero}),
             singles("nor:normalY", {zero, one, zero, zero, zero}),
             singles("nor:normalZ", {zero, zero, one, zero, zero}),
             singles("colorRed", {-1.f, 0.f, 1.f, 0.f, 0.f}),
             singles("colorGreen", {1.f, 1.f, 1.f, 1.f, 1.f}),
             singles("colorBlue", {2.f, 0.5f, 1.f, 1.f, 1.f}),
             {"isColorInvalid", "type=\"Integer\" " + limits("0", "1"), 1, {0, 0, 1, 0, 0}}},
            "<name type=\"String\"><![CDATA[tower]]></name><pose type=\"Structure\"><rotation>"
            "<w>2</w><x/><y/><z>2.0</z></rotation><translation><x>10</x><y>2e+001</y><z>30</z></translation></pose>"
            "<colorLimits><colorRedMinimum>-1</colorRedMinimum><colorRedMaximum>1</colorRedMaximum>"
            "<colorGreenMaximum>2</colorGreenMaximum><colorBlueMaximum>1</colorBlueMaximum></colorLimits>",
            5};
}

void expectNear(const Point3& p, double x, double y, double z) {
    EXPECT_NEAR((p - Point3(x, y, z)).length(), 0.0, 1e-12) << p.px << ' ' << p.py << ' ' << p.pz;
}

}  // namespace

TEST(Crc32c, isTheSameByTablesAndByTheProcessor) {
    EXPECT_EQ(crc32c("123456789"), 0xE3069283u);
    EXPECT_EQ(crc32cByTables("123456789"), 0xE3069283u);
    const std::string page(1020, 'q');
    EXPECT_EQ(crc32cByTables(page), crc32c(page));
    EXPECT_EQ(crc32c("56789", crc32c("1234")), 0xE3069283u);
    EXPECT_EQ(crc32cByTables("56789", crc32cByTables("1234")), 0xE3069283u);
}

TEST(E57, unpacksEveryWidthAcrossPackets) {
    constexpr std::size_t num = 30000;
    const E57TestScan scan = manyWidths(num);
    for (const unsigned numThreads : {1u, 3u}) {
        const ThreadCount threads(numThreads);
        const StreamRead result = read({scan}, {}, 7000);
        EXPECT_EQ(result.error, "");
        ASSERT_EQ(result.block.points.size(), num);
        ASSERT_EQ(result.block.intensities.size(), num);
        for (std::size_t i = 0; i < num; ++i) {
            const auto packed = [&](std::size_t field) { return static_cast<double>(scan.fields[field].packed[i]); };
            const Point3& p = result.block.points[i];
            ASSERT_EQ(p,
                      Point3(packed(0) - 5, packed(1) - 4294967296.0,
                             static_cast<double>(std::bit_cast<std::int64_t>(scan.fields[2].packed[i] ^ 1ull << 63))));
            ASSERT_EQ(p.r, std::lround(packed(4) * 255 / 127));
            ASSERT_EQ(p.g, 9);
            ASSERT_EQ(p.b, packed(6) * 255);
            ASSERT_EQ(result.block.intensities[i], static_cast<float>(packed(7) - 1));
        }
    }
}

TEST(E57, movesTurnsAndFiltersEachScan) {
    const E57TestScan second = {
        {integers("cartesianX", limits("2", "2"), 0, 3, 0),
         {"cartesianY", "type=\"ScaledInteger\" scale=\"0.5\" offset=\"-1\" " + limits("-1", "2"), 2, {0, 1, 3}},
         singles("cartesianZ", {1.5f, 2.5f, 3.5f})},
        "",
        3};
    const StreamRead both = read({sphere(), {{}, "", 0}, second});
    EXPECT_EQ(both.error, "");
    ASSERT_EQ(both.block.points.size(), 6u);
    const std::vector<Point3>& points = both.block.points;
    expectNear(points[0], 10, 21, 30);
    expectNear(points[1], 8, 20, 30);
    expectNear(points[2], 10, 20, 33);
    EXPECT_EQ(points[3], Point3(2, -1.5, 1.5));
    EXPECT_EQ(points[5], Point3(2, 0, 3.5));
    ASSERT_EQ(both.block.normals.size(), 6u);
    EXPECT_NEAR((both.block.normals[0] - Vector3(0, 1, 0)).length(), 0.0, 1e-12);
    EXPECT_NEAR((both.block.normals[1] - Vector3(-1, 0, 0)).length(), 0.0, 1e-12);
    EXPECT_EQ(both.block.normals[3].length(), 0.0);
    EXPECT_EQ(std::vector<int>({points[0].r, points[0].g, points[0].b, points[0].a}),
              std::vector<int>({0, 128, 255, 255}));
    EXPECT_EQ(points[1].b, 128);
    EXPECT_FALSE(points[2].hasColor() || points[3].hasColor());
    EXPECT_EQ(both.facts.numScans, 3u);
    EXPECT_EQ(both.facts.numPoints, 8u);
    EXPECT_EQ(both.facts.comments, std::vector<std::string>{"tower"});
    ASSERT_EQ(both.facts.notes.size(), 1u);
    EXPECT_EQ(both.facts.notes[0].substr(0, 8), "2 points");
    EXPECT_FALSE(both.block.viewpoint);

    PointChoice choice;
    choice.scan = 0;
    EXPECT_EQ(read({sphere(), second}, choice).block.viewpoint, Point3(10, 20, 30));
    choice.scan = 2;
    EXPECT_NE(read({sphere(), second}, choice).error.find("the last one is scan 1; "), std::string::npos);
}

TEST(E57, dropsBitsWhereAPacketBeginsAnew) {
    const auto field = [](const std::string& name, std::vector<std::uint64_t> packed) {
        return E57TestField{name, "type=\"Integer\" " + limits("0", "6"), 3, std::move(packed)};
    };
    const E57TestScan scan = {
        {singles("cartesianX", {1.f}), field("cartesianY", {2}), field("cartesianZ", {3})},
        "",
        3,
        "",
        {singles("cartesianX", {4.f, 0.f}), field("cartesianY", {5, 1}), field("cartesianZ", {6, 2})}};
    EXPECT_EQ(read({scan}).block.points, std::vector<Point3>({{1, 2, 3}, {4, 5, 6}, {0, 1, 2}}));
}

TEST(E57, looksIntoStructuresAndPastText) {
    E57TestScan scan = {{singles("cartesianX", {1.f, 2.f}),
                         {"label", "type=\"String\"", 8, {2, 'a', 4, 'b', 'c'}},
                         singles("cartesianY", {3.f, 4.f}),
                         singles("cartesianZ", {5.f, 6.f})},
                        "",
                        2};
    scan.fields[1].name = "place type=\"Structure\"><label";
    scan.fields[3].behind = "</place>";
    for (const char* const codec : {"", "bitPackCodec"}) {
        scan.codec = codec;
        EXPECT_EQ(read({scan}).block.points, std::vector<Point3>({{1, 3, 5}, {2, 4, 6}})) << codec;
    }
    scan.codec = "otherCodec";
    EXPECT_NE(read({scan}).error.find("the codec \"otherCodec\" is not known"), std::string::npos);
    scan.codec = {};
    scan.fields[1].name = "place type=\"Structure\"><intensity";
    EXPECT_NE(read({scan}).error.find("intensity is text"), std::string::npos);
}

// A limit may be given as a whole number with a scale, as any other number.
TEST(E57, scalesWhatItIsTold) {
    E57TestScan scan = {{singles("cartesianX", {1.f}), singles("cartesianY", {1.f}), singles("cartesianZ", {1.f}),
                         singles("colorRed", {0.75f}), singles("colorGreen", {0.f}), singles("colorBlue", {0.f})},
                        "<colorLimits><colorRedMaximum type=\"ScaledInteger\" scale=\"0.5\" offset=\"0.5\">2"
                        "</colorRedMaximum><colorGreenMaximum>1</colorGreenMaximum><colorBlueMaximum>1"
                        "</colorBlueMaximum></colorLimits>",
                        1};
    EXPECT_EQ(read({scan}).block.points.at(0).r, 128);
}

TEST(E57, deliversWhatStandsBeforeDamage) {
    const std::string payload = zef_test::makeE57({manyWidths(60), sphere()}, 40);
    const std::vector<Point3> whole = zef_test::readBytes(zef_test::toPages(payload), openE57).block.points;
    ASSERT_EQ(whole.size(), 63u);
    const std::size_t xml = payload.find("<?xml");
    for (std::size_t i = 0; i < payload.size(); i += i < 100 ? 1 : 7) {
        for (const char change : {'\x01', '\x80', '\xFF'}) {
            std::string damaged = payload;
            damaged[i] = static_cast<char>(damaged[i] ^ change);
            const StreamRead result = zef_test::readBytes(zef_test::toPages(damaged), openE57);
            EXPECT_LE(result.block.points.size(), 63u + (i >= xml ? 2 : 0)) << i;
            EXPECT_EQ(result.block.normals.empty() || result.block.normals.size() == result.block.points.size(), true);
        }
    }
    const std::string file = zef_test::toPages(payload);
    for (std::size_t i = 0; i < file.size(); i += 101) {
        EXPECT_NE(zef_test::readBytes(file.substr(0, i), openE57).error, "") << i;
        std::string flipped = file;
        flipped[i] = static_cast<char>(flipped[i] ^ 1);
        EXPECT_NE(zef_test::readBytes(flipped, openE57).error, "") << i;
    }
}

TEST(E57, refusesLyingCountsAndSectionsWithinEachOther) {
    E57TestScan scan = manyWidths(100);
    scan.numRecords = 101;
    const StreamRead tooMany = read({scan});
    EXPECT_EQ(tooMany.block.points.size(), 100u);
    EXPECT_NE(tooMany.error.find("the packets end before the records"), std::string::npos) << tooMany.error;
    scan.numRecords = 100;
    E57TestScan same = scan;
    same.offset = "48";
    const StreamRead twice = read({scan, same});
    EXPECT_EQ(twice.block.points.size(), 100u);
    EXPECT_NE(twice.error.find("overlaps another part"), std::string::npos) << twice.error;
    for (E57TestField& field : scan.fields) field = integers(field.name, limits("1", "1"), 0, 100, 0);
    EXPECT_EQ(read({scan}).block.points.size(), 100u);
    scan.numRecords = ~std::uint64_t{0};
    EXPECT_NE(read({scan}).error.find("no room"), std::string::npos);
    scan.numRecords = 100;
    scan.fields[0] = integers("cartesianX", limits("0", "2"), 2, 100, 3);
    const StreamRead beyond = read({scan});
    EXPECT_EQ(beyond.block.points.size(), 1u);
    EXPECT_NE(beyond.error.find("point 1: cartesianX is beyond its maximum"), std::string::npos) << beyond.error;
}

TEST(E57, readsRealFiles) {
    if (zef_test::realFile("").empty()) return;
    const StreamRead bunny = zef_test::readStream(zef_test::realFile("bunnyInt32.e57"), openE57);
    EXPECT_EQ(bunny.error, "");
    EXPECT_EQ(bunny.block.points.size(), 30571u);
    const auto bunnyBox = zef_test::boxOf(bunny.block.points);
    EXPECT_NEAR((bunnyBox.first - Point3(-0.094689, 0.040011, -0.061873)).length(), 0.0, 1e-12);
    EXPECT_NEAR((bunnyBox.second - Point3(0.061009, 0.187321, 0.058799)).length(), 0.0, 1e-12);
    const StreamRead cube = zef_test::readStream(zef_test::realFile("ColouredCubeFloat.e57"), openE57);
    EXPECT_EQ(cube.error, "");
    EXPECT_EQ(cube.block.points.size(), 7680u);
    EXPECT_EQ(zef_test::boxOf(cube.block.points).first, Point3(-0.5, -0.5, -0.5));
    EXPECT_EQ(zef_test::boxOf(cube.block.points).second, Point3(0.5, 0.5, 0.5));
    const StreamRead scans = zef_test::readStream(zef_test::realFile("two_scans.e57"), openE57);
    EXPECT_EQ(scans.error, "");
    ASSERT_EQ(scans.block.points.size(), 6u);
    EXPECT_NEAR((zef_test::boxOf(scans.block.points).first -
                 Point3(-44.952201843261719, -1.3493000268936157, -0.60769999027252197))
                    .length(),
                0.0, 1e-12);
    const StreamRead bad = zef_test::readStream(zef_test::realFile("bad-crc.e57"), openE57);
    EXPECT_NE(bad.error.find("checksum"), std::string::npos) << bad.error;
}
