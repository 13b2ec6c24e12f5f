#pragma once

#include <CLI/App.hpp>
#include <functional>
#include <memory>
#include <utility>

#include "CommandRun.h"
#include "manual/CommandTable.h"

// The subcommands, one file each. What one of them is to do when it was asked
// for stands in run; its options live in there.
struct Commands {
    CLI::App& app;
    std::function<int()> run;
};

void addAnneal(Commands& commands);
void addCheck(Commands& commands);
void addColour(Commands& commands);
void addCompare(Commands& commands);
void addConvert(Commands& commands);
void addFlip(Commands& commands);
void addHoles(Commands& commands);
void addInfo(Commands& commands);
void addMelt(Commands& commands);
void addRecipe(Commands& commands);
void addFormats(Commands& commands);
void addReconstruct(Commands& commands);
void addReduce(Commands& commands);
void addRefit(Commands& commands);
void addMend(Commands& commands);
void addResample(Commands& commands);
void addSmooth(Commands& commands);
void addSpacing(Commands& commands);
void addTiles(Commands& commands);
void addView(Commands& commands);

// Lets the subcommand run the function with its options, which have a member talk.
template <class Options>
void onRun(Commands& commands, CLI::App& subcommand, std::shared_ptr<Options> pOptions,
           int (*function)(const Options&, CommandRun&)) {
    subcommand.callback([&commands, pOptions, function, name = subcommand.get_name()] {
        commands.run = [pOptions, function, name] {
            return runCommand(name, pOptions->talk,
                              [&](CommandRun& commandRun) { return function(*pOptions, commandRun); });
        };
    });
}
