#include "files/triangles.h"

#include <utility>

#include "failures.h"
#include "files/inputs.h"
#include "numbers.h"

void addSamplingOptions(CLI::App& command, zef::MeltOptions& sampling) {
    command
        .add_option(
            "--spacing", sampling.spacing,
            "Distance of the vertices, in the unit of the file; by default a 200th of its longest side, or more for "
            "very many cells")
        ->check(checkPositive);
    command
        .add_option("--feature-angle", sampling.featureAngle,
                    "Edges stay sharp whose triangles meet at that many degrees or more; 361 for none")
        ->check(checkNumber)
        ->check(CLI::Range(0.0, 361.0))
        ->capture_default_str();
}

std::vector<zef::Point3> cornersOf(zef::PointFile file, const std::string& path) {
    if (file.kind == zef::PointFile::Kind::POINTS) throw Failure(path + ": holds points and no triangles");
    if (file.kind == zef::PointFile::Kind::CORNERS) {
        if (file.points.size() % 3 == 0) return std::move(file.points);
        throw Failure(path + ": " + std::to_string(file.points.size()) +
                      " corners are no multiple of three; a triangle is cut short");
    }
    std::vector<zef::Point3> vCorners;
    vCorners.reserve(file.indices.size());
    for (const std::uint32_t index : file.indices) vCorners.push_back(file.points[index]);
    if (vCorners.empty()) throw Failure(path + ": there are no triangles in it");
    return vCorners;
}

std::vector<zef::Point3> readCorners(CommandRun& commandRun, const std::string& path) {
    return cornersOf(readCloud(commandRun, path), path);
}

zef::MeltOptions chooseSpacing(CommandRun& commandRun, zef::MeltOptions sampling,
                               const std::vector<zef::Point3>& vCorners) {
    if (sampling.spacing <= 0.0) sampling.spacing = zef::defaultMeltSpacing(vCorners);
    if (!(sampling.spacing > 0.0))
        throw Failure("the triangles have no size to take a spacing from; give one with --spacing");
    commandRun.report.addNumber("spacing", "spacing", sampling.spacing);
    return sampling;
}
