#include "libraryOptions.h"

#include <CLI/Validators.hpp>
#include <array>

#include "numbers.h"
#include "options.h"

namespace {

std::string checkViewpoint(const std::string& text) {
    std::array<double, 3> at;
    return parseThree(text, at) ? "" : "--viewpoint wants three finite numbers";
}

// "off", "auto" or a radius. False if it is anything else.
bool parseRefit(const std::string& text, zef::ReconstructOptions& library) {
    library.refit = text != "off";
    library.refitRadius = 0.0;
    if (!library.refit || text == "auto") return true;
    return parseNumber(text, library.refitRadius) && library.refitRadius > 0.0;
}

std::string checkRefit(const std::string& text) {
    zef::ReconstructOptions library;
    return parseRefit(text, library) ? "" : "--refit wants off, auto or a radius in spacings";
}

}  // namespace

void addGridOptions(CLI::App& command, LibraryOptions& options) {
    zef::ReconstructOptions& library = options.given;
    CLI::Option* pSpacing =
        command.add_option("--spacing", library.spacing, "Distance of the vertices, in the unit of the points")
            ->check(checkPositive);
    command.add_option("--factor", library.factor, "The same as a multiple of the measured spacing")
        ->check(checkPositive)
        ->capture_default_str()
        ->excludes(pSpacing);
    command.add_flag("--smooth", library.smooth, "One more pass of smoothing, for noisy scans");
    command.add_option("--grow", library.growSteps, "How far gaps are closed, in steps; 0 leaves them open")
        ->check(checkCount)
        ->capture_default_str();
    command.add_flag("--keep-borders,!--no-keep-borders", library.keepBorders,
                     "Open borders stay where the points end, whatever --grow adds beyond them (the default), or not");
    command
        .add_option(
            "--levels", library.levels,
            "How often the distance of points may double until they are too sparse for a surface; 0 as in even scans")
        ->check(CLI::Range(0, 10))
        ->capture_default_str();
    command.add_flag("--keep-outliers", library.keepOutliers,
                     "Mesh stray points and points that fly off the surfaces as well");
}

void addPieceOptions(CLI::App& command, LibraryOptions& options) {
    zef::ReconstructOptions& library = options.given;
    command
        .add_option(
            "--min-handle", library.minHandle,
            "Cut or fill handles and tunnels that no points hold open and that are narrower than so many times the "
            "distance of the vertices; 0 keeps all")
        ->check(checkNumber)
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    command
        .add_option("--min-piece", library.minPiece, "Remove lonely pieces of fewer triangles than this; 0 keeps all")
        ->check(checkCount)
        ->capture_default_str();
}

void addViewpointOption(CLI::App& command, LibraryOptions& options) {
    command
        .add_option("--viewpoint", options.viewpoint,
                    "Where the scanner stood, in the coordinates of the points: open pieces of the mesh look there")
        ->type_name("x y z")
        ->check(checkViewpoint);
}

void addRefitOption(CLI::App& command, LibraryOptions& options, const std::string& words) {
    command.add_option("--refit", options.refit, words)
        ->check(checkRefit)
        ->type_name("off|auto|RADIUS")
        ->capture_default_str();
}

zef::ReconstructOptions settled(const LibraryOptions& options) {
    zef::ReconstructOptions library = options.given;
    parseRefit(options.refit, library);
    std::array<double, 3> at{};
    if (parseThree(options.viewpoint, at)) library.viewpoint = zef::Point3(at[0], at[1], at[2]);
    return library;
}
