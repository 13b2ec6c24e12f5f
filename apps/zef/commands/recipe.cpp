#include "recipes.h"

#include "commands/commands.h"
#include "failures.h"
#include "options.h"

namespace {

struct RecipeChoices {
    std::string name;
    TalkOptions talk;
};

int runRecipe(const RecipeChoices& options, CommandRun& commandRun) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Recipe& recipe : recipes()) {
        if (!options.name.empty() && recipe.name != options.name) continue;
        list.push_back({{"name", recipe.name}, {"words", recipe.words}, {"options", recipe.vOptions}});
        commandRun.report.addText("", recipe.name, recipe.words);
        commandRun.report.addText("", " ", recipe.line());
    }
    commandRun.report.add("recipes", "", std::move(list), "");
    if (!options.name.empty()) commandRun.report.setAnswer(findRecipe(options.name)->line());
    return EXIT_DONE;
}

}  // namespace

void addRecipe(Commands& commands) {
    auto pOptions = std::make_shared<RecipeChoices>();
    CLI::App& command =
        *commands.app.add_subcommand("recipe", "List settings of reconstruct for common jobs, or print those of one");
    command.add_option("NAME", pOptions->name, "Print its options alone")->type_name(recipeNames())->check(checkRecipe);
    addTalkOptions(command, pOptions->talk);
    addExamples(command,
                {{"zef recipe", "What there is."}, {"zef recipe print", "The options of that one, in a line."}});
    onRun(commands, command, pOptions, runRecipe);
}
