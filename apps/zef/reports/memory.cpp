#include "reports/memory.h"

#include <algorithm>
#include <cmath>

#include "failures.h"
#include "reports/resources.h"

namespace {

constexpr double ownBytes = 20e6, perPoint = 90.0;
constexpr double cellsPerPoint = 0.65;  // for a factor of 1

double bytesPerCell(bool bUneven) {
    return bUneven ? 1600.0 : 950.0;
}

// The factor with which so many bytes are enough; 0 if none is large enough.
double factorFor(double numPoints, double bytes, bool bUneven) {
    const double left = bytes - ownBytes - perPoint * numPoints;
    return left > 0.0 ? std::sqrt(bytesPerCell(bUneven) * cellsPerPoint * numPoints / left) : 0.0;
}

// To one digit behind the point.
std::string roundedUp(double value) {
    return numberText(std::ceil(10.0 * value) / 10.0);
}

std::string cureOf(double numPoints, double bytes, double spacing, const zef::ReconstructOptions& options,
                   bool bUneven) {
    const double factor = factorFor(numPoints, bytes, bUneven);
    if (!(factor > 0.0)) return "try zef tiles";
    if (options.spacing > 0.0) return "try --spacing " + shortText(1.05 * factor * spacing) + ", or zef tiles";
    return "try --factor " + roundedUp(factor) + ", or zef tiles";
}

[[noreturn]] void refuse(const char* what, double wanted, double free, const std::string& cure) {
    constexpr double far = 1e15;  // beyond it nobody wants to know how much, and integers end
    const std::string amount =
        (wanted < far ? "about " : "more than ") + bytesText(static_cast<std::uint64_t>(std::min(wanted, far)));
    throw Failure(std::string(what) + " would take " + amount + " of memory, and " +
                  bytesText(static_cast<std::uint64_t>(free)) + " are free: " + cure + ", or --anyway");
}

}  // namespace

double expectedBytes(double numPoints, double factor, bool bUneven) {
    return ownBytes + numPoints * (perPoint + bytesPerCell(bUneven) * cellsPerPoint / (factor * factor));
}

void requireMemory(CommandRun& commandRun, std::span<const zef::Point3> points,
                   const zef::ReconstructOptions& options) {
    constexpr double near = 0.5, finest = 0.3;  // of what is free; a factor
    const double num = static_cast<double>(points.size());
    const double bytes = static_cast<double>(usableBytes());
    const double atFirst = options.spacing > 0.0 ? finest : options.factor;
    if (expectedBytes(num, atFirst, true) < near * bytes) return;
    commandRun.step("looking at the points");
    const zef::PointStatistics found = zef::measurePoints(points, commandRun.getContext());
    if (!(found.spacing > 0.0)) return;
    const bool bUneven = found.unsupportedShare >= unevenShare && options.levels > 0;
    const double factor = options.spacing > 0.0 ? options.spacing / found.spacing : options.factor;
    const double wanted = expectedBytes(num, factor, bUneven);
    if (wanted <= bytes) return;
    refuse("the mesh", wanted, bytes, cureOf(num, bytes, found.spacing, options, bUneven));
}

void requireMemory(std::span<const zef::Point3> corners, double spacing, double bytesPerCell) {
    constexpr double perCorner = 130.0, margin = 1.05;
    const double bytes = static_cast<double>(usableBytes());
    const double fixed = ownBytes + perCorner * static_cast<double>(corners.size());
    const double ofCells = bytesPerCell * zef::estimateMeltCells(corners, spacing);
    if (fixed + ofCells <= bytes) return;
    const double larger = margin * spacing * std::sqrt(ofCells / (bytes - fixed));
    if (bytes <= fixed) refuse("that", fixed + ofCells, bytes, "cut the triangles into parts");
    refuse("that", fixed + ofCells, bytes,
           std::isfinite(larger) ? "try --spacing " + shortText(larger) : "scale the coordinates");
}
