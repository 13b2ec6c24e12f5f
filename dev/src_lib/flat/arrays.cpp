#include "flat/arrays.h"

#include <algorithm>
#include <string>
#include <utility>

#include "frame/Run.h"
#include "frame/tools.h"
#include "zef/errors.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t none = 0xffffffffu;

}  // namespace

void renumberVertices(TriangleMesh& mesh, VertexOrder order) {
    std::vector<std::uint32_t> vIndex(mesh.vertices.size(), none);
    std::uint32_t num = 0;
    if (order == VertexOrder::MESH) {
        for (const std::uint32_t vertex : mesh.indices) vIndex[vertex] = 0;
        for (std::uint32_t& index : vIndex)
            if (index != none) index = num++;
    } else {
        for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
            pollRun(i);
            std::uint32_t& index = vIndex[mesh.indices[i]];
            if (index == none) index = num++;
        }
    }
    const bool bAsBefore = order == VertexOrder::MESH && num == vIndex.size();
    std::vector<Point3> vVertices(bAsBefore ? 0 : num);
    for (std::size_t i = 0; i < vIndex.size() && !bAsBefore; ++i) {
        pollRun(i);
        if (vIndex[i] != none) vVertices[vIndex[i]] = mesh.vertices[i];
    }
    // The mesh changes only now, since the call may have been cancelled above.
    for (std::uint32_t& vertex : mesh.indices) vertex = vIndex[vertex];
    if (!bAsBefore) mesh.vertices = std::move(vVertices);
}

std::size_t dropRepeating(std::vector<std::uint32_t>& vTriples) {
    std::size_t to = 0;
    for (std::size_t i = 0; i < vTriples.size(); i += 3) {
        const std::uint32_t a = vTriples[i], b = vTriples[i + 1], c = vTriples[i + 2];
        if (a == b || b == c || c == a) continue;
        vTriples[to] = a;
        vTriples[to + 1] = b;
        vTriples[to + 2] = c;
        to += 3;
    }
    const std::size_t numDropped = (vTriples.size() - to) / 3;
    vTriples.resize(to);
    return numDropped;
}

double meanSideLength(const TriangleMesh& mesh) {
    double sum = 0.0;
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        pollRun(i);
        const std::size_t next = i % 3 == 2 ? i - 2 : i + 1;
        sum += (mesh.vertices[mesh.indices[next]] - mesh.vertices[mesh.indices[i]]).length();
    }
    return sum > 0.0 ? sum / static_cast<double>(mesh.indices.size()) : 1.0;
}

void checkMeshSize(std::size_t numVertices, std::size_t numTriangles) {
    constexpr std::size_t maxVertices = std::size_t{1} << 31;
    // Each triangle may have three edges of its own, and one number means none.
    constexpr std::size_t maxTriangles = (none - std::size_t{1}) / 3;
    if (numVertices <= maxVertices && numTriangles <= maxTriangles) return;
    const std::string text = "mesh too large: " + std::to_string(numVertices) + " vertices (at most " +
                             std::to_string(maxVertices) + "), " + std::to_string(numTriangles) +
                             " triangles (at most " + std::to_string(maxTriangles) + ")";
    if (getRun()) throw TooLargeError(text);
    showError(where(__PRETTY_FUNCTION__, __LINE__), text);
    throwBug();
}

bool TriangleMesh::hasColor() const {
    return std::any_of(vertices.begin(), vertices.end(), [](const Point3& p) { return p.hasColor(); });
}

}  // namespace QUOR_ZEF
