#include <algorithm>
#include <cmath>

#include "commands/commands.h"
#include "failures.h"
#include "inputs.h"
#include "measure.h"
#include "zef/exceptions.h"

namespace {

struct InfoOptions {
    std::string path;
    TalkOptions talk;
};

// What a reconstruction takes at most: a share for each point, and one for open
// borders and gaps, whose length goes with the root of the number of points. From
// seven scans and clouds of 0.1 to 10 million points with two cores; closed shapes
// stay at the first share.
struct Cost {
    double perPoint, perRoot;
    double of(double numPoints) const { return perPoint * numPoints + perRoot * std::sqrt(numPoints); }
};
constexpr Cost bytesTaken{450.0, 1.4e6};
constexpr Cost secondsTaken{5e-6, 0.025};

const char* kindWords(zef::CloudFile::Kind kind) {
    switch (kind) {
        case zef::CloudFile::Kind::CORNERS:
            return "corners of triangles";
        case zef::CloudFile::Kind::MESH:
            return "mesh";
        case zef::CloudFile::Kind::POINTS:
            break;
    }
    return "points";
}

std::uint64_t countTriangles(const zef::CloudFile& file) {
    return file.kind == zef::CloudFile::Kind::CORNERS ? file.vPoints.size() / 3 : file.vTriangles.size();
}

const char* timeClass(double seconds) {
    if (seconds < 10.0) return "seconds";
    if (seconds < 60.0) return "under a minute";
    if (seconds < 600.0) return "minutes";
    return "more than ten minutes";
}

void reportFile(Report& report, const std::string& path, const zef::CloudFile& file) {
    report.addText("file", "file", path);
    report.addText("format", "format", file.format);
    report.addText("kind", "content", kindWords(file.kind));
    report.addCount("points", "points", file.vPoints.size());
    if (file.kind != zef::CloudFile::Kind::POINTS) report.addCount("triangles", "triangles", countTriangles(file));
    const auto numColored = static_cast<std::uint64_t>(
        std::count_if(file.vPoints.begin(), file.vPoints.end(), [](const zef::Point3& p) { return p.hasColor(); }));
    report.addFlag("colour", "colour", numColored > 0);
    if (numColored > 0) report.addCount("coloured_points", "coloured points", numColored);
}

// A cloud without spacing is still one that can be told about.
void reportSpacing(CommandRun& commandRun, const std::vector<zef::Point3>& vPoints) {
    try {
        const Spacing measured = measureCells(vPoints);
        commandRun.report.addNumber("spacing", "spacing", measured.spacing);
        commandRun.report.addCount("cells", "occupied cells", measured.numCells);
    } catch (const zef::ZefBugException&) {
        commandRun.report.add("spacing", "spacing", nullptr, "not measured: " + commandRun.getFailure());
        commandRun.report.add("cells", "", nullptr, "");
    }
}

void reportCost(Report& report, std::uint64_t numPoints) {
    const double num = static_cast<double>(numPoints);
    report.addBytes("expected_bytes", "memory to reconstruct, up to", static_cast<std::uint64_t>(bytesTaken.of(num)));
    report.addText("expected_time", "time to reconstruct", timeClass(secondsTaken.of(num)));
}

int runInfo(const InfoOptions& options, CommandRun& commandRun) {
    const zef::CloudFile file = readCloud(commandRun, options.path);
    commandRun.step("looking at the points");
    const Box box = measureBox(file.vPoints);
    reportFile(commandRun.report, options.path, file);
    if (box.numFinite > 0) reportBox(commandRun.report, box);
    commandRun.report.addCount("duplicates", "duplicate points", countDuplicates(file.vPoints));
    commandRun.report.addCount("non_finite", "non-finite points", file.vPoints.size() - box.numFinite);
    reportSpacing(commandRun, file.vPoints);
    reportCost(commandRun.report, box.numFinite);
    return EXIT_DONE;
}

}  // namespace

void addInfo(Commands& commands) {
    auto pOptions = std::make_shared<InfoOptions>();
    CLI::App& command = *commands.app.add_subcommand("info", "Tell what is in a file of points or triangles");
    command.add_option("FILE", pOptions->path, "A file of points or triangles")->required();
    addTalkOptions(command, pOptions->talk);
    onRun(commands, command, std::move(pOptions), runInfo);
}
