#include "tiles/jobFiles.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/tempFolder.h"
#include "tiles/TilePlan.h"
#include "tiles/somePlan.h"

using namespace QUOR_ZEF;
using zef_test::somePlan;
using zef_test::TempFolder;
namespace fs = std::filesystem;

namespace {

constexpr uint64 planOfJob = 77;
const Step meshOfTile = {StepKind::MESH, 31};

// A job with one mesh that is done.
struct DoneJob : TempFolder {
    DoneJob() {
        makeFolders(path);
        put("meshes/0031.tile", "some bytes");
        writeRecord(path, planOfJob, meshOfTile, {sumOf(tilePath(path, 31)), 1, 2, 3, 0.1});
    }
};

}  // namespace

TEST(jobFiles, aRecordTellsWhatWasDone) {
    const DoneJob job;
    const auto record = findRecord(job.path, planOfJob, meshOfTile, true);
    ASSERT_TRUE(record.has_value());
    EXPECT_EQ(record->sum.numBytes, 10u);
    EXPECT_EQ(record->numPoints, 1u);
    EXPECT_EQ(record->numTriangles, 2u);
    EXPECT_EQ(record->numVertices, 3u);
    EXPECT_EQ(record->seconds, 0.1);
}

TEST(jobFiles, recordsOfAnotherPlanOrStepDoNotCount) {
    const DoneJob job;
    EXPECT_FALSE(isDone(job.path, planOfJob + 1, meshOfTile));
    EXPECT_FALSE(isDone(job.path, planOfJob, {StepKind::MESH, 32}));
    EXPECT_FALSE(isDone(job.path, planOfJob, {StepKind::POINTS, 31}));
    fs::copy_file(job.path / "done/mesh-0031.json", job.path / "done/mesh-0032.json");
    fs::copy_file(tilePath(job.path, 31), tilePath(job.path, 32));
    EXPECT_FALSE(isDone(job.path, planOfJob, {StepKind::MESH, 32}));
}

TEST(jobFiles, aFileThatIsNotAsRecordedIsNotDone) {
    const DoneJob job;
    job.put("meshes/0031.tile", "some bytez");
    EXPECT_TRUE(isDone(job.path, planOfJob, meshOfTile));
    EXPECT_FALSE(isDone(job.path, planOfJob, meshOfTile, true));
    job.put("meshes/0031.tile", "some byte");
    EXPECT_FALSE(isDone(job.path, planOfJob, meshOfTile));
    fs::remove(tilePath(job.path, 31));
    EXPECT_FALSE(isDone(job.path, planOfJob, meshOfTile));
}

TEST(jobFiles, aDamagedRecordDoesNotCount) {
    const DoneJob job;
    const std::string text = job.get("done/mesh-0031.json");
    for (std::size_t end = 0; end + 2 < text.size(); ++end) {
        job.put("done/mesh-0031.json", text.substr(0, end));
        EXPECT_FALSE(isDone(job.path, planOfJob, meshOfTile)) << end;
    }
    job.put("done/mesh-0031.json", "{\"step\": \"mesh-0031\", \"plan\": 77, \"bytes\": \"ten\"}");
    EXPECT_FALSE(isDone(job.path, planOfJob, meshOfTile));
}

TEST(jobFiles, checksumsDoNotDependOnBlocks) {
    const TempFolder folder;
    std::string bytes(3'000'001, 'a');
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * i >> 7);
    const FileSum all = sumOf(folder.put("large", bytes));
    EXPECT_EQ(all.numBytes, bytes.size());
    bytes[2'500'000] = static_cast<char>(bytes[2'500'000] ^ 1);
    EXPECT_NE(sumOf(folder.put("changed", bytes)).crc, all.crc);
    EXPECT_EQ(sumOf(folder.put("short", "123456789")).crc, 0xE3069283u);
}

TEST(jobFiles, thePlanOfAJob) {
    const TempFolder folder;
    EXPECT_THROW(readPlan(folder.path), FileError);
    writePlan(folder.path, somePlan());
    EXPECT_EQ(digestOf(readPlan(folder.path)), digestOf(somePlan()));
    folder.put("job.json", "{");
    EXPECT_THROW(readPlan(folder.path), FileError);
}
