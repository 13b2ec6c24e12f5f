#include "inputs.h"

#include <utility>

#include "failures.h"

zef::CloudFile readCloud(CommandRun& commandRun, const std::string& path) {
    commandRun.step("reading " + path);
    zef::CloudFile file;
    if (!zef::loadCloud(path, file)) throw Failure(file.error);
    for (const std::string& note : file.vNotes) commandRun.warn(path + ": " + note);
    if (file.vPoints.empty()) throw Failure(path + ": there are no points in it");
    return file;
}

std::vector<zef::Point3> readPoints(CommandRun& commandRun, const std::vector<std::string>& vPaths) {
    std::vector<zef::Point3> vPoints;
    for (const std::string& path : vPaths) {
        zef::CloudFile file = readCloud(commandRun, path);
        if (file.kind != zef::CloudFile::Kind::POINTS) {
            commandRun.warn(path + ": holds triangles; only their corners are taken, as points");
        }
        if (vPoints.empty()) {
            vPoints = std::move(file.vPoints);
        } else {
            vPoints.insert(vPoints.end(), file.vPoints.begin(), file.vPoints.end());
        }
    }
    return vPoints;
}
