#include "manual/usage.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <string_view>

#include "manual/CommandTable.h"

namespace {

// Letters to change, add, leave out or swap with their neighbours.
std::size_t numEdits(std::string_view a, std::string_view b) {
    std::vector<std::size_t> vBefore(b.size() + 1), vLast(b.size() + 1), vNow(b.size() + 1);
    std::iota(vLast.begin(), vLast.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        vNow[0] = i;
        for (std::size_t k = 1; k <= b.size(); ++k) {
            vNow[k] = std::min({vLast[k] + 1, vNow[k - 1] + 1, vLast[k - 1] + (a[i - 1] == b[k - 1] ? 0 : 1)});
            const bool bSwapped = i > 1 && k > 1 && a[i - 1] == b[k - 2] && a[i - 2] == b[k - 1];
            if (bSwapped) vNow[k] = std::min(vNow[k], vBefore[k - 2] + 1);
        }
        vBefore.swap(vLast);
        vLast.swap(vNow);
    }
    return vLast[b.size()];
}

// A name is also meant by its beginning. Empty if none is near.
std::string nearestOf(const std::string& word, const std::vector<std::string>& vNames) {
    constexpr std::size_t leastBeginning = 3;
    std::string nearest;
    std::size_t fewest = word.size() / 3 + 1;  // one letter in three may be wrong
    for (const std::string& name : vNames) {
        const bool bBeginning = word.size() >= leastBeginning && name.rfind(word, 0) == 0;
        const std::size_t num = bBeginning ? 1 : numEdits(word, name);
        if (num >= fewest + (nearest.empty() ? 1 : 0)) continue;
        fewest = num;
        nearest = name;
    }
    return nearest;
}

std::string cure(const std::string& meant, const std::string& help) {
    return meant.empty() ? "; " + help + " lists them" : "; did you mean " + meant + "?";
}

std::vector<std::string> longNames(const CommandRow& command) {
    std::vector<std::string> vNames;
    for (const OptionRow& option : command.vOptions)
        vNames.insert(vNames.end(), option.vNames.begin(), option.vNames.end());
    return vNames;
}

std::string unknownCommand(const CLI::App& app, const std::string& word) {
    std::vector<std::string> vNames;
    for (const CommandRow& command : tableOf(app)) vNames.push_back(command.name);
    return word + " is no command" + cure(nearestOf(word, vNames), "zef --help");
}

std::string unexpected(const std::string& word, const CommandRow& command, const std::string& name) {
    if (word.size() > 1 && word[0] == '-') {
        const std::string option = word.substr(0, word.find('='));
        return option + " is no option of " + name + cure(nearestOf(option, longNames(command)), name + " --help");
    }
    return word + " is one name too many; " + command.usage() + " is what there is";
}

// The parser's own words, where they are good for people.
std::string ownWords(const CLI::ParseError& error) {
    std::string text = error.what();
    const std::string name = text.substr(0, text.find_first_of(": "));
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error)) return name + " wants a value";
    if (dynamic_cast<const CLI::ExcludesError*>(&error))
        return name + " does not go with " + text.substr(text.rfind(' ') + 1);
    if (dynamic_cast<const CLI::RequiresError*>(&error)) return name + " wants " + text.substr(text.rfind(' ') + 1);
    if (dynamic_cast<const CLI::RequiredError*>(&error)) return name + " is missing";
    constexpr std::string_view convert = "Could not convert: ";
    if (text.rfind(convert, 0) == 0) return text.substr(convert.size()) + " is no whole number";
    return text;
}

}  // namespace

std::string usageText(const CLI::App& app, const CLI::ParseError& error) {
    const std::vector<std::string> vRest = app.remaining(true);
    const std::vector<CLI::App*> vParsed = app.get_subcommands();
    if (vParsed.empty()) {
        if (vRest.empty()) return "there is no command; zef --help lists them";
        return vRest[0][0] == '-' ? unexpected(vRest[0], rowOf(app), "zef") : unknownCommand(app, vRest[0]);
    }
    const CommandRow command = rowOf(*vParsed.front());
    const std::string name = "zef " + command.name;
    // A mistyped option is the reason why something else is missing.
    const auto mistyped = std::find_if(vRest.begin(), vRest.end(),
                                       [](const std::string& word) { return word.size() > 1 && word[0] == '-'; });
    if (mistyped != vRest.end()) return unexpected(*mistyped, command, name);
    if (!vRest.empty() && dynamic_cast<const CLI::ExtrasError*>(&error)) return unexpected(vRest[0], command, name);
    return ownWords(error) + "; see " + name + " --help";
}
