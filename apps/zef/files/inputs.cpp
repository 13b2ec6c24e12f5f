#include "files/inputs.h"

#include <utility>

#include "failures.h"

zef::PointFile readCloud(CommandRun& commandRun, const std::string& path) {
    commandRun.step("reading " + path);
    zef::PointFile file = zef::readPoints(path, commandRun.getContext());
    if (file.points.empty()) throw Failure(path + ": there are no points in it");
    return file;
}

std::vector<zef::Point3> readPoints(CommandRun& commandRun, const std::vector<std::string>& vPaths) {
    std::vector<zef::Point3> vPoints;
    for (const std::string& path : vPaths) {
        zef::PointFile file = readCloud(commandRun, path);
        if (file.kind != zef::PointFile::Kind::POINTS) {
            commandRun.warn(path + ": holds triangles; only their corners are taken, as points");
        }
        if (vPoints.empty()) {
            vPoints = std::move(file.points);
        } else {
            vPoints.insert(vPoints.end(), file.points.begin(), file.points.end());
        }
    }
    return vPoints;
}
