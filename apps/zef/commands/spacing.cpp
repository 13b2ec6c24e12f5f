#include "commands/commands.h"
#include "failures.h"
#include "files/inputs.h"
#include "numbers.h"
#include "zef/reconstruction.h"

namespace {

struct SpacingOptions {
    std::vector<std::string> vInputs;
    zef::ReadOptions reading;
    TalkOptions talk;
};

int runSpacing(const SpacingOptions& options, CommandRun& commandRun) {
    const std::vector<zef::Point3> vPoints = readScan(commandRun, options.vInputs, options.reading).points;
    const double spacing = zef::measureSpacing(vPoints, commandRun.getContext());
    commandRun.report.addCount("points", "", vPoints.size());
    commandRun.report.addNumber("spacing", "", spacing);
    commandRun.report.setAnswer(shortestText(spacing));
    return EXIT_DONE;
}

}  // namespace

void addSpacing(Commands& commands) {
    auto pOptions = std::make_shared<SpacingOptions>();
    CLI::App& command = *commands.app.add_subcommand("spacing", "Print the spacing of a cloud, one number");
    command.add_option("IN", pOptions->vInputs, "Files of points, taken together")->required();
    addReadOptions(command, pOptions->reading);
    addTalkOptions(command, pOptions->talk);
    addExamples(command, {{"zef spacing scan.ply", "One number on standard output."},
                          {"zef spacing left.ply right.ply", "Of two scans taken together."}});
    onRun(commands, command, pOptions, runSpacing);
}
