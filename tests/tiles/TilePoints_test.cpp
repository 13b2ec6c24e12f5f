#include "tiles/TilePoints.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "support/tempFolder.h"

using namespace QUOR_ZEF;
using zef_test::TempFolder;
namespace fs = std::filesystem;

namespace {

constexpr uint64 digest = 0x123456789abcdef0;

Point3 pointOf(std::size_t i) {
    const double x = static_cast<double>(i);
    Point3 p(0.1 * x, -1e300 / (x + 1.0), x == 3.0 ? -0.0 : x);
    if (i % 3 != 0) p.setColor(static_cast<std::uint8_t>(i), 2, 255, static_cast<std::uint8_t>(i % 2));
    return p;
}

bool isSame(const Point3& a, const Point3& b) {
    return std::memcmp(&a.px, &b.px, 3 * sizeof(double)) == 0 && a.r == b.r && a.g == b.g && a.b == b.b && a.a == b.a &&
           a.bHasColor == b.bHasColor;
}

struct Job {
    TempFolder folder;
    fs::path path = folder.path;

    Job() { makeFolders(path); }
    std::string bytesOf(std::uint32_t tile) const {
        return folder.get("points/" + pointsPath("", tile).filename().string());
    }
    void put(std::uint32_t tile, const std::string& bytes) const {
        folder.put("points/" + pointsPath("", tile).filename().string(), bytes);
    }
    std::string faultOf(std::uint32_t tile, uint64 ofPlan = digest) const {
        try {
            readTilePoints(path, ofPlan, tile);
        } catch (const FileError& error) {
            return error.what();
        }
        return "";
    }
    std::size_t numEntries() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(path / "points"), fs::directory_iterator()));
    }
};

// The k-th tile gets each (k+1)-th point; the last one none.
void writeAll(const Job& job, const std::vector<std::uint32_t>& tiles, std::size_t num, std::size_t bufferBytes) {
    TilePointWriter writer(job.path, digest, tiles, bufferBytes);
    for (std::size_t i = 0; i < num; ++i)
        for (std::size_t k = 0; k + 1 < tiles.size(); ++k)
            if (i % (k + 1) == 0) writer.add(k, pointOf(i));
    writer.finish(1.0);
}

}  // namespace

TEST(TilePoints, readBackInTheirOrderWhateverTheBuffers) {
    constexpr std::size_t num = 5000;
    const std::vector<std::uint32_t> tiles = {2, 3, 12345, 70000};
    const Job small, large;
    writeAll(small, tiles, num, 0);
    writeAll(large, tiles, num, TilePointWriter::defaultBytes);
    for (std::size_t k = 0; k < tiles.size(); ++k) {
        const std::vector<Point3> vPoints = readTilePoints(small.path, digest, tiles[k]);
        ASSERT_EQ(vPoints.size(), k == 3 ? 0 : (num + k) / (k + 1));
        for (std::size_t i = 0; i < vPoints.size(); ++i) ASSERT_TRUE(isSame(vPoints[i], pointOf(i * (k + 1)))) << i;
        EXPECT_EQ(small.bytesOf(tiles[k]), large.bytesOf(tiles[k]));
        const auto record = findRecord(small.path, digest, {StepKind::POINTS, tiles[k]}, true);
        ASSERT_TRUE(record.has_value());
        EXPECT_EQ(record->numPoints, vPoints.size());
    }
    EXPECT_EQ(small.numEntries(), tiles.size());
}

TEST(TilePoints, aFileThatIsCutAnywhereIsRefused) {
    const Job job;
    writeAll(job, {7, 8}, 12, 0);
    const std::string bytes = job.bytesOf(7);
    for (std::size_t end = 0; end < bytes.size(); ++end) {
        job.put(7, bytes.substr(0, end));
        EXPECT_NE(job.faultOf(7).find("split the job again"), std::string::npos) << end;
    }
    job.put(7, bytes + "x");
    EXPECT_NE(job.faultOf(7), "");
    fs::remove(pointsPath(job.path, 7));
    EXPECT_NE(job.faultOf(7).find("0007.points"), std::string::npos);
}

TEST(TilePoints, aChangedByteIsFound) {
    const Job job;
    writeAll(job, {7, 8}, 12, 0);
    const std::string bytes = job.bytesOf(7);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::string changed = bytes;
        changed[i] = static_cast<char>(changed[i] ^ 0x10);
        job.put(7, changed);
        EXPECT_NE(job.faultOf(7), "") << i;
    }
}

// The count is believed only where there are bytes for it.
TEST(TilePoints, aCountThatIsTooLargeTakesNoMemory) {
    const Job job;
    writeAll(job, {7, 8}, 12, 0);
    std::string bytes = job.bytesOf(7);
    const uint64 claimed = uint64{1} << 60;
    std::memcpy(bytes.data() + bytes.size() - 16, &claimed, sizeof(claimed));
    job.put(7, bytes);
    EXPECT_NE(job.faultOf(7).find("cut short or changed"), std::string::npos);
}

TEST(TilePoints, pointsOfAnotherPlanOrTileAreRefused) {
    const Job job;
    writeAll(job, {7, 8}, 12, 0);
    EXPECT_NE(job.faultOf(7, digest + 1).find("another job"), std::string::npos);
    job.put(9, job.bytesOf(7));
    EXPECT_NE(job.faultOf(9).find("another job or tile"), std::string::npos);
}

TEST(TilePoints, aWriterThatEndsEarlyLeavesNothing) {
    const Job job;
    {
        TilePointWriter writer(job.path, digest, {1}, 0);
        for (std::size_t i = 0; i < 1000; ++i) writer.add(0, pointOf(i));
        EXPECT_EQ(job.numEntries(), 1u);
    }
    EXPECT_EQ(job.numEntries(), 0u);
    EXPECT_FALSE(isDone(job.path, digest, {StepKind::POINTS, 1}));
}

TEST(TilePoints, leftoversGoUnlessSomebodyWritesThem) {
    const Job job;
    fs::create_directories(job.path / "points/.parts-killed");
    std::ofstream(job.path / "points/.parts-killed/0") << "half";
    TilePointWriter first(job.path, digest, {1}, 0);
    EXPECT_FALSE(fs::exists(job.path / "points/.parts-killed"));
    for (std::size_t i = 0; i < 1000; ++i) first.add(0, pointOf(i));
    writeAll(job, {1, 2}, 1000, 0);
    first.finish(0.0);
    EXPECT_EQ(readTilePoints(job.path, digest, 1).size(), 1000u);
}
