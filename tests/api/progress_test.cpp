#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "frame/Progress.h"
#include "support/capture.h"
#include "support/shapes.h"
#include "support/tempFolder.h"
#include "zef/zef.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

struct Input {
    Shape shape = torus(60, 40, 3.0, 1.0);
    std::vector<Point3> vSoup;
    TriangleMesh mesh{shape.vertices, shape.triples};

    Input() {
        for (const std::uint32_t vertex : shape.triples) vSoup.push_back(shape.vertices[vertex]);
    }
    std::pair<std::vector<Point3>, std::vector<std::uint32_t>> content() const { return {mesh.vertices, mesh.indices}; }
};

using Entry = std::pair<const char*, std::function<void(Input&, const Context&)>>;

const std::vector<Entry> entries = {
    {"measureSpacing", [](Input& in, const Context& c) { measureSpacing(in.mesh.vertices, c); }},
    {"reconstruct",
     [](Input& in, const Context& c) {
         in.mesh =
             reconstruct(in.mesh.vertices, {.factor = 1.2, .smooth = true, .growSteps = 5, .measureCoverage = true}, c)
                 .mesh;
     }},
    {"reconstruct without filling",
     [](Input& in, const Context& c) {
         in.mesh = reconstruct(in.mesh.vertices, {.spacing = 0.25, .growSteps = 0, .mend = false}, c).mesh;
     }},
    {"melt", [](Input& in, const Context& c) { in.mesh = melt(in.vSoup, {.spacing = 0.15, .featureAngle = 30.0}, c); }},
    {"resample", [](Input& in, const Context& c) { in.vSoup = resample(in.vSoup, {.spacing = 0.15}, c); }},
    {"mend", [](Input& in, const Context& c) { mend(in.mesh, {}, c); }},
    {"check", [](Input& in, const Context& c) { check(in.mesh, c); }},
    {"countSelfIntersections", [](Input& in, const Context& c) { countSelfIntersections(in.mesh, c); }},
    {"findHandles", [](Input& in, const Context& c) { findHandles(in.mesh, 0.0, c); }},
    {"findThinPlaces", [](Input& in, const Context& c) { findThinPlaces(in.mesh, 0.0, c); }},
    {"simplify", [](Input& in, const Context& c) { simplify(in.mesh, {.targetTriangles = 1000}, c); }},
    {"simplify within an error", [](Input& in, const Context& c) { simplify(in.mesh, {.maxError = 0.05}, c); }},
    {"reduceFlat",
     [](Input& in, const Context& c) {
         reduceFlat(in.mesh, {1.0, 20.0}, c);
     }},
    {"flipEdges", [](Input& in, const Context& c) { flipEdges(in.mesh, c); }},
    {"anneal", [](Input& in, const Context& c) { anneal(in.mesh, c); }},
    {"smooth", [](Input& in, const Context& c) { smooth(in.mesh, {.steps = 3}, c); }},
};

// Writes and reads a file by that name, as a mesh or as points.
std::vector<Entry> fileEntries(const std::string& path, bool bText) {
    const FileFormat format = formatOf(path);
    std::vector<Entry> vEntries;
    if (format.writesMeshes) {
        vEntries.emplace_back("write", [=](Input& in, const Context& c) { write(path, in.mesh, {.text = bText}, c); });
    } else {
        vEntries.emplace_back("write", [=](Input& in, const Context& c) { write(path, in.mesh.vertices, {}, c); });
    }
    if (format.readsMeshes) vEntries.emplace_back("read", [=](Input&, const Context& c) { readMesh(path, {}, c); });
    if (format.readsPoints) vEntries.emplace_back("info", [=](Input&, const Context& c) { readPoints(path, c); });
    return vEntries;
}

// Runs the entry; ends it at the first report of at least this share.
struct Told {
    std::vector<double> vShares;
    std::set<std::string> planned, entered;

    void run(const Entry& entry, Input& input, double endAt) {
        Context context;
        context.progress = [&](const ProgressStep& step) {
            for (const auto& [name, pStage] : getProgress()->mNameKids) planned.insert(name);
            if (!step.tag.empty()) entered.insert(std::string(step.tag));  // none before the first, on a busy machine
            vShares.push_back(step.share);
            return step.share < endAt;
        };
        entry.second(input, context);
    }
};

}  // namespace

TEST(progress, risesToOneInAllStagesOfThePlan) {
    for (const Entry& entry : entries) {
        SCOPED_TRACE(entry.first);
        Input input;
        Told told;
        told.run(entry, input, 2.0);
        ASSERT_GT(told.vShares.size(), 3u);
        EXPECT_TRUE(std::is_sorted(told.vShares.begin(), told.vShares.end()));
        EXPECT_EQ(told.vShares.back(), 1.0);
        EXPECT_EQ(told.planned, told.entered);
    }
}

TEST(progress, ofOlderEntriesRisesToOneToo) {
    struct Values : ProgressBase {
        std::vector<double> v;
        void update(const std::string&, double value) override { v.push_back(value); }
    };
    Input input;
    const std::shared_ptr<Mesh> pMesh = Mesh::fromTriangles(input.mesh);
    const std::function<void()> runs[] = {[&] { reconstruct_auto(input.mesh.vertices, false, 1.2, 5); },
                                          [&] { melt(input.vSoup, 0.15, 30.0); }, [&] { reduce(pMesh, 1.0, 20.0); },
                                          [&] { edgeFlips(pMesh); }};
    for (const auto& run : runs) {
        Values values;
        subscribe(&values);
        printedText(run);
        unsubscribe();
        EXPECT_TRUE(std::is_sorted(values.v.begin(), values.v.end()));
        ASSERT_FALSE(values.v.empty());
        EXPECT_EQ(values.v.back(), 1.0);
    }
}

TEST(progress, anEntryThatIsCancelledLeavesItsInputAndTheNextOneIsGood) {
    for (const Entry& entry : entries) {
        Input expected, input;
        const auto before = input.content();
        Told().run(entry, expected, 2.0);
        for (const double endAt : {0.0, 0.5, 1.0}) {
            SCOPED_TRACE(std::string(entry.first) + " " + std::to_string(endAt));
            EXPECT_THROW(Told().run(entry, input, endAt), CancelledError);
            EXPECT_EQ(input.content(), before);
        }
        Told().run(entry, input, 2.0);
        EXPECT_EQ(input.content(), expected.content()) << entry.first;
    }
}

TEST(progress, ofFilesRisesToOneAndCancellingLeavesTheFile) {
    const TempFolder folder;
    for (const char* const name :
         {"a.ply", "a.stl", "text.ply", "text.stl", "a.obj", "a.off", "a.glb", "a.xyz", "a.bin"}) {
        for (const Entry& entry : fileEntries(folder.name(name), std::string(name).starts_with("text"))) {
            SCOPED_TRACE(std::string(entry.first) + " " + name);
            Input input;
            const bool bWrites = std::string(entry.first) == "write";
            if (bWrites) folder.put(name, "before");
            for (const double endAt : {0.0, 0.5, 1.0}) EXPECT_THROW(Told().run(entry, input, endAt), CancelledError);
            EXPECT_EQ(folder.get(name) == "before", bWrites);
            Told told;
            told.run(entry, input, 2.0);
            const bool bInOneBlock = !bWrites && std::string(name) == "a.xyz";
            ASSERT_GT(told.vShares.size(), bInOneBlock ? 2u : 8u);
            EXPECT_TRUE(std::is_sorted(told.vShares.begin(), told.vShares.end()));
            EXPECT_EQ(told.vShares.back(), 1.0);
            EXPECT_EQ(told.planned, told.entered);
        }
    }
}
