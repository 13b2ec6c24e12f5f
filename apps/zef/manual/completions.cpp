#include <algorithm>

#include "manual/generated.h"

namespace {

std::string joined(const std::vector<std::string>& vWords, const std::string& between) {
    std::string text;
    for (const std::string& word : vWords) text += (text.empty() ? "" : between) + word;
    return text;
}

std::vector<std::string> commandNames(const std::vector<CommandRow>& table) {
    std::vector<std::string> vNames;
    vNames.reserve(table.size());
    for (const CommandRow& command : table) vNames.push_back(command.name);
    return vNames;
}

std::vector<std::string> optionNames(const CommandRow& command) {
    std::vector<std::string> vNames;
    for (const OptionRow& option : command.vOptions)
        if (option.hasDashes()) vNames.insert(vNames.end(), option.vNames.begin(), option.vNames.end());
    return vNames;
}

// What may follow an option that takes a value: files by default.
std::string bashValues(const CommandRow& command) {
    std::string text;
    for (const OptionRow& option : command.vOptions) {
        if (!option.hasDashes() || option.value.empty() || option.takesFile()) continue;
        std::vector<std::string> vPatterns;
        for (const std::string& name : option.vNames) vPatterns.push_back(command.name + ":" + name);
        text += "        " + joined(vPatterns, " | ") + ") COMPREPLY=($(compgen -W '" + joined(option.vChoices, " ") +
                "' -- \"$cur\")); return ;;\n";
    }
    return text;
}

// Quotes and brackets mean something in the lists of zsh.
std::string zshWords(const std::string& words) {
    std::string safe;
    for (const char c : words) {
        if (c == '\'') safe += "'\\'";
        if (c == '[' || c == ']' || c == ':') safe += '\\';
        safe += c;
    }
    return safe;
}

std::string fishWords(const std::string& words) {
    std::string safe;
    for (const char c : words) {
        if (c == '\'' || c == '\\') safe += '\\';
        safe += c;
    }
    return "'" + safe + "'";
}

std::string zshOption(const OptionRow& option) {
    std::string action;
    if (!option.value.empty()) action = ":" + zshWords(option.value) + ":";
    if (option.takesFile()) action += "_files";
    if (!option.vChoices.empty()) action += "(" + joined(option.vChoices, " ") + ")";
    std::string text;
    for (const std::string& name : option.vNames)
        text.append(" \\\n                '")
            .append(name)
            .append("[")
            .append(zshWords(option.words))
            .append("]")
            .append(action)
            .append("'");
    return text;
}

}  // namespace

std::string bashCompletions(const std::vector<CommandRow>& table) {
    const std::string names = joined(commandNames(table), " | ");
    std::string values, options;
    for (const CommandRow& command : table) {
        values += bashValues(command);
        options += "        " + command.name + ") words='" + joined(optionNames(command), " ") + "' ;;\n";
    }
    return "# Completions of zef for bash, made by zef.\n"
           "_zef() {\n"
           "    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]} command= words= word\n"
           "    COMPREPLY=()\n"
           "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD - 1}\"; do\n"
           "        case $word in\n"
           "        " +
           names + ") command=$word; break ;;\n        esac\n    done\n    case $command:$prev in\n" + values +
           "    esac\n    case $command in\n        '') words='" + joined(commandNames(table), " ") +
           " --help --version' ;;\n" + options +
           "    esac\n"
           "    if [[ $cur == -* || -z $command ]]; then\n"
           "        COMPREPLY=($(compgen -W \"$words\" -- \"$cur\"))\n"
           "    else\n"
           "        local IFS=$'\\n'\n"
           "        COMPREPLY=($(compgen -f -- \"$cur\"))\n"
           "    fi\n"
           "}\n"
           "complete -o filenames -F _zef zef\n";
}

std::string zshCompletions(const std::vector<CommandRow>& table) {
    std::string commands, options;
    for (const CommandRow& command : table) {
        commands += "        '" + command.name + ":" + zshWords(command.words) + "'\n";
        options += "        " + command.name + ")\n            _arguments -s";
        for (const OptionRow& option : command.vOptions)
            if (option.hasDashes()) options += zshOption(option);
        options += " \\\n                '*:file:_files' ;;\n";
    }
    return "#compdef zef\n# Completions of zef for zsh, made by zef.\nlocal -a commands=(\n" + commands +
           "    )\nif ((CURRENT == 2)); then\n    _describe command commands\nelse\n    local command=$words[2]\n"
           "    shift words\n    ((CURRENT--))\n    case $command in\n" +
           options + "    esac\nfi\n";
}

std::string fishCompletions(const std::vector<CommandRow>& table) {
    std::string text = "# Completions of zef for fish, made by zef.\n";
    for (const CommandRow& command : table)
        text +=
            "complete -c zef -n __fish_use_subcommand -f -a " + command.name + " -d " + fishWords(command.words) + "\n";
    for (const CommandRow& command : table) {
        for (const OptionRow& option : command.vOptions) {
            if (!option.hasDashes()) continue;
            text += "complete -c zef -n '__fish_seen_subcommand_from " + command.name + "'";
            for (const std::string& name : option.vNames)
                text += name[1] == '-' ? " -l " + name.substr(2) : " -s " + name.substr(1);
            if (!option.value.empty()) text += option.takesFile() ? " -r -F" : " -x";
            if (!option.vChoices.empty()) text += " -a '" + joined(option.vChoices, " ") + "'";
            text += " -d " + fishWords(option.words) + "\n";
        }
    }
    return text;
}
