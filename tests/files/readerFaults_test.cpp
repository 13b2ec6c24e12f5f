// Each reader against each class of faults that files are known to have. A reader may give a LoadError or what it
// has read; anything else, and what the sanitizers find, is a fault of its own.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "../formats/e57Writer.h"
#include "../formats/lazEncoder.h"
#include "fuzz/faultClasses.h"
#include "fuzz/targets.h"

using namespace QUOR_ZEF;
using namespace zef_test;
using zef_fuzz::Seed;

namespace {

std::vector<Seed> makeSeeds() {
    std::vector<Seed> vSeeds;
    for (const auto& entry : std::filesystem::directory_iterator(ZEF_SEEDS)) {
        if (!entry.is_regular_file()) continue;
        std::ifstream in(entry.path(), std::ios::binary);
        Seed seed{entry.path().extension(), {std::istreambuf_iterator<char>(in), {}}};
        seed.bText = seed.bytes.find('\0') == std::string::npos && seed.ending != ".gz";
        vSeeds.push_back(seed);
    }
    const Records records(3, std::string(34, '\1'));
    vSeeds.push_back({".las", lasFile(3, records)});
    vSeeds.push_back({".laz", lazFile({.format = 3, .vChunks = {2}}, records)});
    E57TestScan scan{{}, "", 3};
    for (const char* const name : {"cartesianX", "cartesianY", "cartesianZ"})
        scan.fields.push_back({name, "type=\"Float\" precision=\"single\"", 32, {1, 2, 3}});
    vSeeds.push_back({".e57", makeE57({scan}, 500)});
    return vSeeds;
}

class ReaderFaults : public testing::TestWithParam<std::string> {};

}  // namespace

TEST_P(ReaderFaults, nothingButALoadError) {
    for (const Seed& seed : makeSeeds()) {
        std::size_t num = 0;
        zef_fuzz::classes.at(GetParam())(seed, [&](const std::string& bytes) {
            ++num;
            ASSERT_NO_THROW(zef_fuzz::readBytes(seed.ending, bytes)) << seed.ending << ", file " << num;
        });
        EXPECT_GT(num, 0u) << seed.ending;
    }
}

INSTANTIATE_TEST_SUITE_P(classes, ReaderFaults,
                         testing::Values("counts", "cutsAndLists", "indices", "namesAndLines", "sections", "exceptions",
                                         "values", "loops", "bombs"),
                         [](const auto& chosen) { return chosen.param; });
