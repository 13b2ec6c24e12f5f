#include "options.h"

#include <CLI/Option.hpp>
#include <algorithm>

#include "numbers.h"
#include "recipes.h"
#include "zef/files.h"

namespace {

// The title that options which are added from now on stand below.
void setGroup(CLI::App& command, const char* name = "Options") {
    command.option_defaults()->group(name);
}

std::string checkInputFormat(const std::string& text) {
    const zef::FileFormat format = zef::formatOf("-." + text);
    return format.readsPoints || format.readsMeshes
               ? ""
               : text + " is no format that can be read; use ply, stl, obj, off or xyz";
}

std::string checkShift(const std::string& text) {
    std::array<double, 3> shift;
    return text == "auto" || parseThree(text, shift) ? "" : "--shift wants three numbers or the word auto";
}

}  // namespace

void addTalkOptions(CLI::App& command, TalkOptions& talk) {
    setGroup(command, sharedGroup);
    command.get_help_ptr()->group(sharedGroup);
    command
        .add_option("--format", talk.inputFormat,
                    "What comes from standard input, which is the file named -, as an ending: ply")
        ->type_name("ENDING")
        ->check(checkInputFormat);
    command.add_flag("-q,--quiet", talk.bQuiet, "No progress bar and no messages but errors");
    command.add_flag("--verbose", talk.bVerbose, "Also what only developers of the library understand");
    command.add_flag("--json", talk.bJson, "The report as one JSON object, on the last line of standard output");
    command
        .add_option("--threads", talk.numThreads,
                    "Threads to run on, by default as many as the machine has; results do not depend on it")
        ->check(CLI::Range(1u, 1024u));
    setGroup(command);
}

void addOutputOptions(CLI::App& command, OutputOptions& output, OutputName name) {
    setGroup(command, "Output");
    const auto words = [name] {
        if (name == OutputName::OPTIONAL)
            return "The file to write, NAME.mesh.ply beside the first input NAME.* if it is not given";
        return name == OutputName::COLOURED ? "Write the first with the distances as colours" : "The file to write";
    };
    command.add_option(name == OutputName::POSITIONAL ? "-o,--output,OUT" : "-o,--output", output.path, words())
        ->type_name("FILE")
        ->required(name == OutputName::REQUIRED || name == OutputName::POSITIONAL);
    command
        .add_option("--output-format", output.format,
                    "What goes to standard output, which is the file named -, as an ending")
        ->type_name("ENDING")
        ->capture_default_str();
    command.add_flag("--force", output.bForce, "Replace an output of any kind, also one that is an input");
    CLI::Option* const pDouble = command.add_flag(
        "--double", output.bDouble,
        "Coordinates in double precision (PLY, OBJ, OFF and points); by default where single precision would lose more "
        "than a thousandth of the spacing, while STL and glTF get a shift then");
    command.add_flag("--single", output.bSingle, "Coordinates in single precision, whatever is lost")
        ->excludes(pDouble);
    command
        .add_option("--shift", output.shift,
                    "Subtract x y z from all coordinates, or an offset near their middle (auto)")
        ->type_name("x y z|auto")
        ->check(checkShift);
    setGroup(command);
}

bool parseThree(const std::string& text, std::array<double, 3>& numbers) {
    std::size_t start = 0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (start > text.size()) return false;
        const std::size_t end = std::min(text.find(',', start), text.size());
        const std::string number = text.substr(start, end - start);
        if (!parseNumber(number, numbers[axis])) return false;
        start = end + 1;
    }
    return start == text.size() + 1;
}

std::vector<std::string> reversedArguments(int argc, const char* const* argv) {
    std::vector<std::string> vArguments(argv + 1, argv + std::max(argc, 1));
    for (std::size_t i = 0; i + 3 < vArguments.size(); ++i) {
        if (vArguments[i] != "--shift" && vArguments[i] != "--viewpoint") continue;
        const std::string joined = vArguments[i + 1] + "," + vArguments[i + 2] + "," + vArguments[i + 3];
        std::array<double, 3> numbers;
        if (!parseThree(joined, numbers)) continue;
        vArguments[i + 1] = joined;
        const auto second = vArguments.begin() + static_cast<std::ptrdiff_t>(i) + 2;
        vArguments.erase(second, second + 2);
    }
    if (!vArguments.empty()) vArguments = withRecipe(std::move(vArguments));
    std::reverse(vArguments.begin(), vArguments.end());
    return vArguments;
}
