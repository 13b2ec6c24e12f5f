#include "inputs.h"

#include <utility>

#include "failures.h"

zef::CloudFile readCloud(Session& session, const std::string& path) {
    session.step("reading " + path);
    zef::CloudFile file;
    if (!zef::loadCloud(path, file)) throw Failure(file.error);
    for (const std::string& note : file.vNotes) session.warn(path + ": " + note);
    if (file.vPoints.empty()) throw Failure(path + ": there are no points in it");
    return file;
}

std::vector<zef::Point3> readPoints(Session& session, const std::vector<std::string>& vPaths) {
    std::vector<zef::Point3> vPoints;
    for (const std::string& path : vPaths) {
        zef::CloudFile file = readCloud(session, path);
        if (file.kind != zef::CloudFile::Kind::POINTS) {
            session.warn(path + ": holds triangles; only their corners are taken, as points");
        }
        if (vPoints.empty()) {
            vPoints = std::move(file.vPoints);
        } else {
            vPoints.insert(vPoints.end(), file.vPoints.begin(), file.vPoints.end());
        }
    }
    return vPoints;
}
