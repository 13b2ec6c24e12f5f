#include "files/pipes.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string_view>

#include "Interrupt.h"
#include "failures.h"
#include "zef/errors.h"

namespace fs = std::filesystem;

namespace {

// Made when it is asked for, removed with all that is in it.
class PipeFolder {
public:
    PipeFolder() {
        std::string name = (fs::temp_directory_path() / "zef-XXXXXX").string();
        if (!mkdtemp(name.data()))
            throw Failure(name + ": no temporary folder could be made; set TMPDIR to another place");
        path = name;
        std::signal(SIGPIPE, SIG_IGN);  // or nobody would remove it
    }
    ~PipeFolder() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
    PipeFolder(const PipeFolder&) = delete;
    PipeFolder& operator=(const PipeFolder&) = delete;

    std::string file(const std::string& name) const {
        std::string whole = (path / name).string();
        removeWhenInterrupted(whole, path.string());
        return whole;
    }

private:
    fs::path path;
};

const PipeFolder& pipeFolder() {
    static const PipeFolder folder;
    return folder;
}

bool copy(std::FILE* pFrom, std::FILE* pTo) {
    std::array<char, 1 << 16> block;
    for (std::size_t num; (num = std::fread(block.data(), 1, block.size(), pFrom)) > 0;)
        if (std::fwrite(block.data(), 1, num, pTo) != num) return false;
    return !std::ferror(pFrom) && std::fflush(pTo) == 0;
}

// Standard input can be read once only.
std::string storedInput(const std::string& format) {
    static std::string stored;
    if (!stored.empty()) return stored;
    if (isatty(STDIN_FILENO)) throw Failure("standard input is a terminal; send a file into it, or name one");
    const std::string file = pipeFolder().file("input." + format);
    std::FILE* const pFile = std::fopen(file.c_str(), "wb");
    const bool bCopied = pFile && copy(stdin, pFile);
    const bool bClosed = pFile && std::fclose(pFile) == 0;
    if (!bCopied || !bClosed)
        throw Failure("standard input could not be stored in " + file + "; set TMPDIR to a place with more room");
    stored = file;
    return stored;
}

// A pipe with a name that has no ending, as <(...) of a shell.
std::string linkWithEnding(const std::string& path, const std::string& format) {
    static int numLinks = 0;
    std::string link = pipeFolder().file("pipe" + std::to_string(numLinks++) + "." + format);
    fs::create_symlink(fs::absolute(path), link);
    return link;
}

std::string renamed(std::string text, const std::string& file, const std::string& name) {
    for (std::size_t at = text.find(file); at != std::string::npos; at = text.find(file, at + name.size()))
        text.replace(at, file.size(), name);
    return text;
}

}  // namespace

bool isPipe(const std::string& path) {
    return path == "-";
}

std::string nameOfFormat(const std::string& path, const std::string& format) {
    return isPipe(path) ? "-." + format : path;
}

namespace {

std::string storedIfPipe(const CommandRun& commandRun, const std::string& path) {
    std::error_code ignored;
    if (!isPipe(path) && !fs::exists(path, ignored))
        throw Failure(path + ": there is no such file; check its name and folder");
    if (!isPipe(path) && fs::is_fifo(path, ignored) && !commandRun.inputFormat.empty())
        return linkWithEnding(path, commandRun.inputFormat);
    if (!isPipe(path)) return path;
    if (commandRun.inputFormat.empty())
        throw UsageFailure("standard input has no ending: tell its format, as --format ply");
    return storedInput(commandRun.inputFormat);
}

}  // namespace

void readInputs(CommandRun& commandRun, const std::vector<std::string>& vPaths,
                const std::function<void(const std::vector<std::string>&)>& read) {
    const bool bOne = vPaths.size() == 1;
    const std::string what = bOne ? vPaths.front() : std::to_string(vPaths.size()) + " files";
    commandRun.step("reading " + (bOne && isPipe(what) ? "standard input" : what));
    std::vector<std::string> vFiles;
    vFiles.reserve(vPaths.size());
    for (const std::string& path : vPaths) vFiles.push_back(storedIfPipe(commandRun, path));
    try {
        read(vFiles);
    } catch (const zef::FileError& error) {
        std::string text = error.what();
        for (std::size_t i = 0; i < vFiles.size(); ++i)
            text = renamed(text, vFiles[i], isPipe(vPaths[i]) ? "standard input" : vPaths[i]);
        throw Failure(text);
    }
}

void writeOutput(CommandRun& commandRun, const std::string& path, const std::string& format,
                 const std::function<void(const std::string&)>& write) {
    commandRun.stepWriting(isPipe(path) ? "standard output" : path);
    if (!isPipe(path)) return write(path);
    const std::string file = pipeFolder().file("output." + format);
    write(file);
    commandRun.report.useStandardError();
    std::FILE* const pFile = std::fopen(file.c_str(), "rb");
    const bool bSent = pFile && copy(pFile, stdout);
    if (pFile) std::fclose(pFile);
    if (!bSent) throw Failure("standard output: could not be written to the end; what reads it may have ended");
}
