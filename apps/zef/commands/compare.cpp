#include "zef/compare.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "commands/commands.h"
#include "failures.h"
#include "files/bundle.h"
#include "files/meshes.h"
#include "files/pipes.h"
#include "numbers.h"
#include "options.h"

using Json = nlohmann::ordered_json;

namespace {

struct CompareChoices {
    std::string path, reference;
    zef::CompareOptions library;
    bool bView = false;
    OutputOptions output;
    TalkOptions talk;

    CompareChoices() { library.bins = 10; }
};

bool isCloud(const zef::TriangleMesh& mesh) {
    return mesh.indices.empty();
}

Json objectOf(const zef::Deviation& deviation) {
    const auto orNull = [](double value) { return value < 0.0 ? Json(nullptr) : Json(value); };
    return {{"samples", deviation.numSamples},
            {"mean", deviation.mean},
            {"rms", deviation.rms},
            {"max", deviation.max},
            {"percentiles", deviation.percentiles},
            {"histogram", deviation.histogram},
            {"mean_angle", orNull(deviation.meanAngle)},
            {"turned_share", orNull(deviation.turnedShare)}};
}

// One line with both ways beside each other.
class TwoWays {
public:
    TwoWays(Report& report_, const zef::Comparison& made_) : report(report_), made(made_) {}

    template <class Text>
    void add(const std::string& label, const Text& textOf) {
        std::string there = textOf(made.there);
        there.resize(std::max<std::size_t>(there.size(), width), ' ');
        report.addText("", label, there + textOf(made.back));
    }

private:
    static constexpr std::size_t width = 16;
    Report& report;
    const zef::Comparison& made;
};

void reportHistogram(TwoWays& lines, const zef::Comparison& made) {
    const std::size_t numBins = made.there.histogram.size() - 1;
    for (std::size_t i = 0; i <= numBins; ++i) {
        const double end = made.limit * static_cast<double>(i + 1) / static_cast<double>(numBins);
        const std::string label = i < numBins ? "  up to " + shortText(end) : "  beyond";
        lines.add(label, [&](const zef::Deviation& deviation) {
            const double num = static_cast<double>(std::max<std::uint64_t>(deviation.numSamples, 1));
            return percentText(static_cast<double>(deviation.histogram[i]) / num);
        });
    }
}

void reportComparison(Report& report, const zef::Comparison& made) {
    report.add("limit", "", made.limit, "");
    report.add("there", "", objectOf(made.there), "");
    report.add("back", "", objectOf(made.back), "");
    TwoWays lines(report, made);
    const auto addNumber = [&](const std::string& label, double (*valueOf)(const zef::Deviation&)) {
        lines.add(label, [&](const zef::Deviation& deviation) { return shortText(valueOf(deviation)); });
    };
    lines.add("distances",
              [&](const zef::Deviation& deviation) { return &deviation == &made.there ? "to reference" : "and back"; });
    addNumber("mean distance", [](const zef::Deviation& d) { return d.mean; });
    addNumber("root mean square", [](const zef::Deviation& d) { return d.rms; });
    addNumber("largest", [](const zef::Deviation& d) { return d.max; });
    addNumber("50 % are within", [](const zef::Deviation& d) { return d.percentiles[0]; });
    addNumber("95 % are within", [](const zef::Deviation& d) { return d.percentiles[1]; });
    addNumber("99 % are within", [](const zef::Deviation& d) { return d.percentiles[2]; });
    if (made.there.meanAngle >= 0.0 && made.back.meanAngle >= 0.0) {
        addNumber("mean angle of normals", [](const zef::Deviation& d) { return d.meanAngle; });
        lines.add("facing the other way", [](const zef::Deviation& d) { return percentText(d.turnedShare); });
    }
    reportHistogram(lines, made);
}

// Before any work is done.
void checkOutputs(const CompareChoices& options, const std::string& page) {
    const std::vector<std::string> vInputs = {options.path, options.reference};
    if (!options.output.path.empty()) checkOutput(options.output, vInputs);
    if (options.bView) checkPage(page, vInputs, options.output.bForce);
}

std::string pageOf(const CompareChoices& options) {
    const bool bOutput = !options.output.path.empty();
    return std::filesystem::path(bOutput ? options.output.path : options.path)
        .replace_extension(bOutput ? ".html" : ".compare.html")
        .string();
}

void writeColoured(CommandRun& commandRun, const OutputOptions& output, const zef::TriangleMesh& mesh) {
    constexpr double ownSpacing = 0.0;
    if (isCloud(mesh)) {
        writeCloudFile(commandRun, output, ownSpacing, mesh.vertices);
    } else {
        writeMeshFile(commandRun, output, ownSpacing, mesh);
    }
    commandRun.lap("seconds_write", "write");
}

void writeView(CommandRun& commandRun, const std::string& page, const std::string& bundle,
               const CompareChoices& options, const zef::TriangleMesh& mesh, const zef::TriangleMesh& reference) {
    zef::PageOptions pageOptions;
    pageOptions.title = std::filesystem::path(options.path).filename().string() + " against " +
                        std::filesystem::path(options.reference).filename().string();
    pageOptions.report = commandRun.report.lines();
    zef::ViewScene scene;
    const auto add = [&](const zef::TriangleMesh& shown, const std::string& path) {
        if (isCloud(shown)) return;
        scene.meshes.push_back(&shown);
        pageOptions.names.push_back(std::filesystem::path(path).filename().string());
    };
    add(mesh, options.path);
    add(reference, options.reference);
    if (isCloud(reference)) scene.points = reference.vertices;
    if (isCloud(mesh)) scene.points = mesh.vertices;
    writePageFile(commandRun, page, scene, bundle, pageOptions);
    commandRun.lap("seconds_page", "page");
}

int runCompare(const CompareChoices& options, CommandRun& commandRun) {
    if (options.bView && (isPipe(options.path) || isPipe(options.output.path)))
        throw UsageFailure("--view has no name for its page where - stands for a file");
    const std::string page = pageOf(options);
    checkOutputs(options, page);
    const std::string bundle = options.bView ? readBundle() : "";
    zef::TriangleMesh mesh = readSurface(commandRun, options.path);
    const zef::TriangleMesh reference = readSurface(commandRun, options.reference);
    commandRun.lap("seconds_read", "read");
    commandRun.step("comparing");
    const zef::Comparison made = zef::compare(mesh, reference, options.library, commandRun.getContext());
    commandRun.lap("seconds_compare", "compare");
    reportComparison(commandRun.report, made);
    if (!options.output.path.empty() || options.bView) {
        if (made.limit > 0.0) zef::colorByDistance(mesh, made.distances, made.limit);
        commandRun.report.addText("", "colours", "blue 0 to red " + shortText(made.limit));
    }
    if (!options.output.path.empty()) writeColoured(commandRun, options.output, mesh);
    if (options.bView) writeView(commandRun, page, bundle, options, mesh, reference);
    commandRun.reportLaps();
    return EXIT_DONE;
}

}  // namespace

void addCompare(Commands& commands) {
    auto pOptions = std::make_shared<CompareChoices>();
    CLI::App& command = *commands.app.add_subcommand(
        "compare", "Measure how far a mesh or cloud is from a reference, and that from it");
    command.add_option("IN", pOptions->path, "A file of triangles or points")->required();
    command.add_option("REFERENCE", pOptions->reference, "What it is compared with")->required();
    command
        .add_option(
            "--limit", pOptions->library.limit,
            "Where the histogram and the colours end, in the unit of the files; by default where 99 % are nearer")
        ->check(checkPositive);
    command.add_option("--bins", pOptions->library.bins, "Of the histogram")
        ->check(CLI::Range(1u, 10'000u))
        ->capture_default_str();
    command.add_option("--samples", pOptions->library.samples, "Of a mesh, strewn evenly over its area")
        ->check(CLI::Range(std::size_t{1}, std::size_t{1} << 31))
        ->capture_default_str();
    command.add_flag("--view", pOptions->bView,
                     "Also write a page that shows both, the first coloured by its distance");
    addOutputOptions(command, pOptions->output, OutputName::COLOURED);
    addTalkOptions(command, pOptions->talk);
    addExamples(command, {{"zef compare mesh.ply truth.stl", "Distances both ways, with histograms."},
                          {"zef compare mesh.ply scan.ply -o coloured.ply --limit 0.5",
                           "The mesh with its distances from the points as colours."},
                          {"zef compare before.ply after.ply --view", "A page that shows where two meshes differ."}});
    onRun(commands, command, pOptions, runCompare);
}
