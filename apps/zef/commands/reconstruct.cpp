#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>

#include "chain.h"
#include "commands/commands.h"
#include "failures.h"
#include "files/bundle.h"
#include "files/inputs.h"
#include "files/meshes.h"
#include "files/pipes.h"
#include "libraryOptions.h"
#include "numbers.h"
#include "options.h"
#include "recipes.h"
#include "reports/measure.h"
#include "reports/memory.h"
#include "reports/refit.h"
#include "reports/topology.h"
#include "zef/reconstruction.h"
#include "zef/refinement.h"

using Json = nlohmann::ordered_json;

namespace {

struct ReconstructChoices {
    std::vector<std::string> vInputs;
    zef::ReadOptions reading;
    LibraryOptions library;
    bool bKeepNonManifold = false;
    Chain chain;
    bool bView = false, bCheck = false, bAnyway = false;
    std::string recipe;                  // a name, or empty; its options are parsed like others
    const CLI::App* pCommand = nullptr;  // not owned; knows what was parsed
    OutputOptions output;
    TalkOptions talk;
};

std::string cellsText(std::size_t level) {
    return level == 0 ? "1 cell: " : std::to_string(1 << level) + " cells: ";
}

void reportDensity(Report& report, const zef::DensityReport& density) {
    const bool bMeasured = density.unsupportedShare >= 0.0;
    const std::string sparse = bMeasured ? ", " + percentText(density.unsupportedShare) + " of the points sparse" : "";
    const std::string word = density.uneven ? "uneven" : "even";
    report.add("density", "density", word, word + sparse);
    report.add("sparse_share", "", bMeasured ? Json(density.unsupportedShare) : Json(nullptr), "");
    std::string levels;
    for (std::size_t level = 0; level < density.levelPoints.size(); ++level) {
        if (density.levelPoints[level] == 0) continue;
        levels += (levels.empty() ? "" : "  ") + cellsText(level) + countText(density.levelPoints[level]);
    }
    const auto label = [&](const char* text) { return density.uneven ? text : ""; };
    report.add("level_points", label("points less apart than"), density.levelPoints, levels);
    report.addCount("added_points", label("points added"), density.numAddedPoints);
    const bool bCoarser = density.coarsening > 1.0;
    report.addNumber("coarsening", bCoarser ? "grid made coarser, times" : "", density.coarsening);
}

void reportCloud(Report& report, std::size_t numPoints, const zef::Reconstruction& made) {
    report.addCount("points", "points", numPoints);
    reportSize(report, measureBox(std::array{made.low, made.high}));
    if (made.measuredSpacing > 0.0) {
        report.addNumber("spacing", "spacing measured", made.measuredSpacing);
    } else {
        report.add("spacing", "", nullptr, "");
    }
    report.addNumber("spacing_used", "distance of the vertices", made.spacing);
    report.addCount("cells", "", made.numCells);
    reportDensity(report, made.density);
    report.addShare("coverage", "coverage of the points", made.coverage);
    reportNoise(report, made.noise);
    const auto addLeftOut = [&](const char* key, const char* label, std::uint64_t num) {
        report.addCount(key, num > 0 ? label : "", num);
    };
    addLeftOut("non_finite", "left out, not finite", numPoints - made.numPoints);
    addLeftOut("strays", "left out, strays", made.numStrays);
    addLeftOut("outliers", "left out, outliers", made.numOutliers);
    report.addFlag("thin_walls", made.thinWalls ? "close sheets moved apart" : "", made.thinWalls);
    addLeftOut("cut_handles", "small handles cut or filled", made.numCutHandles);
    addLeftOut("removed_pieces", "small pieces removed", made.numRemovedPieces);
    report.addCount("removed_triangles", "", made.numRemovedTriangles);
}

void reportClosing(Report& report, const zef::ClosingReport& closing) {
    report.addCount("closed_loops", "border loops closed", closing.numClosedLoops);
    report.addCount("left_out_sheets", closing.numSheets > 0 ? "left out, open sheets" : "", closing.numSheets);
    report.addCount("thickened_sheets", closing.numThickened > 0 ? "open sheets thickened" : "", closing.numThickened);
    report.addCount("left_out_inner", closing.numInner > 0 ? "left out, inside others" : "", closing.numInner);
}

void reportSides(Report& report, const zef::Reconstruction& made) {
    if (made.sideRule == zef::SideRule::NONE) return;
    report.addText("sides", "sides by", zef::wordOf(made.sideRule));
    report.addCount("turned_pieces", "", made.numTurnedPieces);
}

// The next larger grid.
std::string largerGrid(const zef::ReconstructOptions& library) {
    constexpr double step = 1.3;
    if (library.spacing > 0.0) return "a larger --spacing";
    return "--factor " + numberText(std::round(10.0 * step * library.factor) / 10.0);
}

// The option that may help most.
std::string cureOfCoverage(const zef::ReconstructOptions& library, const zef::Reconstruction& made) {
    constexpr int mostLevels = 10;
    const double numLeftOut = static_cast<double>(made.numStrays + made.numOutliers);
    if (2.0 * numLeftOut > (1.0 - made.coverage) * static_cast<double>(made.numPoints)) return "--keep-outliers";
    if (made.density.uneven && library.levels < mostLevels && made.density.levelPoints.back() > 0)
        return "--levels " + std::to_string(std::min(library.levels + 2, mostLevels));
    return largerGrid(library);
}

// From half a cell on the surface gets bumpy; what is wider than a cell needs a wider grid.
void hintAtNoise(CommandRun& commandRun, const zef::ReconstructOptions& library, const zef::Reconstruction& made) {
    constexpr double much = 0.5, tooMuch = 1.0;  // cells
    const bool bMeasured = made.measuredSpacing > 0.0;
    const double inCells = made.noise * (bMeasured ? made.measuredSpacing / made.spacing : 1.0);
    if (!(inCells > much)) return;
    const auto rounded = [&](double value) { return numberText(std::ceil(10.0 * value * inCells / much) / 10.0); };
    const std::string grid =
        bMeasured ? "--factor " + rounded(made.spacing / made.measuredSpacing) : "a larger --spacing";
    commandRun.hint("the points scatter by " + percentText(inCells) + " of the distance of the vertices: try " +
                    (library.smooth || inCells > tooMuch ? grid : "--smooth"));
}

void giveHints(CommandRun& commandRun, const zef::ReconstructOptions& library, const zef::Reconstruction& made,
               std::uint64_t numBorderLoops) {
    constexpr double enoughCoverage = 0.95;
    constexpr std::uint64_t manyLoops = 50;
    if (made.coverage < enoughCoverage)
        commandRun.hint("only " + percentText(made.coverage) + " of the points lie near the mesh: try " +
                        cureOfCoverage(library, made));
    if (numBorderLoops > manyLoops)
        commandRun.hint("the mesh has " + countText(numBorderLoops) + " border loops: to close more gaps, try " +
                        (library.growSteps > 0 ? largerGrid(library) : "--grow 20"));
    hintAtNoise(commandRun, library, made);
    commandRun.reportHints();
}

// What the files themselves know of the sides of their points stands below what the
// options say.
void addSides(const zef::PointFile& scan, zef::ReconstructOptions& library) {
    if (!library.viewpoint) library.viewpoint = scan.viewpoint;
    library.normals = scan.normals;
}

OutputOptions outputOf(const ReconstructChoices& options) {
    OutputOptions output = options.output;
    const std::string& first = options.vInputs.front();
    const Recipe* const pRecipe = findRecipe(options.recipe);
    if (output.path.empty() && isPipe(first)) output.path = first;
    if (output.path.empty())
        output.path = std::filesystem::path(first).replace_extension(pRecipe ? pRecipe->ending : ".mesh.ply").string();
    return output;
}

void showResult(CommandRun& commandRun, const std::string& page, const std::string& bundle,
                const zef::TriangleMesh& mesh, const std::vector<zef::Point3>& vPoints) {
    zef::PageOptions options;
    options.title = std::filesystem::path(page).stem().string();
    options.names = {options.title};
    options.report = commandRun.report.lines();
    writePageFile(commandRun, page, {{&mesh}, vPoints}, bundle, options);
}

// With those of its options that nobody has set otherwise.
void reportRecipe(Report& report, const ReconstructChoices& options) {
    const Recipe* const pRecipe = findRecipe(options.recipe);
    if (!pRecipe) return;
    std::string line = pRecipe->name + ":";
    for (std::size_t i = 0; i < pRecipe->vOptions.size(); ++i) {
        const std::string& name = pRecipe->vOptions[i];
        const std::vector<std::string> vParsed = options.pCommand->get_option(name)->results();
        const bool bValue = i + 1 < pRecipe->vOptions.size() && pRecipe->vOptions[i + 1][0] != '-';
        if (bValue) ++i;
        if (vParsed.empty() || (bValue && vParsed.back() != pRecipe->vOptions[i])) continue;
        line.append(" ").append(name).append(bValue ? " " + pRecipe->vOptions[i] : "");
    }
    report.add("recipe", "recipe", pRecipe->name, line);
}

int runReconstruct(const ReconstructChoices& options, CommandRun& commandRun) {
    zef::ReconstructOptions library = settled(options.library);
    if (options.bKeepNonManifold && library.viewpoint)
        throw UsageFailure("--viewpoint turns pieces of a mended mesh; leave out --keep-non-manifold");
    if (library.thicken > 0.0 && !library.closed) throw UsageFailure("--thicken goes with --closed");
    if (library.closed && (options.bKeepNonManifold || !library.untangle))
        throw UsageFailure("--closed goes with neither --keep-non-manifold nor --no-untangle");
    const OutputOptions output = outputOf(options);
    checkMeshOutput(output, options.vInputs);
    if (options.bView && isPipe(output.path)) throw UsageFailure("--view has no name for its page: give one with -o");
    const std::string page = std::filesystem::path(output.path).replace_extension(".html").string();
    std::string bundle;
    if (options.bView) {
        checkPage(page, options.vInputs, output.bForce);
        bundle = readBundle();
    }
    zef::PointFile scan = readScan(commandRun, options.vInputs, options.reading);
    commandRun.lap("seconds_read", "read");

    if (!options.bAnyway) requireMemory(commandRun, scan.points, library);
    commandRun.step("reconstructing");
    library.mend = !options.bKeepNonManifold;
    library.measureCoverage = true;
    addSides(scan, library);
    zef::Reconstruction made = zef::reconstruct(scan.points, library, commandRun.getContext());
    if (!library.mend) zef::fillColors(made.mesh, commandRun.getContext());
    commandRun.lap("seconds_reconstruct", "reconstruct");

    reportRecipe(commandRun.report, options);
    reportCloud(commandRun.report, scan.points.size(), made);
    if (library.mend && library.refit) reportRefit(commandRun.report, made.refit);
    scan.normals = {};
    if (!options.bView) scan = {};
    if (!options.chain.isEmpty()) {
        const bool bUntangle = library.mend && library.untangle;
        runChain(commandRun, options.chain, library.mend, bUntangle, made.mesh);
        if (bUntangle) made.untangled.numPairsLeft = zef::untangle(made.mesh, commandRun.getContext()).numPairsLeft;
        commandRun.lap("seconds_refine", "refine");
    }
    if (library.mend && library.untangle) reportUntangled(commandRun.report, made.untangled);
    const zef::MeshReport topology = reportMeshOf(commandRun, made.mesh);
    if (options.bCheck || library.closed) reportBody(commandRun.report, topology);
    if (library.closed) reportClosing(commandRun.report, made.closing);
    reportSides(commandRun.report, made);
    giveHints(commandRun, library, made, topology.numBorderLoops);
    const bool bOpen = (options.bCheck || library.closed) && !isBody(topology);
    const bool bTangled = library.closed && made.untangled.numPairsLeft > 0;
    if (bOpen) commandRun.warn("the mesh is not closed, manifold and oriented; zef holes tells where it is open");
    if (bTangled)
        commandRun.warn(countText(made.untangled.numPairsLeft) +
                        " pairs of triangles still intersect; zef check --deep tells where");
    // First of all the mesh, so that no page that fails takes it along.
    writeMeshFile(commandRun, output, made.spacing, made.mesh);
    commandRun.lap("seconds_write", "write");
    if (options.bView) {
        showResult(commandRun, page, bundle, made.mesh, scan.points);
        commandRun.lap("seconds_page", "page");
    }
    commandRun.reportLaps();
    return bOpen || bTangled ? EXIT_COULD_NOT : EXIT_DONE;
}

void addClosedOptions(CLI::App& command, zef::ReconstructOptions& library) {
    command.add_flag("--closed", library.closed,
                     "Close every piece, so that it encloses a volume, and leave out what encloses none; status 1 if "
                     "that fails somewhere, though the mesh is written");
    command.add_flag("--keep-inner", library.keepInner, "With --closed: keep pieces inside others");
    command
        .add_option(
            "--thicken", library.thicken,
            "With --closed: make open sheets bodies that are so thick, in the unit of the points, instead of leaving "
            "them out")
        ->check(CLI::PositiveNumber);
}

void addThinWallsOption(CLI::App& command, zef::ReconstructOptions& library) {
    command.add_flag(
        "--thin-walls,!--no-thin-walls", library.thinWalls,
        "Keep both faces of walls that are too thin for the grid (the default), which takes twice the time "
        "where there are such, or not");
}

}  // namespace

void addReconstruct(Commands& commands) {
    auto pOptions = std::make_shared<ReconstructChoices>();
    CLI::App& command = *commands.app.add_subcommand("reconstruct", "Make a triangle mesh from one or more scans");
    pOptions->pCommand = &command;
    command.add_option("IN", pOptions->vInputs, "Files of points or folders of them, taken together")->required();
    addReadOptions(command, pOptions->reading);
    command
        .add_option("--recipe", pOptions->recipe,
                    "Settings for a common job, see zef recipe; options that are given besides count for more")
        ->type_name(recipeNames())
        ->check(checkRecipe);
    addGridOptions(command, pOptions->library);
    addClosedOptions(command, pOptions->library.given);
    addThinWallsOption(command, pOptions->library.given);
    addPieceOptions(command, pOptions->library);
    addViewpointOption(command, pOptions->library);
    addMendOption(command, pOptions->bKeepNonManifold);
    addUntangleOption(command, pOptions->library.given.untangle);
    addRefitOption(command, pOptions->library,
                   "Fit the mesh closer to the points, which takes their noise away and makes creases sharp: to those "
                   "within a radius by their noise (auto), or this one in spacings; not with --keep-non-manifold");
    addChainOptions(command, pOptions->chain);
    command.add_flag("--check", pOptions->bCheck,
                     "Tell whether the mesh is closed, manifold and oriented; status 1 if not, though it is written");
    addAnywayOption(command, pOptions->bAnyway);
    command.add_flag("--view", pOptions->bView,
                     "Also write a page beside the output that shows the mesh with its points, as zef view does");
    addOutputOptions(command, pOptions->output, OutputName::OPTIONAL);
    addTalkOptions(command, pOptions->talk);
    addExamples(
        command,
        {{"zef reconstruct scan.ply", "Writes scan.mesh.ply."},
         {"zef reconstruct left.ply right.ply -o both.obj --view",
          "Joins two scans of the same coordinates, and shows the result as both.html."},
         {"zef reconstruct noisy.xyz --factor 2 --smooth", "A coarser grid and more smoothing, for noise."},
         {"zef reconstruct part.ply --recipe print -o part.stl", "A closed body, checked; zef recipe lists more."},
         {"zef reconstruct - --format xyz <scan.xyz >mesh.ply", "Through pipes."}});
    onRun(commands, command, pOptions, runReconstruct);
}
