// Every exported operation on two dozen drawn scenes and a large one, held against golden.txt: a line for each
// operation, a word for each scene. ZEF_NEW_GOLDEN=FILE writes what came out in that form, after a change that is
// meant.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

#include "fuzz/operations.h"
#include "support/sanitizers.h"
#include "support/tempFolder.h"

using namespace zef_fuzz;

namespace {

constexpr std::uint32_t numSmall = 24, largeScene = numSmall;
// Every kind of scene in any case.
constexpr std::uint32_t endScene = ZEF_TEST_SANITIZED ? numSceneKinds : numSmall + 1;
using Row = std::vector<std::uint32_t>;

Scene sceneOf(std::uint32_t k) {
    const std::vector<std::uint8_t> bytes = bytesOfSeed(k, 64);
    Draw draw(bytes, false);
    return k == largeScene ? drawScene(draw, 1, 3, 9000) : drawScene(draw, k % numSceneKinds, 1 + k % 2, 30 * k + 300);
}

std::uint32_t digestOf(std::size_t operation, const Scene& scene, std::uint32_t k, unsigned numThreads) {
    const zef_test::TempFolder folder;
    const std::vector<std::uint8_t> bytes = bytesOfSeed(1000 * operation + k, 64);
    Draw draw(bytes, false);
    const Digest digest = call(operations()[operation], scene, draw, folder.path.string(), {.threads = numThreads});
    return static_cast<std::uint32_t>(digest ^ digest >> 32);
}

std::map<std::string, Row> readGolden() {
    std::ifstream in(ZEF_GOLDEN);
    std::map<std::string, Row> golden;
    for (std::string line, name; std::getline(in, line);) {
        std::istringstream words(line);
        words >> name >> std::hex;
        for (std::uint32_t digest = 0; words >> digest;) golden[name].push_back(digest);
    }
    return golden;
}

// Runs the operations one after the other in one process, so that one could upset the next.
std::map<std::string, Row> runAll() {
    std::map<std::string, Row> found;
    for (std::uint32_t k = 0; k < endScene; ++k) {
        const Scene scene = sceneOf(k);
        for (std::size_t i = 0; i < operations().size(); ++i)
            found[operations()[i].name].push_back(digestOf(i, scene, k, 2));
    }
    return found;
}

void writeGolden(const std::map<std::string, Row>& found) {
    const char* pName = std::getenv("ZEF_NEW_GOLDEN");
    if (!pName) return;
    std::ofstream out(pName);
    for (const auto& [name, row] : found) {
        out << name << std::hex;
        for (const std::uint32_t digest : row) out << ' ' << digest;
        out << '\n';
    }
}

}  // namespace

TEST(WholeRuns, operationsGiveTheRecordedDigests) {
    const std::map<std::string, Row> found = runAll();
    writeGolden(found);
    std::map<std::string, Row> golden = readGolden();
    EXPECT_EQ(golden.size(), operations().size());
    for (const auto& [name, row] : found) {
        golden[name].resize(endScene);
        EXPECT_EQ(row, golden[name]) << name;
    }
    // After all the others, and odd ones.
    EXPECT_EQ(digestOf(0, sceneOf(0), 0, 2), found.at(operations()[0].name)[0]);
}

TEST(WholeRuns, operationsGiveTheRecordedDigestsOnAnyNumberOfThreads) {
    const std::map<std::string, Row> golden = readGolden();
    const Scene scene = sceneOf(largeScene);
    constexpr unsigned threads[] = {1, 3, 8, 16};
    for (std::size_t i = 0; i < operations().size(); ++i) {
        const char* pName = operations()[i].name;
        EXPECT_EQ(digestOf(i, scene, largeScene, threads[i % 4]), golden.at(pName)[largeScene]) << pName;
    }
}
