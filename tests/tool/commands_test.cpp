#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <random>
#include <set>
#include <sstream>
#include <tuple>

#include "tool/toolRun.h"
#include "zef/files.h"

using zef_test::quoted;
using zef_test::runTool;
using zef_test::sheetText;
using zef_test::TempFolder;
using zef_test::ToolRun;

TEST(ToolInfo, tellsWhatIsInACloud) {
    const TempFolder folder;
    const std::string path = folder.put("sheet.xyz", sheetText(40, 0.1) + "0 0 0\nnan 1 2\n");
    const ToolRun run = runTool("info --json " + quoted(path));
    ASSERT_EQ(run.status, 0) << run.err;
    const nlohmann::json report = run.report();
    EXPECT_EQ(report["precision"], "single");
    EXPECT_LT(report["noise"], 0.1);
    EXPECT_NEAR(report["local_spacing"][1].get<double>(), std::hypot(0.1, 0.1), 0.01);
    EXPECT_EQ(report["points"], 1602);
    EXPECT_EQ(report["duplicates"], 1);
    EXPECT_EQ(report["non_finite"], 1);
    EXPECT_EQ(report["colour"], false);
    EXPECT_NEAR(report["box_size"][0].get<double>(), 3.9, 1e-6);
    EXPECT_NEAR(report["spacing"].get<double>(), 0.1, 0.03);
    EXPECT_GT(report["cells"], 1000);
    EXPECT_LE(report["cells"], 1600);
    EXPECT_NE(run.err.find("Skipped 1 points"), std::string::npos) << run.err;
    EXPECT_EQ(runTool("info --quiet " + quoted(path)).err, "");
}

TEST(ToolInfo, refusesBrokenFilesWithAMessageThatNamesThemOnce) {
    const TempFolder folder;
    folder.put("empty.ply", "");
    folder.put("words.xyz", "there are\nno points here\n");
    folder.put("unknown.docx", "1 2 3\n");
    for (const std::string file : {"empty.ply", "words.xyz", "unknown.docx", "missing.ply", "."}) {
        const ToolRun run = runTool("info --json " + quoted(folder.name(file)));
        EXPECT_EQ(run.status, 1) << file;
        EXPECT_EQ(run.out, "") << file;
        EXPECT_EQ(run.err.rfind("zef: " + folder.name(file) + ": ", 0), 0u) << run.err;
        EXPECT_EQ(run.err.find(folder.path.string(), 6), std::string::npos) << run.err;
    }
}

// Real ones, if the environment names a folder of them.
TEST(ToolInfo, makesSenseOfEverySampleFile) {
    const TempFolder folder;
    folder.put("sheet.xyz", sheetText(40, 0.1));
    const std::set<std::filesystem::path> known = {".ply", ".stl", ".obj", ".off", ".xyz", ".pts",
                                                   ".las", ".laz", ".e57", ".pcd", ".ptx"};
    const char* const pData = std::getenv("ZEF_TEST_DATA");
    for (const auto& entry : std::filesystem::recursive_directory_iterator(pData ? pData : folder.path.string())) {
        if (!entry.is_regular_file() || entry.path().extension() == ".md") continue;
        const ToolRun run = runTool("info --json " + quoted(entry.path().string()));
        if (run.err.find(": unknown ending ") != std::string::npos) {
            EXPECT_EQ(run.status, 1) << entry.path();
            EXPECT_EQ(known.count(entry.path().extension()), 0u) << entry.path();
            continue;
        }
        if (entry.path().filename() == "bad-crc.e57") {
            EXPECT_NE(run.err.find("the checksum of the page"), std::string::npos) << run.err;
            continue;
        }
        ASSERT_EQ(run.status, 0) << entry.path() << run.err;
        EXPECT_GT(run.report()["spacing"], 0.0) << entry.path();
        EXPECT_LE(run.report()["cells"], run.report()["points"]) << entry.path();
    }
}

TEST(ToolSpacing, printsOneNumberOrNamesTheCure) {
    const TempFolder folder;
    const std::string path = folder.put("sheet.xyz", sheetText(40, 0.1));
    const ToolRun run = runTool("spacing " + quoted(path));
    std::size_t end = 0;
    EXPECT_NEAR(std::stod(run.out, &end), 0.1, 0.03);
    EXPECT_EQ(run.out.substr(end), "\n");
    const ToolRun none = runTool("spacing --quiet " + quoted(folder.put("one.xyz", "1 2 3\n")));
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.err, "zef: give a spacing: the cloud's own could not be measured\n");
}

TEST(ToolConvert, shiftsAndTellsTheOffset) {
    const TempFolder folder;
    const std::string in = folder.put("in.xyz", "1000000.25 0 0\n1000001.25 1 0\n1000000.25 2 -8\n");
    const std::string out = quoted(folder.name("out.ply"));
    const ToolRun run = runTool("convert --json --shift auto " + quoted(in) + " -o " + out);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.report()["shift"], nlohmann::json::parse("[1000001.0, 1.0, -4.0]"));
    EXPECT_NE(folder.get("out.ply").find("comment offset 1000001 1 -4\n"), std::string::npos);
    ASSERT_EQ(runTool("convert --shift 1000000 -1 0.5 " + quoted(in) + " " + out).status, 0);
    EXPECT_EQ(zef::readPoints(folder.name("out.ply")).points[0], zef::Point3(0.25, 1.0, -0.5));
}

TEST(ToolConvert, losesNothingUnlessAskedTo) {
    const TempFolder folder;
    const std::string in = quoted(folder.put("far.xyz", sheetText(40, 0.1, 700000.0)));
    const std::string convert = "convert --json " + in + " " + quoted(folder.name("out.ply"));
    EXPECT_NE(runTool(convert + " --single").err.find("single precision loses"), std::string::npos);
    EXPECT_EQ(runTool(convert + " --single --double").status, 2);
    for (const auto& [cure, precision] :
         {std::pair("", "double"), {" --double", "double"}, {" --shift auto", "single"}}) {
        const ToolRun run = runTool(convert + cure);
        EXPECT_EQ(run.err, "");
        EXPECT_EQ(run.report()["precision"], precision) << cure;
    }
    const std::string mesh = quoted(folder.put("far.obj", "v 700000.5 1 2\nv 700001.5 1 2\nv 700001.5 2 2\nf 1 2 3\n"));
    const ToolRun run = runTool("convert --json " + mesh + " " + quoted(folder.name("out.stl")));
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_EQ(run.report()["shift"], nlohmann::json::parse("[700001.0, 2.0, 2.0]"));
}

TEST(ToolOutput, isWrittenThoughNobodyReadsTheReport) {
    const TempFolder folder;
    const std::string in = quoted(folder.put("sheet.xyz", sheetText(9, 0.1)));
    const auto statusOf = [](const std::string& arguments) {
        return WEXITSTATUS(std::system(("'" ZEF_TOOL "' " + arguments + " >&- 2>&-").c_str()));
    };
    EXPECT_EQ(statusOf("convert " + in + " -o " + quoted(folder.name("sheet.ply"))), 0);
    EXPECT_EQ(runTool("info " + quoted(folder.name("sheet.ply"))).status, 0);
    EXPECT_EQ(statusOf("spacing " + in), 1) << "what is asked for is lost";
}

TEST(ToolOutput, replacesCloudsButNothingElse) {
    const TempFolder folder;
    const std::string in = folder.put("in.xyz", "0 0 0\n1 0 0\n0 1 0\n");
    const std::string letter = "Dear Sir,\nthis is no cloud.\n";
    const std::string out = folder.put("out.txt", letter);
    const ToolRun refused = runTool("convert " + quoted(in) + " " + quoted(out));
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("--force"), std::string::npos);
    EXPECT_EQ(folder.get("out.txt"), letter);
    EXPECT_EQ(runTool("convert --force " + quoted(in) + " " + quoted(out)).status, 0);
    EXPECT_EQ(runTool("convert " + quoted(in) + " " + quoted(out)).status, 0);
    EXPECT_EQ(runTool("convert " + quoted(in) + " " + quoted(in)).status, 1);
    EXPECT_EQ(runTool("convert " + quoted(in) + " " + quoted(folder.name("no/folder.ply"))).status, 1);
    EXPECT_EQ(runTool("convert " + quoted(in) + " " + quoted(folder.name("out.docx"))).status, 2);
    EXPECT_EQ(runTool("convert " + quoted(folder.name("none.ply")) + " " + quoted(folder.name("a.ply"))).status, 1);
    EXPECT_EQ(folder.numFiles(), 2u);
}

TEST(ToolUsage, wrongArgumentsGiveTwoAndHelpGivesZero) {
    for (const char* const arguments : {"", "melon", "info", "info --colour x.ply", "spacing", "convert x.ply",
                                        "convert x.ply y.ply --shift 1 2", "info a.ply b.ply"}) {
        const ToolRun run = runTool(arguments);
        EXPECT_EQ(run.status, 2) << arguments;
        EXPECT_NE(run.err, "") << arguments;
    }
    EXPECT_EQ(runTool("--help").status, 0);
    EXPECT_EQ(runTool("convert --help").status, 0);
    EXPECT_EQ(runTool("--version").out, "zef 1.13\n");
}

// Without a terminal there is nobody to draw the bar for.
TEST(ToolProgress, drawsNothingIntoAFile) {
    const TempFolder folder;
    EXPECT_EQ(runTool("info " + quoted(folder.put("sheet.xyz", sheetText(40, 0.1)))).err, "");
}

TEST(ToolReconstruct, writesAMeshThatCheckCountsAlike) {
    const TempFolder folder;
    const std::string in = quoted(folder.put("sheet.xyz", sheetText(40, 0.1)));
    const std::string out = quoted(folder.name("mesh.ply"));
    const ToolRun run = runTool("reconstruct --json " + in + " -o " + out);
    ASSERT_EQ(run.status, 0) << run.err;
    const nlohmann::json report = run.report();
    EXPECT_EQ(run.err, "");
    EXPECT_TRUE(report["hints"].empty());
    EXPECT_EQ(report["coverage"], 1.0);
    EXPECT_EQ(report["density"], "even");
    EXPECT_EQ(report["sides"], "terrain");
    EXPECT_FALSE(report["stages"].empty());
    EXPECT_NEAR(report["spacing_used"].get<double>(), 1.3 * report["spacing"].get<double>(), 1e-9);
    const ToolRun check = runTool("check --json " + out);
    EXPECT_EQ(check.status, 1) << "a sheet is open";
    for (const char* const key : {"vertices", "triangles", "border_edges", "border_loops", "non_manifold_edges"}) {
        EXPECT_EQ(check.report()[key], report[key]) << key;
    }
}

TEST(ToolReconstruct, turnsTheMeshToTheViewpoint) {
    const TempFolder folder;
    const std::string in = quoted(folder.put("sheet.xyz", sheetText(40, 0.1))), out = folder.name("mesh.ply");
    const ToolRun run = runTool("reconstruct --json --viewpoint 2 2 -9.5 " + in + " -o " + quoted(out));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.report()["sides"], "viewpoint");
    EXPECT_EQ(run.report()["turned_pieces"], 1);
    for (const char* const wrong : {"nan 0 0", "1,2,inf", "1 2", "1,2,3 --keep-non-manifold"}) {
        const ToolRun refused = runTool("reconstruct " + in + " -o " + quoted(out) + " --viewpoint " + wrong);
        EXPECT_EQ(refused.status, 2) << wrong;
        EXPECT_NE(refused.err.find("--viewpoint "), std::string::npos) << refused.err;
    }
}

TEST(ToolReconstruct, takesTheViewpointAndTheNormalsOfItsFiles) {
    const TempFolder folder;
    const auto put = [&](const char* name, const std::string& comment, const char* normal) {
        const std::string columns = *normal ? "property double nx\nproperty double ny\nproperty double nz\n" : "";
        std::string text = "ply\nformat ascii 1.0\n" + comment +
                           "element vertex 1600\nproperty double x\nproperty double y\nproperty double z\n" + columns +
                           "end_header\n";
        for (const char c : sheetText(40, 0.1)) text += c == '\n' ? normal + std::string("\n") : std::string(1, c);
        return quoted(folder.put(name, text));
    };
    const std::string below = put("below.ply", "comment viewpoint 2 2 -9\n", " 0 0 1");
    const std::string above = put("above.ply", "comment viewpoint 2 2 9\n", " 0 0 -1"), bare = put("bare.ply", "", "");
    const std::string out = " -o " + quoted(folder.name("mesh.ply"));
    for (const auto& [inputs, sides, numTurned] : {std::tuple(below, "viewpoint", 1),
                                                   {above, "viewpoint", 0},
                                                   {below + " --viewpoint 2 2 9", "viewpoint", 0},
                                                   {below + " " + bare, "viewpoint", 1},
                                                   {below + " " + above, "terrain", 0},
                                                   {bare, "terrain", 0}}) {
        const nlohmann::json report = runTool("reconstruct --json " + inputs + out).report();
        EXPECT_EQ(report["sides"], sides) << inputs;
        EXPECT_EQ(report["turned_pieces"], numTurned) << inputs;
    }
    const std::string down = put("down.ply", "", " 0 0 -1");
    EXPECT_EQ(runTool("reconstruct --json " + down + out).report()["sides"], "normals");
    EXPECT_EQ(runTool("reconstruct --json " + down + " " + bare + out).report()["sides"], "terrain");
}

TEST(ToolReconstruct, namesItsOutputAfterTheFirstInput) {
    const TempFolder folder;
    const std::string in = folder.put("a.sheet.xyz", sheetText(40, 0.1)), out = folder.name("a.sheet.mesh.ply");
    const std::string command = "reconstruct --json " + quoted(in) + " " + quoted(folder.put("b.xyz", "1 1 0\n"));
    EXPECT_EQ(runTool(command).report()["output"], out);
    EXPECT_GT(zef::readMesh(out).numTriangles(), 1000u);
    folder.put("a.sheet.mesh.ply", "Dear Sir,\n");
    EXPECT_NE(runTool(command).err.find("--force"), std::string::npos);
    EXPECT_EQ(folder.get("a.sheet.mesh.ply"), "Dear Sir,\n");
}

TEST(ToolReconstruct, hintsAtWhatLooksWrongOnce) {
    const TempFolder folder;
    std::mt19937 random(5);
    std::normal_distribution<double> scatter(0.0, 0.2);
    std::ostringstream text;
    for (int i = 0; i < 4000; ++i) {
        const int row = i / 63;
        text << 0.1 * (i % 63) << " " << 0.1 * row << " " << scatter(random) << "\n";
    }
    const std::string command =
        "reconstruct --json --spacing 0.13 --min-piece 0 " + quoted(folder.put("noisy.xyz", text.str()));
    const ToolRun run = runTool(command);
    const auto find = [&](const char* cure) { return run.err.find(cure); };
    EXPECT_NE(find("zef: hint: the points scatter"), std::string::npos) << run.err;
    EXPECT_EQ(find("--smooth"), run.err.rfind("--smooth"));
    std::size_t numHints = 0;  // beside them are progress, where that takes long, and nothing else
    for (auto at = find("zef: hint:"); at != std::string::npos; at = run.err.find("zef: hint:", at + 1)) ++numHints;
    EXPECT_EQ(run.report()["hints"].size(), numHints);
    EXPECT_EQ(runTool(command + " --quiet").err, "");
}

// Both ways to a mesh complete the colours.
TEST(ToolReconstruct, givesFilledGapsAColour) {
    const TempFolder folder;
    std::string text;
    for (int y = 0; y < 40; ++y) {
        for (int x = 0; x < 40; ++x) {
            if (std::hypot(x - 20, y - 20) < 4.0) continue;
            text += std::to_string(0.1 * x) + " " + std::to_string(0.1 * y) + " 0.03 200 100 50\n";
        }
    }
    const std::string in = quoted(folder.put("sheet.xyz", text)), out = folder.name("mesh.obj");
    const std::string command = "reconstruct --json --spacing 0.13 " + in + " -o " + quoted(out);
    for (const std::string mending : {"", " --keep-non-manifold"}) {
        const ToolRun run = runTool(command + mending);
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.report()["border_loops"], 1) << "the gap is to be closed";
        for (const zef::Point3& p : zef::readPoints(out).points) {
            EXPECT_TRUE(p.r == 200 && p.g == 100 && p.b == 50) << p.px << " " << p.py;
        }
    }
}

TEST(ToolReconstruct, tellsWhatItLeftOut) {
    const TempFolder folder;
    const std::string in = folder.put("in.xyz", sheetText(40, 0.1) + "2 2 1\n0 0 1000000\n");
    const std::string command = "reconstruct --json " + quoted(in) + " -o " + quoted(folder.name("out.ply"));
    const ToolRun run = runTool(command);
    EXPECT_EQ(run.report()["strays"], 1);
    EXPECT_EQ(run.report()["outliers"], 1);
    EXPECT_NE(run.err.find("Left out 1 stray points"), std::string::npos) << run.err;
    EXPECT_EQ(run.report()["points"], 1602);
    EXPECT_EQ(runTool(command + " --keep-outliers").report()["strays"], 0);
    EXPECT_NE(runTool(command + " --min-piece -1").err.find("--min-piece"), std::string::npos);
}

TEST(ToolReconstruct, leavesNothingBehindWhenItFails) {
    const TempFolder folder;
    const std::string in = quoted(folder.put("one.xyz", "1 2 3\n"));
    EXPECT_EQ(runTool("reconstruct " + in + " -o " + quoted(folder.name("mesh.ply"))).status, 1);
    for (const std::string out : {"mesh.docx", "mesh.stl --double", "mesh.glb --double"}) {
        EXPECT_EQ(runTool("reconstruct " + in + " -o " + folder.name(out)).status, 2) << out;
    }
    EXPECT_EQ(folder.numFiles(), 1u);
}

TEST(ToolRecipe, settingsAreTakenAndWhatIsGivenCountsForMore) {
    const TempFolder folder;
    const std::string in = quoted(folder.put("sheet.xyz", sheetText(40, 0.1)));
    const nlohmann::json list = runTool("recipe --json").report()["recipes"];
    EXPECT_EQ(list.size(), 6u);
    for (const nlohmann::json& recipe : list) {
        const std::string name = recipe["name"];
        const ToolRun run = runTool("reconstruct " + in + " --recipe " + name + " --factor 2");
        EXPECT_EQ(run.status, name == "print" ? 1 : 0) << name << run.err << "a sheet is no body";
        if (name == "print") continue;
        EXPECT_NE(run.out.find(name + ": --grow "), std::string::npos) << "without the factor: " << run.out;
    }
    EXPECT_TRUE(std::filesystem::exists(folder.name("sheet.mesh.glb")));
    EXPECT_EQ(runTool("reconstruct " + in + " --recipe soup").status, 2);
}

TEST(ToolMemory, refusesWhatWillNotFitAndSaysWhatWill) {
    const TempFolder folder;
    const std::string in = quoted(folder.put("sheet.xyz", sheetText(120, 0.1)));
    setenv("ZEF_USABLE_BYTES", "40000000", 1);
    const ToolRun refused = runTool("reconstruct --factor 0.5 " + in);
    const std::size_t cure = refused.err.find("try --factor ");
    EXPECT_EQ(refused.status, 1);
    ASSERT_NE(cure, std::string::npos) << refused.err;
    EXPECT_FALSE(std::filesystem::exists(folder.name("sheet.mesh.ply")));
    const std::string factor = refused.err.substr(cure + 4, refused.err.find(',', cure) - cure - 4);
    EXPECT_EQ(runTool("reconstruct " + factor + " " + in).status, 0) << factor;
    EXPECT_EQ(runTool("reconstruct --factor 0.5 --anyway " + in).status, 0);
    const std::string one = quoted(folder.put("one.stl",
                                              "solid\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\n"
                                              "vertex 1 0 0\nvertex 0 1 0\nendloop\nendfacet\nendsolid\n"));
    const std::string melt = " --spacing 1e-3 --force -o " + quoted(folder.name("melt.ply")) + " " + one;
    EXPECT_NE(runTool("melt" + melt).err.find("try --spacing 0.00"), std::string::npos);
    EXPECT_EQ(runTool("resample" + melt).status, 1);
    EXPECT_EQ(runTool("resample --anyway" + melt).status, 0);
    unsetenv("ZEF_USABLE_BYTES");
}
