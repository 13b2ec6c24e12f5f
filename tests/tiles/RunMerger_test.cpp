#include "tiles/RunMerger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>
#include <vector>

#include "support/drawnCells.h"
#include "support/tempFolder.h"
#include "zef/errors.h"

using namespace QUOR_ZEF;
using zef_test::Draws;
using zef_test::TempFolder;

namespace {

struct Record {
    std::uint32_t key = 0, number = 0;
    bool operator<(const Record& other) const { return key < other.key; }
};

}  // namespace

// Runs longer than what is read at once, short ones, empty ones, and equal keys in several of them.
TEST(RunMerger, goesThroughAllRunsInOrder) {
    const TempFolder folder;
    RunMerger<Record> merger(folder.path);
    Draws draws(3);
    std::vector<std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>> vWanted, vFound;  // key, run, number
    std::uint64_t num = 0;
    for (std::uint32_t run = 0; run < 40; ++run) {
        const double low = draws.between(0.0, 5e4);
        const double width = draws.between(1.0, 5e4);
        const std::size_t size = run % 7 == 3 ? 0 : run % 5 == 0 ? 30'000 : 100;
        std::vector<Record> vRun;
        for (std::size_t i = 0; i < size; ++i)
            vRun.push_back({static_cast<std::uint32_t>(draws.between(low, low + width)), 0});
        std::sort(vRun.begin(), vRun.end());
        for (std::uint32_t i = 0; i < size; ++i) {
            vRun[i].number = i;
            vWanted.emplace_back(vRun[i].key, run, i);
        }
        merger.add(vRun);
        EXPECT_EQ(merger.firstOf(run), num);
        num += size;
        EXPECT_EQ(merger.endOf(run), num);
    }
    std::sort(vWanted.begin(), vWanted.end());
    EXPECT_EQ(merger.size(), num);
    for (int round = 0; round < 2; ++round) {
        vFound.clear();
        merger.merge(
            [&](const Record& record, std::uint32_t run) { vFound.emplace_back(record.key, run, record.number); });
        EXPECT_TRUE(vFound == vWanted);
    }
}

TEST(RunMerger, leavesNothingBehindAndTellsWhereThereIsNoRoom) {
    const TempFolder folder;
    {
        RunMerger<Record> merger(folder.path);
        merger.add({{1, 2}});
        EXPECT_TRUE(std::filesystem::is_empty(folder.path));
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path));
    EXPECT_THROW(RunMerger<Record>(folder.path / "missing"), FileError);
}
