#include "files/bundle.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "failures.h"
#include "files/pipes.h"

namespace fs = std::filesystem;

std::string readBundle() {
    std::error_code ignored;
    const fs::path folder = fs::read_symlink("/proc/self/exe", ignored).parent_path();
    for (const char* const place : {ZEF_BIN_TO_DATA "/zef/page.js", "../../page/page.js"}) {
        std::ifstream in(folder / place, std::ios::binary);
        if (!in) continue;
        return {std::istreambuf_iterator<char>(in), {}};
    }
    throw Failure(
        "the script of the pages is not installed: run scripts/setup.sh, build and install again; --png works without "
        "it");
}

void writePageFile(CommandRun& commandRun, const std::string& path, const zef::ViewScene& scene,
                   const std::string& bundle, const zef::PageOptions& options) {
    commandRun.step("making the page");
    const std::string html = zef::makePage(scene, bundle, options, commandRun.getContext());
    writeOutput(commandRun, path, "html",
                [&](const std::string& name) { zef::writePage(name, html, commandRun.getContext()); });
    commandRun.report.addText("page", "page", path);
    commandRun.report.addBytes("page_bytes", "", html.size());
}

void openInBrowser(CommandRun& commandRun, const std::string& path) {
    std::string program = "xdg-open", file = fs::absolute(path).string();
    std::array<char*, 3> arguments = {program.data(), file.data(), nullptr};
    pid_t pid = 0;
    int status = 0;
    const bool bStarted = posix_spawnp(&pid, program.c_str(), nullptr, nullptr, arguments.data(), environ) == 0;
    if (bStarted && waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0) return;
    commandRun.warn(path + ": no browser could be started; open the file in one");
}
