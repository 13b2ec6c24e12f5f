#include "options.h"

#include <CLI/Option.hpp>
#include <algorithm>
#include <cstdint>
#include <span>

#include "failures.h"
#include "numbers.h"
#include "recipes.h"
#include "zef/files.h"

namespace {

// The title that options which are added from now on stand below.
void setGroup(CLI::App& command, const char* name = "Options") {
    command.option_defaults()->group(name);
}

// As many as there is room for, apart by commas.
bool parseNumbers(const std::string& text, std::span<double> numbers) {
    std::size_t start = 0;
    for (double& value : numbers) {
        if (start > text.size()) return false;
        const std::size_t end = std::min(text.find(',', start), text.size());
        if (!parseNumber(text.substr(start, end - start), value)) return false;
        start = end + 1;
    }
    return start == text.size() + 1;
}

bool parseBox(const std::string& text, zef::ReadOptions& reading) {
    std::array<double, 6> box{};
    if (!parseNumbers(text, box)) return false;
    reading.box = {zef::Point3(box[0], box[1], box[2]), zef::Point3(box[3], box[4], box[5])};
    return box[0] <= box[3] && box[1] <= box[4] && box[2] <= box[5];
}

void addClasses(CLI::App& command, const char* name, std::vector<std::uint8_t>& vClasses, const char* words) {
    command
        .add_option_function<std::vector<unsigned>>(
            name, [&vClasses](const std::vector<unsigned>& v) { vClasses.assign(v.begin(), v.end()); }, words)
        ->delimiter(',')
        ->expected(1)
        ->type_name("CLASS,...")
        ->check(CLI::Range(0u, 255u));
}

std::string checkInputFormat(const std::string& text) {
    const zef::FileFormat format = zef::formatOf("-." + text);
    return format.readsPoints || format.readsMeshes ? ""
                                                    : text + " is no format that can be read; zef formats lists them";
}

std::string checkShift(const std::string& text) {
    std::array<double, 3> shift;
    return text == "auto" || parseThree(text, shift) ? "" : "--shift wants three numbers or the word auto";
}

}  // namespace

void addReadOptions(CLI::App& command, zef::ReadOptions& reading) {
    setGroup(command, "Input");
    addClasses(command, "--keep-class", reading.keepClasses,
               "Only points of these classes of LAS: 2,6 is ground and buildings");
    addClasses(command, "--drop-class", reading.dropClasses, "No points of these classes: 7,18 is noise");
    command
        .add_option_function<std::string>(
            "--box", [&reading](const std::string& text) { parseBox(text, reading); },
            "Only points between these lowest and highest coordinates")
        ->type_name("x,y,z,x,y,z")
        ->check([](const std::string& text) {
            zef::ReadOptions ignored;
            return parseBox(text, ignored) ? "" : "--box wants six numbers: the lowest x,y,z and the highest x,y,z";
        });
    command.add_option("--every", reading.every, "Only one of so many points")->check(CLI::Range(1u, 1u << 30));
    command
        .add_option("--grid", reading.grid,
                    "One point for each cell of a grid with this side, the mean of those in it, also of files that are "
                    "larger than memory")
        ->check(checkPositive);
    command.add_option("--scan", reading.scan, "Only this scan of a file that holds several, the first is 0");
    command
        .add_option("--columns", reading.columns,
                    "What the columns of text are, such as x,y,z,i,r,g,b; other names are skipped")
        ->type_name("NAME,...");
    command.add_flag("--partial", reading.partial, "Take what can be read of a damaged file");
    setGroup(command);
}

void addAnywayOption(CLI::App& command, bool& bAnyway) {
    command.add_flag("--anyway", bAnyway, "Begin even if more memory will be needed than is free");
}

void addTalkOptions(CLI::App& command, TalkOptions& talk) {
    setGroup(command, sharedGroup);
    command.get_help_ptr()->group(sharedGroup);
    command
        .add_option("--format", talk.inputFormat,
                    "What comes from standard input, which is the file named -, or from other pipes, as an ending: ply")
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
    command.add_option("-o,--output", output.path, words())->type_name("FILE")->required(name == OutputName::REQUIRED);
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
    command.add_flag("--normals", output.bNormals,
                     "With normals: of a mesh those of its vertices (PLY, OBJ, glTF), of points those that were read "
                     "(PLY, text)");
    command
        .add_option("--shift", output.shift,
                    "Subtract x y z from all coordinates, or an offset near their middle (auto)")
        ->type_name("x y z|auto")
        ->check(checkShift);
    setGroup(command);
}

void takeLastAsOutput(std::vector<std::string>& vInputs, OutputOptions& output) {
    if (!output.path.empty()) return;
    if (vInputs.size() < 2) throw UsageFailure("there is no file to write: name it last, or with -o");
    output.path = vInputs.back();
    vInputs.pop_back();
}

bool parseThree(const std::string& text, std::array<double, 3>& numbers) {
    return parseNumbers(text, numbers);
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
