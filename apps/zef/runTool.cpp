#include "runTool.h"

#include <CLI/Config.hpp>
#include <iostream>

#include "commands/commands.h"
#include "failures.h"
#include "manual/HelpFormatter.h"
#include "manual/generated.h"
#include "manual/usage.h"
#include "zef/zef_api_functions.h"

namespace {

std::string versionText() {
    int major = 0, minor = 0;
    zef::getVersion(major, minor);
    return "zef " + std::to_string(major) + "." + std::to_string(minor);
}

void addCommands(Commands& commands) {
    commands.app.require_subcommand(1);
    commands.app.set_version_flag("--version", versionText(), "Print the version");
    commands.app.set_help_flag("-h,--help", "Print this help");
    addInfo(commands);
    addSpacing(commands);
    addConvert(commands);
    addReconstruct(commands);
    addTiles(commands);
    addRecipe(commands);
    addFormats(commands);
    addMelt(commands);
    addResample(commands);
    addRefit(commands);
    addMend(commands);
    addFlip(commands);
    addAnneal(commands);
    addReduce(commands);
    addSmooth(commands);
    addColour(commands);
    addHoles(commands);
    addCheck(commands);
    addCompare(commands);
    addView(commands);
}

// Not for people: writes what is installed beside the tool.
void addGenerate(Commands& commands) {
    auto pKind = std::make_shared<std::string>();
    CLI::App& command = *commands.app.add_subcommand("generate", "Write the man page, or completions for a shell");
    command.group("");
    command.add_option("KIND", *pKind)->required()->check(CLI::IsMember({"man", "bash", "zsh", "fish"}));
    command.callback([&commands, pKind] {
        commands.run = [&commands, pKind] {
            const std::vector<CommandRow> table = tableOf(commands.app);
            std::cout << (*pKind == "man"    ? manPage(rowOf(commands.app), table, versionText())
                          : *pKind == "bash" ? bashCompletions(table)
                          : *pKind == "zsh"  ? zshCompletions(table)
                                             : fishCompletions(table))
                      << std::flush;
            return std::cout ? EXIT_DONE : EXIT_COULD_NOT;
        };
    });
}

}  // namespace

int runTool(int argc, char** argv) {
    CLI::App app{"Triangle meshes from unordered 3D point clouds.", "zef"};
    app.formatter(std::make_shared<HelpFormatter>());
    Commands commands{app, {}};
    addCommands(commands);
    addGenerate(commands);
    try {
        app.parse(reversedArguments(argc, argv));
    } catch (const CLI::Success& request) {
        return app.exit(request);
    } catch (const CLI::ParseError& error) {
        std::cerr << "zef: " + usageText(app, error) + "\n" << std::flush;
        return EXIT_USAGE;
    }
    return commands.run();
}
