#include <gtest/gtest.h>
#include <sys/stat.h>

#include <sstream>

#include "tool/toolRun.h"

using zef_test::quoted;
using zef_test::runTool;
using zef_test::TempFolder;
using zef_test::ToolRun;

namespace {

std::vector<std::string> commandNames() {
    std::vector<std::string> vNames;
    std::istringstream lines(runTool("--help").out);
    bool bCommands = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) bCommands = false;
        if (bCommands && line[2] != ' ') vNames.push_back(line.substr(2, line.find(' ', 2) - 2));
        if (line == "Commands:") bCommands = true;
    }
    return vNames;
}

// What bash offers for a line, of which the last word is not complete.
std::string completed(const std::string& script, const std::string& words) {
    const TempFolder folder;
    const std::string out = folder.name("out");
    const std::string line =
        "bash -c 'source \"$1\"; shift; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); _zef; echo "
        "${COMPREPLY[*]}' bash " +
        quoted(script) + " " + words + " >" + quoted(out);
    EXPECT_EQ(std::system(line.c_str()), 0);
    return zef_test::contentOf(out);
}

}  // namespace

TEST(ToolUsage, whatIsMistypedIsGuessed) {
    for (const auto& [arguments, text] :
         {std::pair("recnostruct a.ply", "zef: recnostruct is no command; did you mean reconstruct?\n"),
          {"frobnicate", "zef: frobnicate is no command; zef --help lists them\n"},
          {"", "zef: there is no command; zef --help lists them\n"},
          {"reconstruct --facotr 2", "zef: --facotr is no option of zef reconstruct; did you mean --factor?\n"},
          {"info a --frobnicate=1", "zef: --frobnicate is no option of zef info; zef info --help lists them\n"},
          {"reconstruct a --grow -1", "zef: --grow: -1 is no whole number of 0 or more; see zef reconstruct --help\n"},
          {"info a b", "zef: b is one name too many; zef info [options] IN is what there is\n"}}) {
        const ToolRun run = runTool(arguments);
        EXPECT_EQ(run.status, 2) << arguments;
        EXPECT_EQ(run.err, text);
    }
}

TEST(ToolManual, everyCommandHasExamplesWhoseOptionsItHas) {
    const std::string page = runTool("generate man").out;
    EXPECT_GE(commandNames().size(), 16u);
    for (const std::string& name : commandNames()) {
        const std::string help = runTool(name + " --help").out;
        const std::size_t examples = help.find("\nExamples:\n");
        ASSERT_NE(examples, std::string::npos) << name;
        EXPECT_NE(page.find(".SS \"zef " + name + " "), std::string::npos) << name;
        std::istringstream words(help.substr(examples));
        for (std::string word; words >> word;) {
            if (word.rfind("--", 0) != 0) continue;
            EXPECT_LT(help.find(word + " "), examples) << name << ": " << word;
        }
    }
}

TEST(ToolManual, bashCompletesCommandsOptionsAndChoices) {
    const TempFolder folder;
    const std::string script = folder.put("zef", runTool("generate bash").out);
    EXPECT_EQ(completed(script, "zef spa"), "spacing\n");
    EXPECT_EQ(completed(script, "zef reduce --max-"), "--max-length --max-turn\n");
    EXPECT_EQ(completed(script, "zef reconstruct --refit ''"), "off auto\n");
    EXPECT_EQ(completed(script, "zef info " + quoted(script.substr(0, script.size() - 1))), script + "\n");
}

TEST(ToolPipes, carryTheBytesOfFilesAndSendTheReportAside) {
    const TempFolder folder;
    const std::string in = quoted(folder.put("in.xyz", zef_test::sheetText(40, 0.1)));
    const std::string out = folder.name("out.ply");
    ASSERT_EQ(runTool("reconstruct " + in + " -o " + quoted(out)).status, 0);
    const ToolRun piped = runTool("reconstruct - --format xyz --json <" + in);
    EXPECT_EQ(piped.status, 0) << piped.err;
    EXPECT_EQ(piped.out, zef_test::contentOf(out));
    EXPECT_NE(piped.err.find("\"output\":\"-\""), std::string::npos) << piped.err;
    EXPECT_EQ(runTool("convert - - --format xyz --output-format csv <" + in).out.rfind("0,0,0\n", 0), 0u);
    const std::string pipe = folder.name("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const ToolRun named =
        runTool("info --format xyz " + quoted(pipe) + " >/dev/null & cat " + in + " >" + quoted(pipe) + "; wait $!");
    EXPECT_EQ(named.status, 0) << named.err;
    EXPECT_EQ(runTool("info - <" + in).status, 2) << "without a format";
    const ToolRun broken = runTool("info - --format ply <" + in);
    EXPECT_EQ(broken.status, 1);
    EXPECT_EQ(broken.err.rfind("zef: standard input: ", 0), 0u) << broken.err;
    EXPECT_EQ(runTool("convert - - --format xyz <" + in + " 2>/dev/null >/dev/full; exit $?; true").status, 1);
}
