#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "support/shapes.h"
#include "tool/toolRun.h"
#include "zef/files.h"

using zef_test::quoted;
using zef_test::runTool;
using zef_test::TempFolder;
using zef_test::ToolRun;

namespace {

std::string objText(const zef_test::Shape& shape) {
    std::ostringstream text;
    for (const zef::Point3& p : shape.vertices) text << "v " << p.px << " " << p.py << " " << p.pz << "\n";
    for (std::size_t i = 0; i < shape.triples.size(); i += 3) {
        text << "f";
        for (std::size_t corner = 0; corner < 3; ++corner) text << " " << shape.triples[i + corner] + 1;
        text << "\n";
    }
    return text.str();
}

nlohmann::json checked(const std::string& path, int expectedStatus) {
    const ToolRun check = runTool("check --json " + quoted(path));
    EXPECT_EQ(check.status, expectedStatus) << check.err << check.out;
    return check.report();
}

struct ChangeCase {
    const char* name;
    const char* arguments;
    bool bFewer;         // triangles go
    double volumeShare;  // at least, of the volume before
};

class ToolChange : public testing::TestWithParam<ChangeCase> {};

}  // namespace

TEST_P(ToolChange, keepsABodyClosedAndReportsWhatCheckFinds) {
    const ChangeCase& change = GetParam();
    const TempFolder folder;
    const std::string in = folder.put("ball.obj", objText(zef_test::icosphere(3)));
    const std::string out = folder.name("out.ply");
    const ToolRun run = runTool(std::string(change.arguments) + " --json " + quoted(in) + " -o " + quoted(out));
    ASSERT_EQ(run.status, 0) << run.err;
    const nlohmann::json report = run.report(), before = checked(in, 0), after = checked(out, 0);
    EXPECT_EQ(report["input_triangles"], before["triangles"]);
    for (const char* const key : {"vertices", "triangles", "border_edges", "border_loops", "non_manifold_edges"}) {
        EXPECT_EQ(report[key], after[key]) << key;
    }
    EXPECT_FALSE(report["stages"].empty());
    EXPECT_EQ(after["euler"], before["euler"]);
    EXPECT_EQ(after["triangles"] < before["triangles"], change.bFewer);
    EXPECT_GE(after["volume"].get<double>(), change.volumeShare * before["volume"].get<double>());
    const nlohmann::json deep = runTool("check --json --deep " + quoted(out)).report();
    EXPECT_EQ(deep["self_intersections"], 0);
    EXPECT_EQ(deep["handles"], 0);
}

TEST_P(ToolChange, refusesWhatTheOtherCommandsRefuse) {
    const TempFolder folder;
    const std::string command = GetParam().arguments;
    const std::string in = quoted(folder.put("ball.obj", objText(zef_test::icosphere(1))));
    const std::string letter = folder.put("letter.ply", "Dear Sir,\nthis is no mesh.\n");
    EXPECT_EQ(runTool(command + " " + in).status, 2);
    EXPECT_EQ(runTool(command + " " + in + " -o " + quoted(folder.name("out.docx"))).status, 2);
    EXPECT_EQ(runTool(command + " " + quoted(letter) + " -o " + quoted(folder.name("out.ply"))).status, 1);
    EXPECT_EQ(runTool(command + " " + in + " -o " + in).status, 1);
    EXPECT_EQ(runTool(command + " " + in + " -o " + quoted(letter)).status, 1);
    EXPECT_EQ(folder.get("letter.ply"), "Dear Sir,\nthis is no mesh.\n");
    const ToolRun forced = runTool(command + " --quiet --force " + in + " -o " + quoted(letter));
    EXPECT_EQ(forced.status, 0);
    EXPECT_EQ(forced.err, "");
    EXPECT_EQ(folder.numFiles(), 2u);
}

INSTANTIATE_TEST_SUITE_P(Commands, ToolChange,
                         testing::Values(ChangeCase{"flip", "flip", false, 0.99},
                                         ChangeCase{"anneal", "anneal", false, 0.99},
                                         ChangeCase{"reduce", "reduce --max-turn 15", true, 0.7},
                                         ChangeCase{"reduceTarget", "reduce --target 30%", true, 0.9},
                                         ChangeCase{"reduceError", "reduce --error 0.02", true, 0.9},
                                         ChangeCase{"smooth", "smooth --steps 3", false, 0.8},
                                         ChangeCase{"smoothKept", "smooth --steps 5 --keep-volume", false, 0.995},
                                         ChangeCase{"melt", "melt --spacing 0.3", true, 0.8}),
                         [](const auto& instance) { return instance.param.name; });

TEST(ToolReduce, reachesTargetsAndTellsTheError) {
    const TempFolder folder;
    const std::string in = quoted(folder.put("ball.obj", objText(zef_test::icosphere(3))));
    const std::string out = " -o " + quoted(folder.name("out.ply"));
    const nlohmann::json count = runTool("reduce --json --target 200 " + in + out).report();
    EXPECT_EQ(count["triangles"], 200);
    EXPECT_GT(count["error"], 0.001);
    EXPECT_EQ(runTool("reduce --json --target 25% " + in + out).report()["triangles"], 320);
    const nlohmann::json bound = runTool("reduce --json --error 0.01 " + in + out).report();
    EXPECT_LE(bound["error"], 0.01);
    EXPECT_LT(bound["triangles"], 1000);
    for (const std::string wrong : {"--target 0", "--target 101%", "--error nan", "--target 10% --max-turn 5"})
        EXPECT_EQ(runTool("reduce " + wrong + " " + in + out).status, 2) << wrong;
}

// Around a tube of three sides, merges by turn put two rings of triangles on one edge.
TEST(ToolReduce, mendsWhatMergesByTurnLeaveNonManifold) {
    const TempFolder folder;
    const std::string in = quoted(folder.put("tube.obj", objText(zef_test::torus(30, 3, 3.0, 1.0))));
    const std::string out = folder.name("out.ply"), command = "reduce --max-turn 170 " + in + " -o " + quoted(out);
    ASSERT_EQ(runTool(command + " --keep-non-manifold").status, 0);
    EXPECT_EQ(checked(out, 1)["manifold"], false);
    ASSERT_EQ(runTool(command).status, 0);
    EXPECT_EQ(checked(out, 0)["manifold"], true);
}

TEST(ToolReconstruct, smoothsFlipsAndReducesInOneCall) {
    const TempFolder folder;
    std::string points;
    for (const zef::Point3& p : zef_test::icosphere(4).vertices)
        points += std::to_string(p.px) + " " + std::to_string(p.py) + " " + std::to_string(p.pz) + "\n";
    const std::string in = quoted(folder.put("ball.xyz", points)), out = folder.name("out.ply");
    const ToolRun run = runTool("reconstruct --json --smooth-steps 2 --flip --reduce 20% --reduce-error 0.5 " + in +
                                " -o " + quoted(out));
    ASSERT_EQ(run.status, 0) << run.err;
    const nlohmann::json plain = runTool("reconstruct --json " + in + " -o " + quoted(out) + " --force").report();
    EXPECT_EQ(run.report()["triangles"].get<int>() / 2, plain["triangles"].get<int>() / 10);
    EXPECT_LT(run.report()["error"], 0.1);
    for (const char* const stage : {"RM_smooth", "efLoop", "RM_rtloop"})
        EXPECT_TRUE(run.report()["stages"].contains(stage)) << stage;
}

TEST(ToolRefit, fitsTheMeshOfAFileToOneOfPoints) {
    const TempFolder folder;
    std::string points;
    for (const zef::Point3& p : zef_test::icosphere(4, 10.0).vertices)
        points += std::to_string(p.px) + " " + std::to_string(p.py) + " " + std::to_string(p.pz) + "\n";
    const std::string cloud = quoted(folder.put("ball.xyz", points)), raw = quoted(folder.name("raw.ply"));
    const std::string make = "reconstruct --json --force " + cloud + " -o " + raw;
    for (const char* const wrong : {"0", "-1", "of", "inf"})
        EXPECT_EQ(runTool(make + " --refit " + wrong).status, 2) << wrong;
    EXPECT_NEAR(runTool(make + " --refit 2").report()["refit_radius"].get<double>(), 2.0, 1e-9);
    EXPECT_FALSE(runTool(make + " --refit off").report().contains("refit_radius"));
    const std::string fit = "refit --json --radius 2 " + raw + " " + cloud + " --force -o ";
    const nlohmann::json report = runTool(fit + quoted(folder.name("out.ply"))).report();
    EXPECT_GT(report["moved_vertices"], 100);
    EXPECT_EQ(report["triangles"], report["input_triangles"]);
}

TEST(ToolColour, wantsToKnowWhatToDo) {
    const TempFolder folder;
    const std::string in = quoted(folder.put("in.off", "COFF\n3 1 0\n0 0 0 9 9 9 9\n1 0 0\n0 1 0 9 9 9 9\n3 0 1 2\n"));
    const std::string command = "colour --json " + in + " -o " + quoted(folder.name("out.ply"));
    EXPECT_EQ(runTool(command + " --fill").report()["coloured_vertices"], 3);
    EXPECT_EQ(runTool(command).status, 2);
    EXPECT_EQ(runTool(command + " --contrast 0 2").status, 2);
}

TEST(ToolResample, tellsTheSpacingAndWritesPoints) {
    const TempFolder folder;
    const std::string in = quoted(folder.put("ball.obj", objText(zef_test::icosphere(3)))), out = folder.name("a.ply");
    const ToolRun run = runTool("resample --json " + in + " -o " + quoted(out));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_DOUBLE_EQ(run.report()["spacing"], 2.0 / 200) << "the default";
    EXPECT_EQ(run.report()["points"], zef::readPoints(out).points.size());
}

TEST(ToolTriangles, refusesPoints) {
    const TempFolder folder;
    const std::string in = quoted(folder.put("points.xyz", "0 0 0\n1 0 0\n0 1 0\n"));
    for (const std::string command : {"melt ", "resample "}) {
        const ToolRun run = runTool(command + in + " -o " + quoted(folder.name("out.ply")));
        EXPECT_EQ(run.status, 1) << command;
        EXPECT_NE(run.err.find("holds points and no triangles"), std::string::npos) << run.err;
    }
}

TEST(ToolHoles, measuresTheBorderAndListsIt) {
    const TempFolder folder;
    const std::string sheet = quoted(folder.put("sheet.obj", objText(zef_test::gridSheet(5, 4))));
    const std::string list = folder.name("border.list");
    const ToolRun run = runTool("holes --json " + sheet + " --list " + quoted(list));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.report()["border_edges"], run.report()["border_length"]) << "edges of length one";
    EXPECT_EQ(run.report()["loops"],
              nlohmann::json::parse(R"([{"edges": 14, "length": 14, "box_min": [0, 0, 0], "box_max": [4, 3, 0]}])"));
    EXPECT_NE(zef_test::contentOf(list).find("14 28 1"), std::string::npos);
    EXPECT_EQ(runTool("holes " + sheet + " --list " + quoted(list)).status, 0) << "replaces its own kind";
    EXPECT_EQ(runTool("holes " + sheet + " --list " + sheet).status, 1);
}

TEST(ToolView, drawsAPictureAndReplacesNothingElse) {
    const TempFolder folder;
    const std::string sheet = quoted(folder.put("sheet.xyz", zef_test::sheetText(20, 0.1)));
    const std::string png = quoted(folder.name("sheet.png"));
    const ToolRun run = runTool("view --json --size 64x48 --from TOP " + sheet + " --png " + png);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.report()["points"], 400);
    EXPECT_EQ(folder.get("sheet.png").substr(0, 4), "\x89PNG");
    EXPECT_EQ(runTool("view " + sheet + " --png " + png).status, 0);
    EXPECT_EQ(runTool("view " + sheet + " --png " + sheet).status, 1);
    EXPECT_EQ(runTool("view --size 64 " + sheet + " --png " + png).status, 2);
}

TEST(ToolView, writesPagesWhereTheirScriptIs) {
    const TempFolder folder;
    const std::string scan = quoted(folder.put("scan.xyz", zef_test::sheetText(20, 0.1)));
    const ToolRun run = runTool("reconstruct -q --view " + scan);
    if (run.status != 0) {
        EXPECT_NE(run.err.find("scripts/setup.sh"), std::string::npos) << run.err;
        EXPECT_EQ(folder.numFiles(), 1u) << "nothing is done before";
        return;
    }
    EXPECT_NE(folder.get("scan.mesh.html").find("coverage of the points"), std::string::npos);
    folder.put("scan.html", "of somebody else");
    EXPECT_EQ(runTool("view " + scan).status, 1);
    EXPECT_EQ(runTool("view --force " + scan).status, 0);
    EXPECT_EQ(runTool("view " + scan).status, 0) << "replaces its own kind";
}

TEST(ToolCompare, tellsBothWaysAndColoursTheFirst) {
    const TempFolder folder;
    const std::string in = folder.put("in.obj", objText(zef_test::icosphere(3)));
    const std::string out = folder.name("out.ply");
    const std::string reference = folder.put("reference.obj", objText(zef_test::icosphere(3, 1.5)));
    const ToolRun run =
        runTool("compare --json --limit 0.25 " + quoted(in) + " " + quoted(reference) + " -o " + quoted(out));
    ASSERT_EQ(run.status, 0) << run.err;
    for (const char* const way : {"there", "back"})
        EXPECT_NEAR(run.report()[way]["mean"].get<double>(), 0.5, 0.01) << way;
    EXPECT_EQ(run.report()["there"]["histogram"].back(), run.report()["there"]["samples"]);
    for (const zef::Point3& p : zef::readMesh(out).vertices) EXPECT_GT(p.r, p.b) << "beyond the limit is red";
}

TEST(ToolCompare, leavesOutWhatIsNoTriangle) {
    const TempFolder folder;
    const std::string good = "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 nan 1\nf 1 2 3\n";
    const std::string in = folder.put("in.obj", good + "f 1 1 2\nf 1 2 2\nf 1 2 1\nf 1 2 4\n");
    const ToolRun run = runTool("compare --json " + quoted(in) + " " + quoted(folder.put("good.obj", good)));
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.err.find("4 triangles repeat a vertex or are not finite"), std::string::npos) << run.err;
    EXPECT_NEAR(run.report()["there"]["max"].get<double>(), 0.0, 1e-9);
}

TEST(ToolCheck, promisesHoldOrNameWhatFails) {
    const TempFolder folder;
    zef_test::Shape sheets = zef_test::gridSheet(3, 3);
    const std::string open = folder.put("open.obj", objText(sheets));
    EXPECT_EQ(runTool("check --promise manifold,embedded " + quoted(open)).status, 0);
    const ToolRun closed = runTool("check --promise manifold,closed " + quoted(open));
    EXPECT_EQ(closed.status, 1);
    EXPECT_NE(closed.err.find("not closed: 1 border loops"), std::string::npos) << closed.err;
    sheets.vertices.insert(sheets.vertices.end(), {{0.7, 0.6, -1.0}, {0.7, 0.6, 1.0}, {0.9, 0.8, 1.0}});
    sheets.triples.insert(sheets.triples.end(), {9, 10, 11});
    const ToolRun crossed =
        runTool("check --json --promise embedded " + quoted(folder.put("two.obj", objText(sheets))));
    EXPECT_EQ(crossed.status, 1);
    const nlohmann::json report = crossed.report();
    EXPECT_EQ(report["promise_holds"], false);
    EXPECT_EQ(report["self_intersection_places"].size(), report["self_intersections"]);
    EXPECT_NEAR(report["self_intersection_places"][0][0], 0.7, 0.3);
}

TEST(ToolReconstruct, closedOrRefused) {
    const TempFolder folder;
    const std::string ball = folder.put("ball.obj", objText(zef_test::icosphere(4)));
    const std::string sheet = folder.put("sheet.obj", objText(zef_test::gridSheet(30, 30)));
    const std::string out = folder.name("out.ply");
    EXPECT_EQ(runTool("reconstruct --closed " + quoted(ball) + " -o " + quoted(out)).status, 0);
    EXPECT_EQ(runTool("check --promise manifold,oriented,closed,embedded " + quoted(out)).status, 0);
    const ToolRun refused = runTool("reconstruct --closed " + quoted(sheet) + " -o " + quoted(folder.name("no.ply")));
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("nothing encloses a volume"), std::string::npos) << refused.err;
}
