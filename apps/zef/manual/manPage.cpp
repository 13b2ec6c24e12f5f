#include "manual/generated.h"
#include "manual/statuses.h"
#include "options.h"

namespace {

// Dashes that are to be typed, and lines that must not begin with a command.
std::string escaped(const std::string& text) {
    std::string safe;
    for (const char c : text) {
        if (c == '-' || c == '\\') safe += '\\';
        safe += c;
    }
    return !safe.empty() && (safe[0] == '.' || safe[0] == '\'') ? "\\&" + safe : safe;
}

std::string item(const std::string& name, const std::string& words) {
    return ".TP\n\\fB" + escaped(name) + "\\fR\n" + escaped(words) + "\n";
}

std::string commandText(const CommandRow& command) {
    std::string text = ".SS \"" + escaped(command.usage()) + "\"\n" + escaped(command.words) + ".\n";
    for (const OptionRow& option : command.vOptions)
        if (option.group != sharedGroup) text += item(option.text(), option.words);
    if (!command.vExamples.empty()) text += ".PP\nExamples:\n";
    for (const Example& example : command.vExamples) text += item(example.line, example.words);
    return text;
}

std::string sharedOptions(const std::vector<CommandRow>& table) {
    std::string text;
    for (const OptionRow& option : table.front().vOptions)
        if (option.group == sharedGroup) text += item(option.text(), option.words);
    return text;
}

}  // namespace

std::string manPage(const CommandRow& tool, const std::vector<CommandRow>& table, const std::string& version) {
    std::string text =
        ".TH ZEF 1 \"\" \"" + version + "\" \"User Commands\"\n.SH NAME\nzef \\- triangle meshes from " +
        "unordered point clouds\n.SH SYNOPSIS\n.B zef\n\\fICOMMAND\\fR [\\fIoptions\\fR] \\fIFILES\\fR\n" +
        ".SH DESCRIPTION\n" + escaped(tool.words) +
        "\n.PP\nThe report goes to standard output; progress, warnings and hints to standard error. " +
        "A file named \\fB\\-\\fR is standard input or output; then the report goes to standard " +
        "error.\n.SH COMMANDS\n";
    for (const CommandRow& command : table) text += commandText(command);
    text += ".SH OPTIONS OF ALL COMMANDS\n" + sharedOptions(table) + ".SH EXIT STATUS\n";
    for (const StatusRow& row : statusTable()) text += item(std::to_string(row.status), row.words);
    return text;
}
