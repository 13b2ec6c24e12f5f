#include "files/inputs.h"

#include <utility>

#include "failures.h"
#include "files/pipes.h"

zef::PointFile readCloud(CommandRun& commandRun, const std::string& path) {
    zef::PointFile file;
    readInput(commandRun, path,
              [&](const std::string& name) { file = zef::readPoints(name, commandRun.getContext()); });
    if (file.points.empty()) throw Failure(path + ": there are no points in it");
    return file;
}

namespace {

template <class T>
void append(std::vector<T>& vAll, std::vector<T>&& vPart) {
    if (vAll.empty()) {
        vAll = std::move(vPart);
    } else {
        vAll.insert(vAll.end(), vPart.begin(), vPart.end());
    }
}

}  // namespace

Scan readScan(CommandRun& commandRun, const std::vector<std::string>& vPaths) {
    Scan scan;
    bool bDisagree = false;
    for (const std::string& path : vPaths) {
        zef::PointFile file = readCloud(commandRun, path);
        if (file.kind != zef::PointFile::Kind::POINTS) {
            commandRun.warn(path + ": holds triangles; only their corners are taken, as points");
        }
        append(scan.points, std::move(file.points));
        append(scan.normals, std::move(file.normals));
        bDisagree |= scan.viewpoint && file.viewpoint && *scan.viewpoint != *file.viewpoint;
        if (file.viewpoint) scan.viewpoint = file.viewpoint;
    }
    if (scan.normals.size() != scan.points.size()) scan.normals = {};
    if (bDisagree) scan.viewpoint.reset();
    return scan;
}
