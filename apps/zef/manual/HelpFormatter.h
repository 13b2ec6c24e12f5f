#pragma once

#include <CLI/Formatter.hpp>
#include <string>

// The help of the tool and its commands, in lines of 80 columns.
class HelpFormatter : public CLI::Formatter {
public:
    std::string make_help(const CLI::App* pApp, std::string name, CLI::AppFormatMode mode) const override;
};
