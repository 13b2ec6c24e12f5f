#pragma once

#include <string>
#include <vector>

// Complete settings of zef reconstruct for common jobs.
struct Recipe {
    std::string name, words;
    std::vector<std::string> vOptions;  // with their values, as on a command line
    std::string ending = ".mesh.ply";   // of the output if none is named

    std::string line() const;  // the options in one line
};

const std::vector<Recipe>& recipes();
// Null if there is none of that name.
const Recipe* findRecipe(const std::string& name);
// Empty if there is one, else what is wrong.
std::string checkRecipe(const std::string& name);
// "scan|terrain|..."
std::string recipeNames();

// The arguments of zef reconstruct with the options of the recipe that they name behind them, but for
// those that they set themselves. As they are if they name none.
std::vector<std::string> withRecipe(std::vector<std::string> vArguments);
