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

void writeCloud(const Options& options, CommandRun& commandRun, std::vector<zef::Point3>& vPoints, double spacing) {
    const std::string& path = options.output.path;
    const Box box = measureBox(vPoints);
    const Shift shift = chooseShift(commandRun, options.output, box);
    const zef::SaveOptions save{options.output.bDouble, shift.comments()};
    if (zef::narrowsCloud(path, save)) warnOfRounding(commandRun, box, shift, spacing);
    subtract(shift, vPoints);
    commandRun.step("writing " + path);
    std::string error;
    if (!zef::saveCloud(path, vPoints, save, error)) throw Failure(path + ": " + error);
}

int runResample(const Options& options, CommandRun& commandRun) {
    const std::string& out = options.output.path;
    if (!zef::isCloudName(out)) throw UsageFailure(out + ": no known format for points; use .ply or .xyz");
    checkOutput(options.output, {options.path});
    Report& report = commandRun.report;
    std::vector<zef::Point3> vCorners = readCorners(commandRun, options.path);
    const double spacing = chooseSpacing(commandRun, options.sampling, measureBox(vCorners));
    report.addCount("input_triangles", "triangles read", vCorners.size() / 3);
    const double secondsRead = commandRun.watch.lap();

    commandRun.step("sampling");
    std::vector<zef::Point3> vPoints;
    zef::toCloud(vCorners, spacing, options.sampling.featureAngle, vPoints);
    if (vPoints.empty()) throw Failure("no points came out of the triangles; try a smaller --spacing");
    const double secondsSample = commandRun.watch.lap();

    vCorners = {};
    report.addCount("points", "points", vPoints.size());
    writeCloud(options, commandRun, vPoints, spacing);
    report.addSeconds("seconds_read", "read", secondsRead);
    report.addSeconds("seconds_sample", "sample", secondsSample);
    report.addStages();
    report.addSeconds("seconds_write", "write", commandRun.watch.lap());
    report.addBytes("peak_bytes", "peak memory", peakBytes());
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
