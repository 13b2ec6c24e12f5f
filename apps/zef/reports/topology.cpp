#include "reports/topology.h"

using Json = nlohmann::ordered_json;

void reportBorders(Report& report, const zef::MeshReport& topology) {
    report.addCount("border_loops", "border loops", topology.numBorderLoops);
    report.addCount("border_edges", "border edges", topology.numBorderEdges);
    report.addCount("non_manifold_edges", "non-manifold edges", topology.numNonManifoldEdges);
}

void reportMesh(Report& report, const zef::MeshReport& topology) {
    report.addCount("vertices", "vertices", topology.numVertices);
    report.addCount("triangles", "triangles", topology.numTriangles);
    report.addCount("components", "pieces", topology.numComponents);
    reportBorders(report, topology);
}

void reportBody(Report& report, const zef::MeshReport& topology) {
    report.addFlag("closed", "closed", topology.closed);
    report.addFlag("manifold", "manifold", topology.manifold);
    report.addFlag("oriented", "oriented", topology.oriented);
}

bool isBody(const zef::MeshReport& topology) {
    return topology.closed && topology.manifold && topology.oriented;
}

void reportUntangled(Report& report, const zef::UntangleReport& untangled) {
    report.addCount("crossing_pairs", "self-intersections parted", untangled.numPairs);
    report.addCount("crossing_pairs_left", untangled.numPairsLeft > 0 ? "self-intersections left" : "",
                    untangled.numPairsLeft);
}

Json componentList(const zef::MeshReport& topology) {
    Json list = Json::array();
    for (const zef::MeshComponent& component : topology.components) {
        list.push_back({{"triangles", component.numTriangles},
                        {"vertices", component.numVertices},
                        {"border_edges", component.numBorderEdges},
                        {"border_loops", component.numBorderLoops},
                        {"euler", component.euler},
                        {"genus", component.genus < 0 ? Json(nullptr) : Json(component.genus)},
                        {"closed", component.closed},
                        {"manifold", component.manifold},
                        {"oriented", component.oriented},
                        {"area", component.area},
                        {"volume", component.volume}});
    }
    return list;
}
