#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "failures.h"
#include "files/meshes.h"
#include "numbers.h"
#include "reports/topology.h"
#include "zef/meshCheck.h"

using Json = nlohmann::ordered_json;

namespace {

struct CheckOptions {
    std::string path;
    bool bDeep = false;
    double thickness = 0.0;              // 0: two mean edges
    std::vector<std::string> vPromises;  // empty: closed, manifold and oriented
    TalkOptions talk;
};

// The largest components tell the most; meshes of scans have thousands.
constexpr std::size_t numShownComponents = 10;

void reportComponents(Report& report, const zef::MeshReport& topology) {
    const std::vector<zef::MeshComponent>& components = topology.components;
    for (std::size_t i = 0; i < std::min(components.size(), numShownComponents); ++i) {
        const zef::MeshComponent& component = components[i];
        const std::string genus = component.genus < 0 ? "no genus" : "genus " + std::to_string(component.genus);
        report.addText("", "  piece " + std::to_string(i + 1),
                       countText(component.numTriangles) + " triangles, " + countText(component.numBorderLoops) +
                           " border loops, Euler number " + std::to_string(component.euler) + ", " + genus);
    }
    if (components.size() > numShownComponents) {
        report.addText("", "  and further", countText(components.size() - numShownComponents) + " pieces");
    }
}

const std::vector<std::string> promises = {"manifold", "oriented", "closed", "embedded"};

std::string nearText(const zef::Point3& place) {
    return "near " + numberText(place.px) + " " + numberText(place.py) + " " + numberText(place.pz);
}

// Some of them, so that one can go there and look.
void reportPlaces(Report& report, const zef::TriangleMesh& mesh,
                  const std::vector<std::array<std::uint32_t, 2>>& vPairs) {
    constexpr std::size_t mostShown = 10;
    Json list = Json::array();
    for (std::size_t i = 0; i < std::min(vPairs.size(), mostShown); ++i) {
        zef::Vector3 middle;
        for (const std::uint32_t t : vPairs[i])
            for (std::size_t k = 0; k < 3; ++k)
                middle += (mesh.vertices[mesh.indices[3 * std::size_t{t} + k]] - zef::Point3()) * (1.0 / 6.0);
        list.push_back({middle.vx, middle.vy, middle.vz});
        report.addText("", "  near", numberText(middle.vx) + " " + numberText(middle.vy) + " " + numberText(middle.vz));
    }
    report.add("self_intersection_places", "", list, "");
}

// How many, and where they are narrowest.
void reportHandles(Report& report, const zef::HandleReport& handles) {
    constexpr std::size_t mostShown = 10;
    report.addCount("handles", "handles", handles.numHandles);
    report.addCount("short_handles", "  of them shorter than 12 mean edges", handles.shortHandles.size());
    Json list = Json::array();
    for (std::size_t i = 0; i < std::min(handles.shortHandles.size(), mostShown); ++i) {
        const zef::MeshHandle& handle = handles.shortHandles[i];
        const zef::Point3& at = handle.place;
        list.push_back({{"length", handle.length}, {"place", {at.px, at.py, at.pz}}});
        report.addText("", "  around " + numberText(handle.length), nearText(at));
    }
    report.add("handle_list", "", list, "");
}

// How many walls, and where they are thinnest.
void reportThinPlaces(Report& report, const zef::ThinReport& thin) {
    constexpr std::size_t mostShown = 10;
    report.addNumber("thin_limit", "", thin.limit);
    report.addCount("thin_places", "walls thinner than " + numberText(thin.limit), thin.places.size());
    report.addCount("thin_triangles", thin.places.empty() ? "" : "  triangles of them", thin.numTriangles);
    Json list = Json::array();
    for (std::size_t i = 0; i < std::min(thin.places.size(), mostShown); ++i) {
        const zef::ThinPlace& wall = thin.places[i];
        const zef::Point3& at = wall.place;
        list.push_back(
            {{"thickness", wall.thickness}, {"place", {at.px, at.py, at.pz}}, {"triangles", wall.numTriangles}});
        report.addText("", "  of " + numberText(wall.thickness), nearText(at));
    }
    report.add("thin_list", "", list, "");
}

// What of the promises does not hold, as a sentence; empty if all does.
std::string brokenPromises(const CheckOptions& options, const zef::MeshReport& topology, std::size_t numPairs) {
    std::string text;
    const auto look = [&](const char* promise, bool bHolds, const std::string& fault) {
        if (bHolds || std::ranges::count(options.vPromises, promise) == 0) return;
        text += (text.empty() ? "" : "; ") + std::string("not ") + promise + ": " + fault;
    };
    look("manifold", topology.manifold,
         countText(topology.numNonManifoldEdges) + " edges and " + countText(topology.numNonManifoldVertices) +
             " vertices");
    look("oriented", topology.oriented, countText(topology.numOrientationConflicts) + " edges");
    look("closed", topology.closed,
         topology.numTriangles == 0 ? "no triangles" : countText(topology.numBorderLoops) + " border loops");
    look("embedded", numPairs == 0, countText(numPairs) + " pairs of triangles intersect");
    return text;
}

int runCheck(const CheckOptions& options, CommandRun& commandRun) {
    if (options.thickness > 0.0 && !options.bDeep) throw UsageFailure("--thickness goes with --deep");
    const zef::TriangleMesh mesh = readMeshFile(commandRun, options.path);
    commandRun.step("checking");
    const zef::MeshReport topology = zef::check(mesh, commandRun.getContext());
    Report& report = commandRun.report;
    reportMesh(report, topology);
    report.addCount("non_manifold_vertices", "non-manifold vertices", topology.numNonManifoldVertices);
    report.addCount("orientation_conflicts", "orientation conflicts", topology.numOrientationConflicts);
    report.addCount("degenerate_triangles", "degenerate triangles", topology.numDegenerateTriangles);
    report.addCount("duplicate_triangles", "duplicate triangles", topology.numDuplicateTriangles);
    report.add("euler", "Euler number", topology.euler, std::to_string(topology.euler));
    report.addNumber("area", "area", topology.area);
    report.addNumber("volume", "volume", topology.volume);
    reportBody(report, topology);
    report.add("component_list", "", componentList(topology), "");
    reportComponents(report, topology);
    std::size_t numPairs = 0;
    if (options.bDeep || std::ranges::count(options.vPromises, "embedded") > 0) {
        commandRun.step("looking for self-intersections");
        const auto vPairs = zef::findSelfIntersections(mesh, commandRun.getContext());
        numPairs = vPairs.size();
        report.addCount("self_intersections", "self-intersections", numPairs);
        reportPlaces(report, mesh, vPairs);
    }
    if (options.bDeep && topology.manifold && topology.oriented) {
        commandRun.step("looking for handles");
        reportHandles(report, zef::findHandles(mesh, 0.0, commandRun.getContext()));
        commandRun.step("looking for thin walls");
        reportThinPlaces(report, zef::findThinPlaces(mesh, options.thickness, commandRun.getContext()));
    }
    if (!options.vPromises.empty()) {
        const std::string broken = brokenPromises(options, topology, numPairs);
        report.addFlag("promise_holds", "promise holds", broken.empty());
        if (!broken.empty()) commandRun.warn(options.path + ": " + broken);
        return broken.empty() ? EXIT_DONE : EXIT_COULD_NOT;
    }
    return isBody(topology) ? EXIT_DONE : EXIT_COULD_NOT;
}

}  // namespace

void addCheck(Commands& commands) {
    auto pOptions = std::make_shared<CheckOptions>();
    CLI::App& command = *commands.app.add_subcommand(
        "check", "Report the topology of a mesh; status 0 only if it is closed, manifold and oriented");
    command.add_option("IN", pOptions->path, "A file of triangles")->required();
    command.add_flag(
        "--deep", pOptions->bDeep,
        "Count the pairs of triangles that intersect, too, and tell where; likewise the handles of the mesh and "
        "the shortest ones, and thin walls");
    command
        .add_option("--thickness", pOptions->thickness,
                    "With --deep: walls thinner than that are told, in the unit of the mesh; by default two mean edges")
        ->check(CLI::PositiveNumber);
    command
        .add_option("--promise", pOptions->vPromises,
                    "Status 0 if all of these hold, and only then: manifold, oriented, closed, embedded (no triangles "
                    "intersect)")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CLI::IsMember(promises))
        ->type_name("LIST");
    addTalkOptions(command, pOptions->talk);
    addExamples(command, {{"zef check mesh.ply", "Status 0 if the mesh encloses a volume."},
                          {"zef check --promise manifold,closed,embedded mesh.ply", "Status 0 only if all three hold."},
                          {"zef check --deep --json mesh.ply", "Also self-intersections, for programs."}});
    onRun(commands, command, pOptions, runCheck);
}
