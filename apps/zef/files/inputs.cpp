#include "files/inputs.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "failures.h"
#include "files/pipes.h"

namespace fs = std::filesystem;

namespace {

// By name, so that the order of points does not depend on the disk.
std::vector<std::string> filesIn(const std::string& folder) {
    std::vector<std::string> vFiles;
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error))
        if (it->is_regular_file(error) && zef::formatOf(it->path()).readsPoints) vFiles.push_back(it->path().string());
    if (error) throw Failure(folder + ": " + error.message());
    if (vFiles.empty()) throw Failure(folder + ": no file in this folder has an ending that can be read");
    std::sort(vFiles.begin(), vFiles.end());
    return vFiles;
}

std::string namesOf(const std::vector<std::string>& vPaths) {
    return vPaths.size() == 1 ? vPaths.front() : std::to_string(vPaths.size()) + " files";
}

void requirePoints(const zef::PointFile& file, const std::vector<std::string>& vPaths) {
    if (!file.points.empty()) return;
    if (file.numNotTaken > 0)
        throw Failure(namesOf(vPaths) + ": the options leave none of the " + std::to_string(file.numNotTaken) +
                      " points; zef info tells their box and classes");
    throw Failure(namesOf(vPaths) + ": there are no points in " + (vPaths.size() == 1 ? "it" : "them"));
}

zef::PointFile readAll(CommandRun& commandRun, const std::vector<std::string>& vPaths,
                       const zef::ReadOptions& options) {
    zef::PointFile file;
    readInputs(commandRun, vPaths, [&](const std::vector<std::string>& vNames) {
        const std::vector<fs::path> vFiles(vNames.begin(), vNames.end());
        file = zef::readPoints(vFiles, options, commandRun.getContext());
    });
    requirePoints(file, vPaths);
    return file;
}

}  // namespace

std::vector<std::string> filesOf(const std::vector<std::string>& vPaths) {
    std::vector<std::string> vFiles;
    for (const std::string& path : vPaths) {
        std::error_code ignored;
        if (isPipe(path) || !fs::is_directory(path, ignored)) {
            vFiles.push_back(path);
        } else {
            for (std::string& file : filesIn(path)) vFiles.push_back(std::move(file));
        }
    }
    return vFiles;
}

zef::PointFile readCloud(CommandRun& commandRun, const std::string& path, const zef::ReadOptions& options) {
    return readAll(commandRun, {path}, options);
}

zef::PointFile readFiles(CommandRun& commandRun, const std::vector<std::string>& vPaths,
                         const zef::ReadOptions& options) {
    return readAll(commandRun, filesOf(vPaths), options);
}

zef::PointFile readScan(CommandRun& commandRun, const std::vector<std::string>& vPaths,
                        const zef::ReadOptions& options) {
    zef::PointFile scan = readFiles(commandRun, vPaths, options);
    if (scan.kind != zef::PointFile::Kind::POINTS)
        commandRun.warn(vPaths.front() + ": holds triangles; only their corners are taken, as points");
    return scan;
}
