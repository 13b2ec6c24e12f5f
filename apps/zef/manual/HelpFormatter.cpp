#include "manual/HelpFormatter.h"

#include <algorithm>

#include "manual/CommandTable.h"
#include "manual/statuses.h"

namespace {

constexpr std::size_t columns = 80, firstColumn = 26;

std::string paragraph(const std::string& text) {
    std::string lines;
    for (const std::string& line : wrapped(text, columns)) lines += line + "\n";
    return lines;
}

std::string row(const std::string& name, const std::string& words) {
    std::string lines = "  " + name;
    bool bFirst = lines.size() + 2 <= firstColumn;
    if (!bFirst) lines += "\n";
    for (const std::string& line : wrapped(words, columns - firstColumn)) {
        lines += std::string(firstColumn - (bFirst ? lines.size() : 0), ' ') + line + "\n";
        bFirst = false;
    }
    return lines;
}

std::string toolHelp(const CLI::App& app) {
    std::string text = app.get_description() + "\n\nUsage: zef COMMAND [options] FILES\n\nCommands:\n";
    for (const CommandRow& command : tableOf(app)) text += row(command.name, command.words);
    text += "\nOptions:\n";
    for (const OptionRow& option : rowOf(app).vOptions) text += row(option.text(), option.words);
    text += "\n" + paragraph("zef COMMAND --help tells more of a command. " + statusWords());
    return text;
}

std::string commandHelp(const CommandRow& command, const std::string& footer) {
    std::string text = paragraph(command.words + ".") + "\nUsage: " + command.usage() + "\n\n";
    std::string group;
    for (const OptionRow& option : command.vOptions) {
        if (option.hasDashes() && option.group != group) {
            group = option.group;
            text += "\n" + group + ":\n";
        }
        text += row(option.text(), option.words);
    }
    return footer.empty() ? text : text + "\n" + footer + "\n";
}

}  // namespace

std::string HelpFormatter::make_help(const CLI::App* pApp, std::string /*name*/, CLI::AppFormatMode /*mode*/) const {
    return pApp->get_parent() ? commandHelp(rowOf(*pApp), pApp->get_footer()) : toolHelp(*pApp);
}
