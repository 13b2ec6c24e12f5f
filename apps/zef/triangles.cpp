#include "triangles.h"

#include <utility>

#include "failures.h"
#include "inputs.h"
#include "numbers.h"

namespace {

// Some 100,000 triangles for a body that fills its box: seconds, and detail enough to judge by.
constexpr double cellsPerBox = 200.0;

}  // namespace

void addSamplingOptions(CLI::App& command, SamplingOptions& sampling) {
    command
        .add_option("--spacing", sampling.spacing,
                    "Distance of the vertices, in the unit of the file; by default a 200th of its longest side")
        ->check(checkNumber)
        ->check(CLI::PositiveNumber);
    command
        .add_option("--feature-angle", sampling.featureAngle,
                    "Edges stay sharp whose triangles meet at that many degrees or more; 361 for none")
        ->check(checkNumber)
        ->check(CLI::Range(0.0, 361.0))
        ->capture_default_str();
}

std::vector<zef::Point3> cornersOf(zef::CloudFile file, const std::string& path) {
    if (file.kind == zef::CloudFile::Kind::POINTS) throw Failure(path + ": holds points and no triangles");
    if (file.kind == zef::CloudFile::Kind::CORNERS) {
        if (file.vPoints.size() % 3 == 0) return std::move(file.vPoints);
        throw Failure(path + ": " + std::to_string(file.vPoints.size()) +
                      " corners are no multiple of three; a triangle is cut short");
    }
    std::vector<zef::Point3> vCorners;
    vCorners.reserve(3 * file.vTriangles.size());
    for (const zef::CloudFile::Triangle& triangle : file.vTriangles) {
        for (const std::uint32_t index : triangle) vCorners.push_back(file.vPoints[index]);
    }
    if (vCorners.empty()) throw Failure(path + ": there are no triangles in it");
    return vCorners;
}

std::vector<zef::Point3> readCorners(CommandRun& commandRun, const std::string& path) {
    return cornersOf(readCloud(commandRun, path), path);
}

double chooseSpacing(CommandRun& commandRun, const SamplingOptions& sampling, const Box& box) {
    const bool bGiven = sampling.spacing > 0.0;
    const double spacing = bGiven ? sampling.spacing : box.longestSide() / cellsPerBox;
    if (!(spacing > 0.0)) throw Failure("the triangles have no size to take a spacing from; give one with --spacing");
    commandRun.report.addNumber("spacing", "spacing", spacing);
    return spacing;
}
