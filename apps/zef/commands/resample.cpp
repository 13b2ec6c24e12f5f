#include "commands/commands.h"
#include "failures.h"
#include "io/saveCloud.h"
#include "outputs.h"
#include "triangles.h"
#include "zef/zef_api_functions.h"

namespace {

struct Options {
    std::string path;
    SamplingOptions sampling;
    OutputOptions output;
    TalkOptions talk;
};

int runResample(const Options& options, CommandRun& commandRun) {
    const std::string& out = options.output.path;
    if (!zef::isCloudName(out)) throw UsageFailure(out + ": no known format for points; use .ply or .xyz");
    checkOutput(options.output, {options.path});
    Report& report = commandRun.report;
    std::vector<zef::Point3> vCorners = readCorners(commandRun, options.path);
    const double spacing = chooseSpacing(commandRun, options.sampling, measureBox(vCorners));
    report.addCount("input_triangles", "triangles read", vCorners.size() / 3);
    commandRun.lap("seconds_read", "read");

    commandRun.step("sampling");
    std::vector<zef::Point3> vPoints;
    zef::toCloud(vCorners, spacing, options.sampling.featureAngle, vPoints);
    if (vPoints.empty()) throw Failure("no points came out of the triangles; try a smaller --spacing");
    vCorners = {};
    commandRun.lap("seconds_sample", "sample");

    report.addCount("points", "points", vPoints.size());
    writeCloudFile(commandRun, options.output, spacing, vPoints);
    commandRun.lap("seconds_write", "write");
    commandRun.reportLaps();
    return EXIT_DONE;
}

}  // namespace

void addResample(Commands& commands) {
    auto pOptions = std::make_shared<Options>();
    CLI::App& command = *commands.app.add_subcommand("resample", "Make a regular cloud of points of triangles");
    command.add_option("IN", pOptions->path, "A file of triangles")->required();
    addSamplingOptions(command, pOptions->sampling);
    addOutputOptions(command, pOptions->output, false);
    addTalkOptions(command, pOptions->talk);
    onRun(commands, command, pOptions, runResample);
}
