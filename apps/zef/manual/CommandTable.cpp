#include "manual/CommandTable.h"

#include <CLI/Option.hpp>
#include <algorithm>
#include <cctype>
#include <sstream>

namespace {

// The parser's own names of types, behind which it lists checks.
std::string valueOf(const CLI::Option& option) {
    if (option.get_type_size() == 0) return "";
    const std::string type = option.get_type_name();
    const std::string name = type.substr(0, type.find(':'));
    if (name == "FLOAT") return "NUMBER";
    return name == "INT" || name == "UINT" ? "N" : type;
}

bool isWord(const std::string& text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::islower(c) || std::isdigit(c); });
}

// "off|auto|RADIUS" has two.
std::vector<std::string> choicesOf(const std::string& value) {
    std::vector<std::string> vChoices;
    if (value.find('|') == std::string::npos) return vChoices;
    std::istringstream parts(value);
    for (std::string part; std::getline(parts, part, '|');)
        if (isWord(part)) vChoices.push_back(part);
    return vChoices;
}

std::string wordsOf(const CLI::Option& option) {
    std::string notes;
    const std::string& words = option.get_description();
    const auto note = [&](const std::string& text) { notes += (notes.empty() ? "" : ", ") + text; };
    if (!option.get_default_str().empty()) note("default " + option.get_default_str());
    for (const CLI::Option* const pOther : option.get_needs()) note("with " + pOther->get_name());
    for (const CLI::Option* const pOther : option.get_excludes()) note("not with " + pOther->get_name());
    return notes.empty() ? words : words + " (" + notes + ")";
}

OptionRow rowOfOption(const CLI::Option& option) {
    OptionRow row;
    if (option.get_positional()) row.positional = option.get_name(true, false);
    row.bRequired = option.get_required();
    row.bMany = option.get_expected_max() == CLI::detail::expected_max_vector_size;
    row.value = valueOf(option);
    row.vChoices = choicesOf(row.value);
    row.words = wordsOf(option);
    row.group = option.get_group();
    if (option.nonpositional()) {
        for (const std::string& name : option.get_snames()) row.vNames.push_back("-" + name);
        for (const std::string& name : option.get_lnames()) row.vNames.push_back("--" + name);
    } else {
        row.vNames.push_back(row.positional);
    }
    return row;
}

}  // namespace

std::string OptionRow::text() const {
    if (!hasDashes()) return positional + (bMany ? "..." : "");
    std::string text;
    for (const std::string& name : vNames) text += (text.empty() ? "" : ", ") + name;
    return value.empty() ? text : text + " " + value;
}

std::string CommandRow::usage() const {
    std::string text = "zef " + name + " [options]";
    for (const OptionRow& option : vOptions)
        if (!option.positional.empty()) text += " " + option.positional + (option.bMany ? "..." : "");
    return text;
}

CommandRow rowOf(const CLI::App& command) {
    CommandRow row{command.get_name(), command.get_description(), {}, {}};
    for (const bool bDashes : {false, true}) {
        for (const CLI::Option* const pOption : command.get_options())
            if (pOption->nonpositional() == bDashes) row.vOptions.push_back(rowOfOption(*pOption));
    }
    // As addExamples() has put them there.
    std::istringstream lines(command.get_footer());
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("  zef", 0) == 0)
            row.vExamples.push_back({line.substr(2), ""});
        else if (!row.vExamples.empty())
            row.vExamples.back().words = line.substr(line.find_first_not_of(' '));
    }
    return row;
}

std::vector<CommandRow> tableOf(const CLI::App& app) {
    std::vector<CommandRow> table;
    for (const CLI::App* const pCommand :
         app.get_subcommands([](const CLI::App* p) { return !p->get_group().empty(); }))
        table.push_back(rowOf(*pCommand));
    return table;
}

void addExamples(CLI::App& command, const std::vector<Example>& vExamples) {
    std::string text = "Examples:";
    for (const Example& example : vExamples) text += "\n  " + example.line + "\n      " + example.words;
    command.footer(text);
}

std::vector<std::string> wrapped(const std::string& text, std::size_t width) {
    std::vector<std::string> vLines;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        if (vLines.empty() || vLines.back().size() + 1 + word.size() > width) {
            vLines.push_back(word);
        } else {
            vLines.back() += " " + word;
        }
    }
    return vLines;
}
