#include "commands/commands.h"
#include "failures.h"
#include "inputs.h"
#include "io/saveCloud.h"
#include "outputs.h"

namespace {

struct ConvertOptions {
    std::string path;
    OutputOptions output;
    TalkOptions talk;
};

int runConvert(const ConvertOptions& options, Session& session) {
    if (!zef::isCloudName(options.output.path)) throw UsageFailure(options.output.path + ": no known format");
    checkOutput(options.output, {options.path});
    std::vector<zef::Point3> vPoints = readPoints(session, {options.path});
    session.report.addCount("points", "points", vPoints.size());
    const Shift shift = shiftPoints(session, options.output, vPoints);
    const zef::SaveOptions save{options.output.bDouble, shift.comments()};
    if (zef::narrowsCloud(options.output.path, save)) warnOfRounding(session, vPoints);
    session.step("writing " + options.output.path);
    std::string error;
    if (!zef::saveCloud(options.output.path, vPoints, save, error)) throw Failure(options.output.path + ": " + error);
    return EXIT_DONE;
}

}  // namespace

void addConvert(Commands& commands) {
    auto pOptions = std::make_shared<ConvertOptions>();
    CLI::App& command = *commands.app.add_subcommand("convert", "Write a cloud in another format");
    command.add_option("IN", pOptions->path, "A file of points or triangles")->required();
    addOutputOptions(command, pOptions->output, true);
    addTalkOptions(command, pOptions->talk);
    onRun(commands, command, pOptions, runConvert);
}
