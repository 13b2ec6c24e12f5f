#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <cstdio>
#include <exception>
#include <iostream>

#include "Interrupt.h"
#include "commands/commands.h"
#include "failures.h"
#include "zef/zef_api_functions.h"

namespace {

std::string versionText() {
    int major = 0, minor = 0;
    zef::getVersion(major, minor);
    return "zef " + std::to_string(major) + "." + std::to_string(minor);
}

void addCommands(Commands& commands) {
    commands.app.require_subcommand(1);
    commands.app.set_version_flag("--version", versionText());
    addInfo(commands);
    addSpacing(commands);
    addConvert(commands);
    addReconstruct(commands);
    addMelt(commands);
    addResample(commands);
    addRefit(commands);
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

int runTool(int argc, char** argv) {
    CLI::App app{
        "Triangle meshes from unordered 3D point clouds.\n"
        "Exit status: 0 done, 1 could not, 2 usage, 130 interrupted.",
        "zef"};
    Commands commands{app, {}};
    addCommands(commands);
    try {
        app.parse(reversedArguments(argc, argv));
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_DONE : EXIT_USAGE;
    }
    return commands.run();
}

}  // namespace

int main(int argc, char** argv) {
    catchInterrupts();
    try {
        return runTool(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zef: %s\n", error.what());
    } catch (...) {
        std::fputs("zef: an unknown error\n", stderr);
    }
    return EXIT_COULD_NOT;
}
