#pragma once

#include <CLI/App.hpp>
#include <string>

// What is wrong with the command line, in a sentence with the cure.
std::string usageText(const CLI::App& app, const CLI::ParseError& error);
