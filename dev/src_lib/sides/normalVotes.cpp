#include "sides/normalVotes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "store/CodeMap.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t none = CodeMap::npos;
constexpr uint64 noCube = ~uint64{0};
constexpr double maxCubes = 2097151.0;  // on a side: 21 bits, as the grid has

// So many bits behind the point that sums are exact, whatever their order: of up to 5e8 votes.
double rounded(double vote) {
    return std::round(vote * 0x1p24) * 0x1p-24;
}

class NormalVotes {
public:
    NormalVotes(const TriangleMesh& mesh_, const std::vector<std::uint32_t>& vPiece, std::size_t numPieces,
                double edge_)
        : mesh(mesh_), edge(edge_), vVotes(numPieces), vSpots(mesh_.vertices.size()) {
        for (std::uint32_t t = 0; t < mesh.numTriangles(); ++t) {
            const Vector3 area = doubleArea(mesh, t);
            for (std::uint32_t corner = 3 * t; corner < 3 * t + 3; ++corner) {
                Spot& spot = vSpots[mesh.indices[corner]];
                spot.normal += area;
                spot.piece = vPiece[t];
            }
        }
        findLow();
        chainVertices();
    }

    std::vector<Vote> count(const PointNormals& normals) {
        for (std::size_t i = 0; i < normals.pPoints->size(); ++i) {
            const Vector3 normal = normals[i];
            const double sqLength = normal.sqLength();
            if (!(sqLength > 0.0) || !std::isfinite(sqLength)) continue;
            const std::uint32_t vertex = nearestVertex((*normals.pPoints)[i]);
            if (vertex == none) continue;
            const Spot& spot = vSpots[vertex];
            vVotes[spot.piece].add(rounded(normalize(spot.normal) * normal / std::sqrt(sqLength)));
        }
        return std::move(vVotes);
    }

private:
    struct Spot {  // of a vertex
        Vector3 normal;
        std::uint32_t piece = none;
        std::uint32_t next = none;  // in the same cube
    };
    const TriangleMesh& mesh;
    const double edge;
    Point3 low;
    std::vector<Vote> vVotes;
    std::vector<Spot> vSpots;
    CodeMap firstInCube;

    void findLow() {
        constexpr double far = std::numeric_limits<double>::max();
        low.set(far, far, far);
        for (const Point3& p : mesh.vertices)
            low.set(std::min(low.px, p.px), std::min(low.py, p.py), std::min(low.pz, p.pz));
    }

    // Points beyond the low corner have none, nor have those that are not finite.
    uint64 cubeOf(const Point3& p) const {
        const Vector3 way = (p - low) / edge;
        const bool bInside = way.vx >= 0.0 && way.vy >= 0.0 && way.vz >= 0.0 && way.vx < maxCubes &&
                             way.vy < maxCubes && way.vz < maxCubes;
        if (!bInside) return noCube;
        return static_cast<uint64>(way.vx) << 42 | static_cast<uint64>(way.vy) << 21 | static_cast<uint64>(way.vz);
    }

    void chainVertices() {
        firstInCube = CodeMap(mesh.vertices.size());
        for (std::uint32_t vertex = 0; vertex < vSpots.size(); ++vertex) {
            if (vSpots[vertex].piece == none) continue;
            const std::uint32_t first = firstInCube.insert(cubeOf(mesh.vertices[vertex]), vertex);
            if (first == vertex) continue;
            vSpots[vertex].next = vSpots[first].next;
            vSpots[first].next = vertex;
        }
    }

    std::uint32_t nearestVertex(const Point3& p) const {
        const uint64 cube = cubeOf(p);
        std::uint32_t nearest = none;
        if (cube == noCube) return nearest;
        double sqDistance = std::numeric_limits<double>::infinity();
        for (std::uint32_t vertex = firstInCube.find(cube); vertex != none; vertex = vSpots[vertex].next) {
            const double here = (mesh.vertices[vertex] - p).sqLength();
            if (!(here < sqDistance)) continue;
            sqDistance = here;
            nearest = vertex;
        }
        return nearest;
    }
};

}  // namespace

std::vector<Vote> votesOfNormals(const TriangleMesh& mesh, const std::vector<std::uint32_t>& vPiece,
                                 std::size_t numPieces, const PointNormals& normals, double edge) {
    return NormalVotes(mesh, vPiece, numPieces, edge).count(normals);
}

}  // namespace QUOR_ZEF
