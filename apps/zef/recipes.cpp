#include "recipes.h"

#include <algorithm>

const std::vector<Recipe>& recipes() {
    static const std::vector<Recipe> table = {
        {"scan",
         "A scan of an object: the defaults",
         {"--factor", "1.3", "--grow", "20", "--levels", "4", "--min-piece", "30", "--refit", "auto"}},
        {"terrain",
         "Ground from the air: gaps below trees and houses close, loose leaves and birds go",
         {"--factor", "1.5", "--grow", "40", "--levels", "6", "--min-piece", "300", "--refit", "auto"}},
        {"interior",
         "Rooms from within: walls far away and near, borders stay open",
         {"--factor", "1.3", "--grow", "20", "--levels", "6", "--min-piece", "100", "--refit", "auto"}},
        {"cad",
         "Machined parts, evenly scanned: sharp edges, no small pieces",
         {"--factor", "1.3", "--grow", "20", "--levels", "0", "--min-piece", "200", "--refit", "auto", "--flip"}},
        {"print",
         "A body to print: closed, without triangles that intersect, and checked",
         {"--factor", "1.5", "--grow", "200", "--levels", "4", "--min-piece", "1000", "--refit", "auto", "--closed"}},
        {"web",
         "A light model for web pages: at most 100,000 triangles, as .glb",
         {"--factor", "1.3", "--grow", "20", "--levels", "4", "--min-piece", "100", "--refit", "auto", "--reduce",
          "100000"},
         ".mesh.glb"}};
    return table;
}

std::string Recipe::line() const {
    std::string text;
    for (const std::string& word : vOptions) text.append(text.empty() ? "" : " ").append(word);
    return text;
}

const Recipe* findRecipe(const std::string& name) {
    const auto it = std::find_if(recipes().begin(), recipes().end(), [&](const Recipe& r) { return r.name == name; });
    return it == recipes().end() ? nullptr : &*it;
}

std::string recipeNames() {
    std::string names;
    for (const Recipe& recipe : recipes()) names.append(names.empty() ? "" : "|").append(recipe.name);
    return names;
}

std::string checkRecipe(const std::string& name) {
    return findRecipe(name) ? "" : name + " is none of the recipes " + recipeNames();
}

namespace {

bool isOption(const std::string& word) {
    return word.rfind("--", 0) == 0;
}

std::string nameOf(const std::string& word) {
    return word.substr(0, word.find('='));
}

bool isSet(const std::string& option, const std::vector<std::string>& vArguments) {
    const auto sets = [&](const std::string& word) {
        const std::string name = nameOf(word);
        return name == option || (name == "--spacing" && option == "--factor");
    };
    return std::any_of(vArguments.begin(), vArguments.end(), sets);
}

std::string namedRecipe(const std::vector<std::string>& vArguments) {
    for (std::size_t i = 0; i < vArguments.size(); ++i) {
        if (nameOf(vArguments[i]) != "--recipe") continue;
        const std::size_t equals = vArguments[i].find('=');
        if (equals != std::string::npos) return vArguments[i].substr(equals + 1);
        if (i + 1 < vArguments.size()) return vArguments[i + 1];
    }
    return "";
}

}  // namespace

std::vector<std::string> withRecipe(std::vector<std::string> vArguments) {
    const Recipe* const pRecipe = findRecipe(namedRecipe(vArguments));
    if (!pRecipe || vArguments.front() != "reconstruct") return vArguments;
    const std::vector<std::string> vOwn = vArguments;
    bool bTaken = false;
    for (const std::string& word : pRecipe->vOptions) {
        if (isOption(word)) bTaken = !isSet(word, vOwn);
        if (bTaken) vArguments.push_back(word);
    }
    return vArguments;
}
