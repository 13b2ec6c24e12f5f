#pragma once

#include <CLI/App.hpp>
#include <array>
#include <string>
#include <vector>

#include "zef/files.h"

// The options that several commands share, each parsed in one place.

// The group of those of all commands.
inline constexpr const char* sharedGroup = "Options of all commands";

struct TalkOptions {
    bool bQuiet = false;
    bool bVerbose = false;
    bool bJson = false;
    unsigned numThreads = 0;       // 0: as many as the machine has
    std::string inputFormat = {};  // of standard input, an ending without its dot
};

struct OutputOptions {
    std::string path;
    std::string format = "ply";  // of standard output
    bool bForce = false;
    bool bDouble = false, bSingle = false;
    bool bNormals = false;
    std::string shift;  // empty, "auto" or "x,y,z"
};

// Which points of files are taken.
void addReadOptions(CLI::App& command, zef::ReadOptions& reading);

void addTalkOptions(CLI::App& command, TalkOptions& talk);
void addAnywayOption(CLI::App& command, bool& bAnyway);

// OPTIONAL: there is a name if none is given. LAST: without -o it is the last input, see takeLastAsOutput(). COLOURED:
// only if it is given, with colours by distance.
enum class OutputName { REQUIRED, OPTIONAL, LAST, COLOURED };
// Throws UsageFailure if there is no other input.
void takeLastAsOutput(std::vector<std::string>& vInputs, OutputOptions& output);
void addOutputOptions(CLI::App& command, OutputOptions& output, OutputName name);

// "x,y,z" as finite numbers. False if it is anything else.
bool parseThree(const std::string& text, std::array<double, 3>& numbers);

// The arguments of the program, last first as CLI11 takes them, with the three
// numbers behind --shift or --viewpoint joined to one word, and what a recipe stands for.
std::vector<std::string> reversedArguments(int argc, const char* const* argv);
