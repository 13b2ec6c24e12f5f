#include "commands/commands.h"
#include "failures.h"
#include "files/inputs.h"
#include "numbers.h"
#include "zef/reconstruction.h"

namespace {

struct SpacingOptions {
    std::string path;
    TalkOptions talk;
};

int runSpacing(const SpacingOptions& options, CommandRun& commandRun) {
    const std::vector<zef::Point3> vPoints = readScan(commandRun, {options.path}).points;
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
    command.add_option("FILE", pOptions->path, "A file of points")->required();
    addTalkOptions(command, pOptions->talk);
    onRun(commands, command, pOptions, runSpacing);
}
