#include "commands/commands.h"
#include "failures.h"
#include "files/outputs.h"
#include "files/pipes.h"
#include "files/triangles.h"
#include "reports/memory.h"

namespace {

struct ResampleChoices {
    std::string path;
    zef::MeltOptions sampling;
    bool bAnyway = false;
    OutputOptions output;
    TalkOptions talk;
};

int runResample(const ResampleChoices& options, CommandRun& commandRun) {
    const std::string out = nameOfFormat(options.output.path, options.output.format);
    if (!zef::formatOf(out).writesPoints) throw UsageFailure(out + ": no known format for points; use .ply or .xyz");
    checkOutput(options.output, {options.path});
    Report& report = commandRun.report;
    std::vector<zef::Point3> vCorners = readCorners(commandRun, options.path);
    const zef::MeltOptions sampling = chooseSpacing(commandRun, options.sampling, vCorners);
    report.addCount("input_triangles", "triangles read", vCorners.size() / 3);
    commandRun.lap("seconds_read", "read");

    if (!options.bAnyway) requireMemory(vCorners, sampling.spacing, bytesPerSampled);
    commandRun.step("sampling");
    const std::vector<zef::Point3> vPoints = zef::resample(vCorners, sampling, commandRun.getContext());
    vCorners = {};
    commandRun.lap("seconds_sample", "sample");

    report.addCount("points", "points", vPoints.size());
    writeCloudFile(commandRun, options.output, sampling.spacing, vPoints);
    commandRun.lap("seconds_write", "write");
    commandRun.reportLaps();
    return EXIT_DONE;
}

}  // namespace

void addResample(Commands& commands) {
    auto pOptions = std::make_shared<ResampleChoices>();
    CLI::App& command = *commands.app.add_subcommand("resample", "Make a regular cloud of points of triangles");
    command.add_option("IN", pOptions->path, "A file of triangles")->required();
    addSamplingOptions(command, pOptions->sampling);
    addAnywayOption(command, pOptions->bAnyway);
    addOutputOptions(command, pOptions->output, OutputName::REQUIRED);
    addTalkOptions(command, pOptions->talk);
    addExamples(command, {{"zef resample mesh.stl -o points.xyz --spacing 0.5", "Points at about that distance."}});
    onRun(commands, command, pOptions, runResample);
}
