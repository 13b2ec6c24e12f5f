#include <algorithm>
#include <array>
#include <cmath>

#include "commands/commands.h"
#include "failures.h"
#include "files/inputs.h"
#include "reports/measure.h"
#include "reports/memory.h"
#include "zef/reconstruction.h"

namespace {

struct InfoOptions {
    std::string path;
    zef::ReadOptions reading;
    TalkOptions talk;
};

// The time that a reconstruction takes at most: a share for each point, and one for open
// borders and gaps, whose length goes with the root of the number of points. From
// seven scans and clouds of 0.1 to 10 million points with two cores; closed shapes
// stay at the first share.
struct Cost {
    double perPoint, perRoot;
    double of(double numPoints) const { return perPoint * numPoints + perRoot * std::sqrt(numPoints); }
};
constexpr Cost secondsTaken{5e-6, 0.025};

const char* kindWords(zef::PointFile::Kind kind) {
    switch (kind) {
        case zef::PointFile::Kind::CORNERS:
            return "corners of triangles";
        case zef::PointFile::Kind::MESH:
            return "mesh";
        case zef::PointFile::Kind::POINTS:
            break;
    }
    return "points";
}

const char* timeClass(double seconds) {
    if (seconds < 10.0) return "seconds";
    if (seconds < 60.0) return "under a minute";
    if (seconds < 600.0) return "minutes";
    return "more than ten minutes";
}

// How many points of each class there are, as an object of numbers.
void reportClasses(Report& report, const std::vector<std::uint8_t>& vClasses) {
    std::array<std::uint64_t, 256> counts{};
    for (const std::uint8_t number : vClasses) ++counts[number];
    nlohmann::ordered_json list = nlohmann::ordered_json::object();
    std::string text;
    for (std::size_t number = 0; number < counts.size(); ++number) {
        if (counts[number] == 0) continue;
        list[std::to_string(number)] = counts[number];
        text += (text.empty() ? "" : ", ") + std::to_string(number) + ": " + countText(counts[number]);
    }
    report.add("classes", "points of each class", std::move(list), text);
}

void reportFile(Report& report, const std::string& path, const zef::PointFile& file) {
    report.addText("file", "file", path);
    report.addText("format", "format", file.format);
    report.addText("kind", "content", kindWords(file.kind));
    report.addCount("points", "points", file.points.size());
    if (file.kind != zef::PointFile::Kind::POINTS) report.addCount("triangles", "triangles", file.numTriangles());
    const auto numColored = static_cast<std::uint64_t>(
        std::count_if(file.points.begin(), file.points.end(), [](const zef::Point3& p) { return p.hasColor(); }));
    report.addFlag("colour", "colour", numColored > 0);
    if (numColored > 0) report.addCount("coloured_points", "coloured points", numColored);
    report.addFlag("normals", "normals", !file.normals.empty());
    report.addFlag("intensity", "intensity", !file.intensities.empty());
    if (file.numScans > 1) report.addCount("scans", "scans", file.numScans);
    if (!file.projection.empty()) report.addText("projection", "projection", file.projection);
    if (!file.classes.empty()) reportClasses(report, file.classes);
    if (file.numNotTaken > 0) report.addCount("not_taken", "points not taken", file.numNotTaken);
}

// A cloud without spacing is still one that can be told about.
void reportSpacing(Report& report, const zef::PointStatistics& found) {
    if (found.spacing > 0.0) {
        report.addNumber("spacing", "spacing", found.spacing);
        report.addCount("cells", "occupied cells", found.numCells);
        report.addShare("sparse_share", "sparse points", found.unsupportedShare);
        const std::array<double, 3>& local = found.localSpacing;
        // Below 0 where there are too few points.
        const char* const unknown = "not measured, there are too few points";
        const std::string quantiles = numberText(local[0]) + "  " + numberText(local[1]) + "  " + numberText(local[2]);
        report.add("local_spacing", "to the sixth neighbour", local,
                   local[0] < 0.0 ? unknown : quantiles + " (5, 50, 95 %)");
        report.add("noise", "noise, in spacings", found.noise, found.noise < 0.0 ? unknown : numberText(found.noise));
        report.addText("precision", "precision needed", found.needsDoubles ? "double" : "single");
    } else {
        report.add("spacing", "spacing", nullptr, "not measured: " + found.fault);
        for (const char* const key : {"cells", "sparse_share", "local_spacing", "noise", "precision"})
            report.add(key, "", nullptr, "");
    }
}

void reportCost(Report& report, const zef::PointStatistics& found) {
    const double num = static_cast<double>(found.numFinite);
    const zef::ReconstructOptions usual;
    const double bytes = expectedBytes(num, usual.factor, found.unsupportedShare >= unevenShare);
    report.addBytes("expected_bytes", "memory to reconstruct, about", static_cast<std::uint64_t>(bytes));
    report.addText("expected_time", "time to reconstruct", timeClass(secondsTaken.of(num)));
}

int runInfo(const InfoOptions& options, CommandRun& commandRun) {
    const zef::PointFile file = readCloud(commandRun, options.path, options.reading);
    commandRun.step("looking at the points");
    const zef::PointStatistics found = zef::measurePoints(file.points, commandRun.getContext());
    Report& report = commandRun.report;
    reportFile(report, options.path, file);
    if (found.numFinite > 0) reportBox(report, measureBox(std::array{found.low, found.high}));
    report.addCount("duplicates", "duplicate points", found.numDuplicates);
    report.addCount("non_finite", "non-finite points", file.points.size() - found.numFinite);
    report.addCount("strays", "stray points", found.numStrays);
    report.addCount("outliers", "outliers", found.numOutliers);
    reportSpacing(report, found);
    reportCost(report, found);
    return EXIT_DONE;
}

}  // namespace

void addInfo(Commands& commands) {
    auto pOptions = std::make_shared<InfoOptions>();
    CLI::App& command = *commands.app.add_subcommand("info", "Tell what is in a file of points or triangles");
    command.add_option("IN", pOptions->path, "A file of points or triangles")->required();
    addReadOptions(command, pOptions->reading);
    addTalkOptions(command, pOptions->talk);
    addExamples(command, {{"zef info scan.ply", "Spacing, noise, density, and what a reconstruction would take."},
                          {"zef info --json scan.ply", "The same for programs."}});
    onRun(commands, command, std::move(pOptions), runInfo);
}
