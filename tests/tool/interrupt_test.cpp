#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "tool/toolRun.h"

using zef_test::TempFolder;

namespace {

struct Ending {
    int status = -1;
    std::string shown;  // what a terminal got to see
    bool bInterrupted = false;
};

[[noreturn]] void beTool(const std::string& in, const std::string& out) {
    if (!std::freopen("/dev/null", "w", stdout)) _exit(127);
    execl(ZEF_TOOL, ZEF_TOOL, "reconstruct", in.c_str(), "-o", out.c_str(), "--grow", "0", static_cast<char*>(nullptr));
    _exit(127);
}

// Runs the tool in a terminal and interrupts it as soon as that shows the mark.
Ending interruptAt(const std::string& mark, const std::string& in, const std::string& out, bool bIgnored = false) {
    Ending ending;
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) std::signal(SIGINT, bIgnored ? SIG_IGN : SIG_DFL);  // a shell's background jobs ignore it
    if (child == 0) beTool(in, out);
    if (child < 0) return ending;
    char bytes[4096];
    // Reading from a terminal that nobody has open any more is an error.
    for (ssize_t num; (num = read(terminal, bytes, sizeof bytes)) > 0;) {
        ending.shown.append(bytes, static_cast<std::size_t>(num));
        if (ending.bInterrupted || ending.shown.find(mark) == std::string::npos) continue;
        kill(child, SIGINT);
        ending.bInterrupted = true;
    }
    int status = 0;
    waitpid(child, &status, 0);
    close(terminal);
    ending.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return ending;
}

}  // namespace

// Whenever it comes: either the whole new file or what stood there, and nothing beside it.
TEST(ToolInterrupt, leavesTheOldFileOrWritesTheWholeNewOne) {
    const TempFolder folder;
    const std::string old = "ply\n";
    // Large enough that no moment is over before the signal comes.
    const std::string in = folder.put("sheet.xyz", zef_test::sheetText(400, 0.01));
    for (const std::string mark : {"reading", "reconstructing", " % ", "counting", "writing"}) {
        const std::string out = folder.put("mesh.ply", old);
        const Ending ending = interruptAt(mark, in, out);
        ASSERT_TRUE(ending.bInterrupted) << mark << ": " << ending.shown;
        const bool bSaid = ending.shown.find("zef: cancelled, nothing was written") != std::string::npos;
        EXPECT_EQ(ending.status, bSaid ? 130 : 0) << mark << ": " << ending.shown;
        EXPECT_EQ(folder.get("mesh.ply") == old, bSaid) << mark;
        EXPECT_EQ(folder.numFiles(), 2u) << mark;
        if (mark == "reading" || mark == "reconstructing") {
            EXPECT_TRUE(bSaid) << ending.shown;
        }
    }
    EXPECT_EQ(interruptAt("reconstructing", in, folder.name("mesh.ply"), true).status, 0) << "the parent ignores it";
}
