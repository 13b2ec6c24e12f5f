#pragma once

#include <string>
#include <vector>

#include "manual/CommandTable.h"

// Files that are installed with the tool. tool: its own options; version: "zef 1.13".
std::string manPage(const CommandRow& tool, const std::vector<CommandRow>& table, const std::string& version);
std::string bashCompletions(const std::vector<CommandRow>& table);
std::string zshCompletions(const std::vector<CommandRow>& table);
std::string fishCompletions(const std::vector<CommandRow>& table);
