#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <iostream>
#include <map>
#include <set>

#include "io/loadCloud.h"
#include "support/plyText.h"
#include "tool/toolRun.h"

using zef_test::bytesOf;
using zef_test::plyFile;
using zef_test::runTool;
using zef_test::TempFolder;
using zef_test::ToolRun;

namespace {

// A sheet of 40 by 40 points, a tenth apart, slightly wavy.
std::string sheetText(double offset = 0.0) {
    std::string text;
    for (int y = 0; y < 40; ++y) {
        for (int x = 0; x < 40; ++x) {
            const double z = 0.2 * std::sin(0.15 * x) * std::cos(0.11 * y);
            text += std::to_string(offset + 0.1 * x) + " " + std::to_string(offset + 0.1 * y) + " " +
                    std::to_string(z) + "\n";
        }
    }
    return text;
}

std::set<std::string> keysOf(const nlohmann::json& object) {
    std::set<std::string> keys;
    for (const auto& [key, value] : object.items()) keys.insert(key);
    return keys;
}

std::string quoted(const std::string& path) {
    return "'" + path + "'";
}

// Each is broken in its own way; none must be taken for a cloud.
std::map<std::string, std::string> brokenFiles() {
    const std::string xyz = "property float x\nproperty float y\nproperty float z\n";
    return {
        {"empty.ply", ""},
        {"empty.xyz", ""},
        {"cut.ply", plyFile("binary_little_endian", "element vertex 3\n" + xyz, bytesOf(1.f, 2.f, 3.f))},
        {"huge.ply", plyFile("binary_little_endian", "element vertex 99999999999\n" + xyz, bytesOf(1.f))},
        {"none.ply", plyFile("ascii", "element vertex 0\n" + xyz, "")},
        {"letters.ply", plyFile("ascii", "element vertex 1\n" + xyz, "one two three\n")},
        {"noend.ply", "ply\nformat ascii 1.0\nelement vertex 1\n" + xyz},
        {"words.xyz", "there are\nno points here\n"},
        {"zeros.xyz", std::string(100, '\0')},
        {"short.bin", bytesOf(std::int32_t{30}, std::int64_t{5}, 1.0)},
        {"index.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 9\n"},
        {"cut.stl", std::string(80, ' ') + bytesOf(std::uint32_t{7})},
        {"cut.off", "OFF\n3 1 0\n0 0 0\n"},
        {"unknown.docx", "1 2 3\n"},
    };
}

}  // namespace

TEST(ToolInfo, tellsWhatIsInACloud) {
    const TempFolder folder;
    const std::string path = folder.put("sheet.xyz", sheetText() + "0 0 0\nnan 1 2\n");
    const ToolRun run = runTool("info --json " + quoted(path));
    ASSERT_EQ(run.status, 0) << run.err;
    const nlohmann::json report = run.report();
    EXPECT_EQ(keysOf(report), (std::set<std::string>{"file", "format", "kind", "points", "colour", "box_min", "box_max",
                                                     "box_size", "duplicates", "non_finite", "spacing", "cells",
                                                     "expected_bytes", "expected_time"}));
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

TEST(ToolInfo, tellsOfCloudsWithoutASpacing) {
    const TempFolder folder;
    const ToolRun run = runTool("info --json " + quoted(folder.put("one.xyz", "1 2 3\n1 2 3\n")));
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(run.report()["spacing"].is_null());
    EXPECT_EQ(run.report()["duplicates"], 1);
}

TEST(ToolInfo, refusesBrokenFilesWithAMessage) {
    const TempFolder folder;
    for (const auto& [name, bytes] : brokenFiles()) {
        const ToolRun run = runTool("info --json " + quoted(folder.put(name, bytes)));
        EXPECT_EQ(run.status, 1) << name;
        EXPECT_EQ(run.out, "") << name;
        EXPECT_EQ(run.err.rfind("zef: ", 0), 0u) << name << ": " << run.err;
        EXPECT_NE(run.err.find(name), std::string::npos) << name << ": " << run.err;
    }
    EXPECT_EQ(runTool("info " + quoted(folder.name("missing.ply"))).status, 1);
    EXPECT_EQ(runTool("info " + quoted(folder.path.string())).status, 1);
}

TEST(ToolInfo, makesSenseOfEverySampleFile) {
    const TempFolder folder;
    folder.put("sheet.xyz", sheetText());
    std::string samples = folder.path.string();
    if (const char* const pData = std::getenv("ZEF_TEST_DATA")) {
        samples = pData;
    } else {
        std::cout << "ZEF_TEST_DATA is not set: only a cloud of the test's own is read" << std::endl;
    }
    int numFiles = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(samples)) {
        if (!entry.is_regular_file() || entry.path().extension() == ".md") continue;
        const ToolRun run = runTool("info --json " + quoted(entry.path().string()));
        ASSERT_EQ(run.status, 0) << entry.path() << run.err;
        const nlohmann::json report = run.report();
        EXPECT_GT(report["points"], 100) << entry.path();
        EXPECT_EQ(report["non_finite"], 0) << entry.path();
        EXPECT_GT(report["spacing"], 0.0) << entry.path();
        EXPECT_LT(report["spacing"], report["box_size"][0]) << entry.path();
        EXPECT_LE(report["cells"], report["points"]) << entry.path();
        ++numFiles;
    }
    EXPECT_GT(numFiles, 0);
}

TEST(ToolSpacing, printsOneNumberAndNothingElse) {
    const TempFolder folder;
    const std::string path = folder.put("sheet.xyz", sheetText());
    const ToolRun run = runTool("spacing " + quoted(path));
    ASSERT_EQ(run.status, 0) << run.err;
    std::size_t end = 0;
    const double spacing = std::stod(run.out, &end);
    EXPECT_NEAR(spacing, 0.1, 0.03);
    EXPECT_EQ(run.out.substr(end), "\n");
    EXPECT_EQ(runTool("spacing --json " + quoted(path)).report()["spacing"], spacing);
}

TEST(ToolSpacing, namesTheCureWhenThereIsNone) {
    const TempFolder folder;
    const ToolRun run = runTool("spacing --quiet " + quoted(folder.put("one.xyz", "1 2 3\n")));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "zef: give a spacing: the cloud's own could not be measured\n");
}

TEST(ToolConvert, keepsPointsAndColoursInEveryFormat) {
    const TempFolder folder;
    const std::string in = folder.put("in.xyz", "0.1 -2 3e5 255 0 7\n4 5 6 1 2 3\n");
    for (const std::string ending : {"ply", "xyz", "txt", "asc", "csv", "bin"}) {
        const std::string path = folder.name("out." + ending);
        ASSERT_EQ(runTool("convert --double " + quoted(in) + " " + quoted(path)).status, 0) << ending;
        QUOR_ZEF::CloudFile cloud;
        ASSERT_TRUE(QUOR_ZEF::loadCloud(path, cloud)) << cloud.error;
        ASSERT_EQ(cloud.vPoints.size(), 2u);
        EXPECT_EQ(cloud.vPoints[0].px, 0.1) << ending;
        EXPECT_EQ(cloud.vPoints[0].pz, 3e5) << ending;
        EXPECT_EQ(cloud.bHasColor, ending != "bin");
        EXPECT_EQ(cloud.vPoints[0].b, ending == "bin" ? 0 : 7) << ending;
    }
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
    QUOR_ZEF::CloudFile cloud;
    ASSERT_TRUE(QUOR_ZEF::loadCloud(folder.name("out.ply"), cloud)) << cloud.error;
    EXPECT_EQ(cloud.vPoints[0].px, 0.25);
    EXPECT_EQ(cloud.vPoints[0].py, 1.0);
    EXPECT_EQ(cloud.vPoints[0].pz, -0.5);
}

TEST(ToolConvert, warnsWhenFloatsLoseTooMuch) {
    const TempFolder folder;
    const std::string in = quoted(folder.put("far.xyz", sheetText(700000.0)));
    const std::string out = quoted(folder.name("out.ply"));
    const ToolRun run = runTool("convert " + in + " " + out);
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.err.find("use --double or --shift auto"), std::string::npos) << run.err;
    EXPECT_EQ(runTool("convert --double " + in + " " + out).err, "");
    EXPECT_EQ(runTool("convert --shift auto " + in + " " + out).err, "");
    EXPECT_EQ(runTool("convert " + in + " " + quoted(folder.name("out.xyz"))).err, "");
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
    EXPECT_EQ(folder.numFiles(), 2u);
}

TEST(ToolOutput, isNotTouchedByAFailedRun) {
    const TempFolder folder;
    const std::string in = folder.put("broken.ply", "ply\nformat ascii 1.0\nelement vertex 1\n");
    EXPECT_EQ(runTool("convert " + quoted(in) + " " + quoted(folder.name("out.ply"))).status, 1);
    EXPECT_EQ(folder.numFiles(), 1u);
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
    EXPECT_EQ(runTool("info " + quoted(folder.put("sheet.xyz", sheetText()))).err, "");
}

TEST(ToolReconstruct, writesAMeshThatCheckCountsAlike) {
    const TempFolder folder;
    const std::string in = quoted(folder.put("sheet.xyz", sheetText()));
    const std::string out = quoted(folder.name("mesh.ply"));
    const ToolRun run = runTool("reconstruct --json " + in + " -o " + out);
    ASSERT_EQ(run.status, 0) << run.err;
    const nlohmann::json report = run.report();
    EXPECT_EQ(keysOf(report),
              (std::set<std::string>{"points", "spacing", "spacing_used", "cells", "vertices", "triangles",
                                     "border_edges", "border_loops", "non_manifold_edges", "seconds_read",
                                     "seconds_reconstruct", "seconds_write", "peak_bytes", "stages"}));
    EXPECT_FALSE(report["stages"].empty());
    EXPECT_NEAR(report["spacing_used"].get<double>(), 1.3 * report["spacing"].get<double>(), 1e-9);
    const std::string other = quoted(folder.name("other.ply"));
    const nlohmann::json given = runTool("reconstruct --json --spacing 0.2 " + in + " -o " + other).report();
    EXPECT_TRUE(given["spacing"].is_null());
    EXPECT_EQ(given["spacing_used"], 0.2);
    const ToolRun check = runTool("check --json " + out);
    EXPECT_EQ(check.status, 1) << "a sheet is open";
    for (const char* const key : {"vertices", "triangles", "border_edges", "border_loops", "non_manifold_edges"}) {
        EXPECT_EQ(check.report()[key], report[key]) << key;
    }
}

TEST(ToolCheck, countsIntersectionsWhenAskedTo) {
    const TempFolder folder;
    const std::string in = quoted(folder.put("crossing.off",
                                             "OFF\n6 2 0\n0 0 0\n4 0 0\n0 4 0\n1 1 -1\n1 1 1\n2 1 1\n"
                                             "3 0 1 2\n3 3 4 5\n"));
    EXPECT_FALSE(runTool("check --json " + in).report().contains("self_intersections"));
    EXPECT_EQ(runTool("check --json --deep " + in).report()["self_intersections"], 1);
}

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
    const ToolRun run = runTool("reconstruct --json --spacing 0.13 " + in + " -o " + quoted(out));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.report()["border_loops"], 1) << "the gap is to be closed";
    zef::CloudFile mesh;
    ASSERT_TRUE(loadCloud(out, mesh));
    for (const zef::Point3& p : mesh.vPoints) {
        EXPECT_TRUE(p.r == 200 && p.g == 100 && p.b == 50) << p.px << " " << p.py;
    }
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
