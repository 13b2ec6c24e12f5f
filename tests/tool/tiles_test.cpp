#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include "tool/toolRun.h"

using zef_test::runTool;
using zef_test::TempFolder;
using zef_test::ToolRun;
namespace fs = std::filesystem;

namespace {

// A scan, and the words that mesh it in four tiles.
struct TileScan : TempFolder {
    std::string scan, job = name("job"), words;

    explicit TileScan(int side = 60) {
        scan = put("scan.xyz", zef_test::sheetText(side, 0.05));
        words = "tiles " + zef_test::quoted(scan) + " --job " + zef_test::quoted(job) +
                " --cuts 2x2x1 --halo 16 --workers 2";
    }
};

}  // namespace

TEST(ToolTiles, makesOneMeshAndDoesNothingTheSecondTime) {
    const TileScan files;
    const std::string out = files.name("out.ply");
    const ToolRun run = runTool(files.words + " -o " + zef_test::quoted(out) + " --json");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.report()["tiles"], 4);
    EXPECT_EQ(run.report()["meshed_tiles"], 4);
    EXPECT_EQ(run.report()["points"], 3600);
    EXPECT_TRUE(run.report()["joined"]);
    EXPECT_EQ(files.get("out.ply"), files.get("job/mesh.ply"));
    // One piece, with one border around it.
    const ToolRun check = runTool("check " + zef_test::quoted(out) + " --json");
    EXPECT_EQ(check.report()["triangles"], run.report()["triangles"]);
    EXPECT_EQ(check.report()["components"], 1);
    EXPECT_EQ(check.report()["border_loops"], 1);

    const auto written = fs::last_write_time(files.job + "/mesh.ply");
    const auto ofTile = fs::last_write_time(files.job + "/meshes/0001.tile");
    const ToolRun again = runTool("tiles --job " + zef_test::quoted(files.job) + " --json");
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_EQ(again.report()["triangles"], run.report()["triangles"]);
    EXPECT_EQ(fs::last_write_time(files.job + "/mesh.ply"), written);
    EXPECT_EQ(fs::last_write_time(files.job + "/meshes/0001.tile"), ofTile);
}

TEST(ToolTiles, stepsAloneMakeTheSameBytes) {
    const TileScan together, apart;
    ASSERT_EQ(runTool(together.words).status, 0);
    ASSERT_EQ(runTool(apart.words + " --step plan").status, 0);
    const std::string go = "tiles --job " + zef_test::quoted(apart.job) + " --step ";
    EXPECT_EQ(runTool(go + "mesh --tile 0").status, 1) << "there are no points yet";
    ASSERT_EQ(runTool(go + "split").status, 0);
    for (const char* const tile : {"3", "1", "0"}) ASSERT_EQ(runTool(go + "mesh --threads 1 --tile " + tile).status, 0);
    EXPECT_EQ(runTool(go + "settle").status, 1) << "a tile is missing";
    ASSERT_EQ(runTool(go + "mesh --workers 1").status, 0);
    ASSERT_EQ(runTool(go + "settle").status, 0);
    ASSERT_EQ(runTool(go + "join").status, 0);
    EXPECT_EQ(apart.get("job/mesh.ply"), together.get("job/mesh.ply"));
}

TEST(ToolTiles, anotherJobIsRefused) {
    const TileScan files;
    ASSERT_EQ(runTool(files.words + " --step plan").status, 0);
    const std::string other = files.put("other.xyz", zef_test::sheetText(20, 0.05));
    for (const auto& [words, status, text] :
         {std::tuple(files.words + " --step plan --factor 2", 1, "factor is 1.3 there, not 2"),
          {"tiles " + zef_test::quoted(other) + " --step plan --cuts 2x2x1 --job " + zef_test::quoted(files.job), 1,
           "inputs"},
          {"tiles --job " + zef_test::quoted(files.job) + " --factor 2", 2, "--factor"},
          {"tiles --job " + zef_test::quoted(files.name("none")), 1, "there is no plan"},
          {"tiles - --format xyz --job " + zef_test::quoted(files.job), 2, "not pipes"},
          {files.words + " -o out.obj", 2, "PLY"},
          {files.words + " --tile 1", 2, "--step mesh"},
          {"tiles --job " + zef_test::quoted(files.job) + " --step mesh --tile 4", 2, "from 0 to 3"}}) {
        const ToolRun run = runTool(words);
        EXPECT_EQ(run.status, status) << words;
        EXPECT_NE(run.err.find(text), std::string::npos) << words << ": " << run.err;
    }
}

// A damaged file ends its tile alone, is named, and the same command goes on once it is deleted.
// What is free and how many go at once has no say in the mesh; what a tile may take has.
TEST(ToolTiles, onlyTheMemoryOfATileIsPlannedFor) {
    const TileScan files(480), small;
    const auto plan = [&](const std::string& job, const std::string& options) {
        return runTool("tiles " + zef_test::quoted(files.scan) + " --step plan --halo 16 --job " +
                       zef_test::quoted(files.name(job)) + options);
    };
    ASSERT_EQ(plan("a", " --tile-memory 128M").status, 0);
    EXPECT_EQ(plan("a", " --tile-memory 128M --memory 1K").status, 0);
    EXPECT_EQ(plan("a", "").status, 1);
    ASSERT_EQ(plan("b", " --tile-memory 128M --memory 60M --workers 3").status, 0);
    EXPECT_EQ(files.get("b/job.json"), files.get("a/job.json"));
    const ToolRun much = plan("c", " --json");
    ASSERT_EQ(much.status, 0);
    EXPECT_EQ(much.report()["tiles"], 1);
    EXPECT_NE(files.get("c/job.json"), files.get("a/job.json"));

    const std::string words = small.words.substr(0, small.words.find(" --workers"));
    const ToolRun run = runTool(words + " --memory 20M");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("smaller --tile-memory"), std::string::npos) << run.err;
    EXPECT_EQ(runTool(words + " --memory 2G").status, 0);
    EXPECT_EQ(runTool(words + " --memory 20M").status, 0) << "done already";
}

TEST(ToolTiles, aDamagedFileOfPointsIsTold) {
    const TileScan files;
    ASSERT_EQ(runTool(files.words + " --step plan").status, 0);
    ASSERT_EQ(runTool(files.words + " --step split").status, 0);
    std::string bytes = files.get("job/points/0002.points");
    bytes[1000] = static_cast<char>(bytes[1000] ^ 1);
    files.put("job/points/0002.points", bytes);
    const ToolRun run = runTool(files.words);
    EXPECT_EQ(run.status, 1);
    for (const char* const text : {"0002.points: changed, since its checksum differs; delete this file",
                                   "tile 2: its process ended with status 1", "the same command goes on"})
        EXPECT_NE(run.err.find(text), std::string::npos) << run.err;
    EXPECT_TRUE(fs::exists(files.job + "/meshes/0003.tile"));
    fs::remove(files.job + "/points/0002.points");
    EXPECT_EQ(runTool(files.words).status, 0);
}

// Whoever is interrupted leaves no workers behind, and what is done stays.
TEST(ToolTiles, anInterruptEndsTheWorkersAsWell) {
    const TileScan files(200);
    ASSERT_EQ(runTool(files.words + " --step plan").status, 0);
    ASSERT_EQ(runTool(files.words + " --step split").status, 0);
    const pid_t child = fork();
    if (child == 0) {
        setpgid(0, 0);
        std::signal(SIGTERM, SIG_DFL);
        if (!std::freopen("/dev/null", "w", stdout) || !std::freopen("/dev/null", "w", stderr)) _exit(127);
        execl(ZEF_TOOL, ZEF_TOOL, "tiles", "--job", files.job.c_str(), "--workers", "2", static_cast<char*>(nullptr));
        _exit(127);
    }
    const std::string id = std::to_string(child);
    for (int i = 0; i < 1000 && zef_test::contentOf("/proc/" + id + "/task/" + id + "/children").empty(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    kill(child, SIGTERM);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, 130);
    // Of its group nobody is left, once those that were killed are gone.
    int left = 0;
    for (int i = 0; i < 1200 && (left = kill(-child, 0)) == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(left, -1);
    EXPECT_FALSE(fs::exists(files.job + "/mesh.ply"));
    EXPECT_EQ(runTool("tiles --job " + zef_test::quoted(files.job)).status, 0);
}
