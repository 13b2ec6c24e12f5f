#include "formats/lasWriter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "formats/las.h"
#include "support/tempFolder.h"
#include "zef/errors.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

PointBlock readBack(const std::string& name, ScanFacts& facts) {
    const InputFile file(name);
    const auto pStream = openLas(file, {});
    PointBlock block;
    while (pStream->next(block)) {
    }
    facts = pStream->getFacts();
    return block;
}

void save(const std::string& path, const LasContent& content, const LasOptions& options = {}) {
    AtomicFile file(path);
    writeLas(file, content, options);
    ASSERT_TRUE(file.commit());
}

TEST(LasWriter, pointsComeBackWithinAThousandthOfTheSpacing) {
    const TempFolder folder;
    std::vector<Point3> points;
    for (int i = 0; i < 100; ++i)
        points.emplace_back(4.5e6 + 0.0731 * i, -3e5 - 0.1 * i, 1e-3 * i, std::uint8_t(i), std::uint8_t(1),
                            std::uint8_t(255 - i), std::uint8_t(255));
    std::vector<std::uint8_t> classes(points.size(), 6);
    const std::vector<float> intensities(points.size(), 0.5f);
    for (const bool bLarge : {false, true}) {
        classes.back() = bLarge ? 200 : 7;
        save(folder.name("a.las"), {points, classes, intensities}, {.spacing = 0.07});
        ScanFacts facts;
        const PointBlock block = readBack(folder.name("a.las"), facts);
        EXPECT_EQ(facts.format, bLarge ? "LAS 1.4, point format 7" : "LAS 1.2, point format 2");
        ASSERT_EQ(block.points.size(), points.size());
        EXPECT_EQ(block.classes, classes);
        EXPECT_EQ(block.intensities[3], 32768.0f);
        for (std::size_t i = 0; i < points.size(); ++i) {
            EXPECT_NEAR(block.points[i].px, points[i].px, 0.07 / 1000);
            EXPECT_EQ(block.points[i].r, points[i].r);
            EXPECT_EQ(block.points[i].b, points[i].b);
        }
    }
}

// Only shares of the most are scaled to what LAS holds: those that are all 0 and 1 are counts.
TEST(LasWriter, intensitiesKeepTheirMeaning) {
    const TempFolder folder;
    const std::vector<Point3> points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    const std::vector<std::pair<std::vector<float>, std::vector<float>>> cases = {{{0, 1, 1}, {0, 1, 1}},
                                                                                  {{0, 0.5f, 1}, {0, 32768, 65535}},
                                                                                  {{0, 0.5f, 7}, {0, 1, 7}},
                                                                                  {{-3, 1e9f, 2.4f}, {0, 65535, 2}}};
    for (const auto& [given, expected] : cases) {
        save(folder.name("a.las"), {points, {}, given});
        ScanFacts facts;
        EXPECT_EQ(readBack(folder.name("a.las"), facts).intensities, expected) << given[1];
    }
}

TEST(LasWriter, coordinatesOfFewDecimalsKeepThem) {
    const TempFolder folder;
    const std::vector<Point3> points = {{637012.24, 4849028.317, -431.6}, {637112.25, 4849428.319, 0.0}};
    save(folder.name("a.las"), {points, {}, {}}, {.spacing = 400.0});
    ScanFacts facts;
    const PointBlock block = readBack(folder.name("a.las"), facts);
    for (std::size_t i = 0; i < points.size(); ++i) EXPECT_LT((block.points.at(i) - points[i]).length(), 1e-8);
}

// A scale that 32 bits can hold, whatever the spacing wants.
TEST(LasWriter, wideCloudsFit) {
    const TempFolder folder;
    const std::vector<Point3> points = {{-1e9, 3e15, 0.0}, {1e9, 3e15 + 1.0, 5e-9}};
    for (const double spacing : {0.0, 1e-6}) {
        save(folder.name("a.las"), {points, {}, {}}, {.spacing = spacing, .bNew = true});
        ScanFacts facts;
        const PointBlock block = readBack(folder.name("a.las"), facts);
        EXPECT_NEAR(block.points.at(0).px, -1e9, 0.5);
        EXPECT_NEAR(block.points.at(1).py, 3e15 + 1.0, 0.5);
        EXPECT_FALSE(block.points.at(1).bHasColor);
    }
    save(folder.name("none.las"), {});
    EXPECT_EQ(folder.get("none.las").size(), 227u);
    const std::vector<Point3> none = {{std::numeric_limits<double>::quiet_NaN(), 0.0, 0.0}};
    EXPECT_THROW(save(folder.name("b.las"), {none, {}, {}}), SaveError);
}

}  // namespace
