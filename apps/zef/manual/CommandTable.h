#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

// What the help, the man page and the completions of the shells tell of the commands: all of it
// from the options that are parsed.

struct OptionRow {
    std::vector<std::string> vNames;  // with dashes, the short one first; of what stands without: its name
    std::string value;                // what it takes, in a word; empty for a flag
    std::vector<std::string> vChoices;
    std::string words, group;
    std::string positional;  // its name where it may stand without dashes
    bool bMany = false, bRequired = false;

    bool takesFile() const { return value == "FILE"; }
    bool hasDashes() const { return vNames.back()[0] == '-'; }
    std::string text() const;  // "-o, --output FILE"
};

struct Example {
    std::string line, words;
};

struct CommandRow {
    std::string name, words;
    std::vector<OptionRow> vOptions;  // those without dashes first
    std::vector<Example> vExamples;

    std::string usage() const;  // "zef reconstruct [options] IN..."
};

// Those that are not hidden. The tool itself is no row.
std::vector<CommandRow> tableOf(const CLI::App& app);
CommandRow rowOf(const CLI::App& command);

// They stand at the end of its help.
void addExamples(CLI::App& command, const std::vector<Example>& vExamples);

// Lines of the text, no longer than the width where words allow it.
std::vector<std::string> wrapped(const std::string& text, std::size_t width);
