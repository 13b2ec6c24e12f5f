#include "page/meshFacts.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "check/checkTriangles.h"
#include "flat/EdgeTable.h"
#include "frame/Run.h"
#include "store/DisjointSets.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t maxListed = 200;  // pieces, and border loops

struct Piece {
    std::uint32_t numTriangles = 0;
    PageBox box;
};

// By edges that they have in common.
std::vector<Piece> findPieces(const TriangleMesh& mesh, const EdgeTable& edges) {
    DisjointSets sets(mesh.numTriangles());
    edges.forEachEdge([&](const Edge& edge) {
        for (std::size_t i = 1; i < edge.size(); ++i) sets.join(edge[0] / 3, edge[i] / 3);
    });
    std::vector<std::uint32_t> vNumber(mesh.numTriangles());
    std::vector<Piece> vPieces;
    for (std::uint32_t t = 0; t < mesh.numTriangles(); ++t) {
        pollRun(t);
        const std::uint32_t root = sets.find(t);
        if (root == t) {
            vNumber[t] = static_cast<std::uint32_t>(vPieces.size());
            vPieces.emplace_back();
        }
        Piece& piece = vPieces[vNumber[root]];
        ++piece.numTriangles;
        for (std::size_t i = 3 * std::size_t{t}; i < 3 * std::size_t{t} + 3; ++i)
            piece.box.add(mesh.vertices[mesh.indices[i]]);
    }
    return vPieces;
}

// The largest, in falling order; of equal ones the first.
template <class T, class Size>
void keepLargest(std::vector<T>& v, const Size& size) {
    std::stable_sort(v.begin(), v.end(), [&](const T& a, const T& b) { return size(a) > size(b); });
    if (v.size() > maxListed) v.resize(maxListed);
}

std::string jsonOf(std::vector<Piece> vPieces) {
    keepLargest(vPieces, [](const Piece& piece) { return piece.numTriangles; });
    JsonList list;
    for (const Piece& piece : vPieces)
        list.add("{\"triangles\":" + std::to_string(piece.numTriangles) + ",\"box\":" + piece.box.json() + "}");
    return list.done();
}

std::string jsonOf(std::vector<MeshBorderLoop> vLoops) {
    keepLargest(vLoops, [](const MeshBorderLoop& loop) { return std::isfinite(loop.length) ? loop.length : 0.0; });
    JsonList list;
    for (const MeshBorderLoop& loop : vLoops) {
        PageBox box;
        box.add(loop.low);
        box.add(loop.high);
        list.add("{\"edges\":" + std::to_string(loop.numEdges) + ",\"length\":" + jsonNumber(loop.length) +
                 ",\"box\":" + box.json() + "}");
    }
    return list.done();
}

std::string packLines(const TriangleMesh& mesh, const EdgeTable& edges, bool bBorder, const Rounding& rounding,
                      PageData& data) {
    std::vector<PackedPoint> vEnds;
    for (const VertexPair& ends : edges.oddEdges()) {
        if ((edges.at(ends).size() == 1) != bBorder) continue;
        for (const std::uint32_t end : {ends.first, ends.second}) vEnds.push_back(rounding(mesh.vertices[end]));
    }
    return data.addElements(vEnds.data(), vEnds.size(), sizeof(PackedPoint));
}

std::string countsOf(const MeshReport& report) {
    std::string json = "{\"area\":" + jsonNumber(report.area) + ",\"closed\":" + (report.closed ? "true" : "false");
    const auto add = [&](const char* name, std::size_t number) {
        json.append(",\"").append(name).append("\":").append(std::to_string(number));
    };
    add("vertices", report.numVertices);
    add("triangles", report.numTriangles);
    add("pieces", report.numComponents);
    add("borderEdges", report.numBorderEdges);
    add("borderLoops", report.numBorderLoops);
    add("nonManifoldEdges", report.numNonManifoldEdges);
    add("nonManifoldVertices", report.numNonManifoldVertices);
    add("orientationConflicts", report.numOrientationConflicts);
    return json + '}';
}

}  // namespace

std::string meshFacts(const TriangleMesh& mesh, const Rounding& rounding, PageData& data) {
    MeshReport report = checkTriangles(mesh);
    pollRun(0);
    const EdgeTable edges(mesh.indices, mesh.vertices.size());
    pollRun(0);
    // Each appends to the data, and the operands of a sum have no order of their own.
    const std::string nonManifold = packLines(mesh, edges, false, rounding, data);
    const std::string borders = packLines(mesh, edges, true, rounding, data);
    return "\"counts\":" + countsOf(report) + ",\"pieces\":" + jsonOf(findPieces(mesh, edges)) +
           ",\"loops\":" + jsonOf(std::move(report.borderLoops)) + ",\"borders\":" + borders +
           ",\"nonManifold\":" + nonManifold;
}

}  // namespace QUOR_ZEF
