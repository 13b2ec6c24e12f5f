#include <bit>
#include <cmath>
#include <utility>

#include "flat/triangleSides.h"
#include "io/loadCloud.h"
#include "io/meshFormats.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t none = 0xffffffffu;

// Different positions, numbered as they come. A hash table with open addressing,
// at most half full.
class PositionNumbers {
public:
    explicit PositionNumbers(std::size_t numPositions)
        : vSlots(std::bit_ceil(2 * numPositions + 1), none), mask(vSlots.size() - 1) {}

    // vDifferent gets p if its position is new.
    std::uint32_t numberOf(const Point3& p, std::vector<Point3>& vDifferent) {
        std::size_t slot = hash(p) & mask;
        while (vSlots[slot] != none && vDifferent[vSlots[slot]] != p) slot = (slot + 1) & mask;
        if (vSlots[slot] == none) {
            vSlots[slot] = static_cast<std::uint32_t>(vDifferent.size());
            vDifferent.push_back(p);
        }
        return vSlots[slot];
    }

private:
    static uint64 mix(uint64 h, double coord) {
        // The sum makes 0.0 of -0.0.
        h = (h ^ std::bit_cast<uint64>(coord + 0.0)) * 0x9e3779b97f4a7c15u;
        return h ^ (h >> 32);
    }
    static std::size_t hash(const Point3& p) { return mix(mix(mix(0, p.px), p.py), p.pz) * 0xd6e8feb86659fd93u >> 7; }

    std::vector<std::uint32_t> vSlots;
    std::size_t mask;
};

void mergeEqualPositions(TriangleMesh& mesh) {
    const std::vector<Point3> vAll = std::move(mesh.vertices);
    mesh.vertices.clear();
    PositionNumbers numbers(vAll.size());
    std::vector<std::uint32_t> vNumber(vAll.size());
    for (std::size_t i = 0; i < vAll.size(); ++i) vNumber[i] = numbers.numberOf(vAll[i], mesh.vertices);
    for (std::uint32_t& index : mesh.indices) index = vNumber[index];
}

void takeTriples(const CloudFile& cloud, std::vector<std::uint32_t>& vTriples) {
    if (cloud.kind == CloudFile::Kind::CORNERS) {
        vTriples.resize(cloud.vPoints.size() - cloud.vPoints.size() % 3);
        for (std::size_t i = 0; i < vTriples.size(); ++i) vTriples[i] = static_cast<std::uint32_t>(i);
        return;
    }
    vTriples.reserve(3 * cloud.vTriangles.size());
    for (const CloudFile::Triangle& triangle : cloud.vTriangles)
        vTriples.insert(vTriples.end(), triangle.begin(), triangle.end());
}

bool isFinite(const Point3& p) {
    return std::isfinite(p.px) && std::isfinite(p.py) && std::isfinite(p.pz);
}

bool findFault(const CloudFile& cloud, const TriangleMesh& mesh, std::string& error) {
    if (mesh.indices.empty()) error = "no triangles, but " + std::to_string(cloud.vPoints.size()) + " points";
    if (cloud.vPoints.size() >= none) error = "too many vertices; cut the mesh into parts";
    for (std::size_t i = 0; i < mesh.indices.size() && error.empty(); ++i)
        if (!isFinite(cloud.vPoints[mesh.indices[i]]))
            error = "vertex " + std::to_string(mesh.indices[i] + 1) + " of triangle " + std::to_string(i / 3 + 1) +
                    " has no finite position";
    return !error.empty();
}

double meanSideLength(const TriangleMesh& mesh) {
    double sum = 0.0;
    for (std::uint32_t side = 0; side < mesh.indices.size(); ++side)
        sum += (mesh.vertices[mesh.indices[nextSide(side)]] - mesh.vertices[mesh.indices[side]]).length();
    return sum > 0.0 ? sum / static_cast<double>(mesh.indices.size()) : 1.0;
}

// Takes out the triangles that repeat a vertex; their number.
std::size_t dropRepeats(std::vector<std::uint32_t>& vTriples) {
    std::size_t to = 0;
    for (std::size_t i = 0; i < vTriples.size(); i += 3) {
        const std::uint32_t a = vTriples[i], b = vTriples[i + 1], c = vTriples[i + 2];
        if (a == b || b == c || c == a) continue;
        vTriples[to++] = a;
        vTriples[to++] = b;
        vTriples[to++] = c;
    }
    const std::size_t numDropped = (vTriples.size() - to) / 3;
    vTriples.resize(to);
    return numDropped;
}

bool isMeshEnding(const std::string& ending) {
    return ending == ".ply" || ending == ".stl" || ending == ".obj" || ending == ".off";
}

}  // namespace

bool readMeshFile(const std::string& path, const ReadMeshOptions& options, MeshFile& file, std::string& error) {
    const std::string ending = endingOf(path);
    if (!isMeshEnding(ending)) {
        error = path + ": unknown ending \"" + ending + "\"; known are .ply .stl .obj .off";
        return false;
    }
    CloudFile cloud;
    if (!loadCloud(path, cloud)) {
        error = cloud.error;
        return false;
    }
    file = MeshFile();
    TriangleMesh& mesh = file.mesh;
    takeTriples(cloud, mesh.indices);
    std::string fault;
    if (findFault(cloud, mesh, fault)) {
        error = path + ": " + fault;
        return false;
    }
    mesh.vertices = std::move(cloud.vPoints);
    if (cloud.kind == CloudFile::Kind::CORNERS || options.bMergeEqual) mergeEqualPositions(mesh);
    checkMeshSize(mesh.vertices.size(), mesh.numTriangles());
    file.meanSideLength = meanSideLength(mesh);
    file.numSkipped = dropRepeats(mesh.indices);
    return true;
}

}  // namespace QUOR_ZEF
