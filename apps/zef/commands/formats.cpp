#include "commands/commands.h"
#include "failures.h"
#include "options.h"
#include "zef/files.h"

namespace {

struct FormatsOptions {
    TalkOptions talk;
};

std::string joined(const std::vector<std::string>& vWords) {
    std::string text;
    for (const std::string& word : vWords) text.append(text.empty() ? "" : " ").append(word);
    return text;
}

std::string whatOf(bool bPoints, bool bMeshes) {
    if (bPoints && bMeshes) return "points and meshes";
    if (bPoints) return "points";
    return bMeshes ? "meshes" : "nothing";
}

int runFormats(const FormatsOptions&, CommandRun& commandRun) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const zef::FormatInfo& format : zef::fileFormats()) {
        const std::string reads = whatOf(format.readsPoints, format.readsMeshes);
        const std::string writes = whatOf(format.writesPoints, format.writesMeshes);
        list.push_back({{"name", format.name},
                        {"endings", format.endings},
                        {"reads", reads},
                        {"writes", writes},
                        {"keeps", format.keeps}});
        commandRun.report.addText("", format.name, joined(format.endings));
        std::string words = "reads ";
        words.append(reads).append(", writes ").append(writes).append("; keeps ").append(format.keeps);
        commandRun.report.addText("", " ", words);
    }
    commandRun.report.add("formats", "", std::move(list), "");
    return EXIT_DONE;
}

}  // namespace

void addFormats(Commands& commands) {
    auto pOptions = std::make_shared<FormatsOptions>();
    CLI::App& command = *commands.app.add_subcommand("formats", "List the formats of files, and what they keep");
    addTalkOptions(command, pOptions->talk);
    addExamples(command, {{"zef formats", "What can be read and written."}});
    onRun(commands, command, pOptions, runFormats);
}
