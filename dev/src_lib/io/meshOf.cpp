#include <bit>
#include <cmath>
#include <numeric>
#include <utility>

#include "bytes/FileBytes.h"
#include "flat/arrays.h"
#include "frame/Progress.h"
#include "frame/Run.h"
#include "frame/tools.h"
#include "io/cloudLoaders.h"
#include "io/loadCloud.h"
#include "io/meshFormats.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t none = 0xffffffffu;

// Of large pages, since filling cannot be cancelled.
std::vector<std::uint32_t> filled(std::size_t num, std::uint32_t value) {
    std::vector<std::uint32_t> v;
    v.reserve(num);
    adviseHugePages(v.data(), num * sizeof(std::uint32_t));
    v.assign(num, value);
    return v;
}

// Different positions, numbered as they come. A hash table with open addressing,
// at most half full.
class PositionNumbers {
public:
    explicit PositionNumbers(std::size_t numPositions)
        : vSlots(filled(std::bit_ceil(2 * numPositions + 1), none)), mask(vSlots.size() - 1) {}

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
    reserveMore(mesh.vertices, vAll.size() / 6 + vAll.size() / 64);  // six corners a vertex on a closed surface
    PositionNumbers numbers(vAll.size());
    std::vector<std::uint32_t> vNumber = filled(vAll.size(), 0);
    RowStage rows("IO_pos", vAll.size());
    for (std::size_t i = 0; i < vAll.size(); ++i, rows.step()) vNumber[i] = numbers.numberOf(vAll[i], mesh.vertices);
    for (std::uint32_t& index : mesh.indices) index = vNumber[index];
}

std::vector<std::uint32_t> takeTriples(PointFile& file) {
    if (file.kind != PointFile::Kind::CORNERS) return std::move(file.indices);
    std::vector<std::uint32_t> vTriples(file.points.size() - file.points.size() % 3);
    std::iota(vTriples.begin(), vTriples.end(), 0u);
    return vTriples;
}

bool isFinite(const Point3& p) {
    return std::isfinite(p.px) && std::isfinite(p.py) && std::isfinite(p.pz);
}

void checkVertices(const TriangleMesh& mesh) {
    if (mesh.indices.empty()) throw LoadError("no triangles, but " + std::to_string(mesh.vertices.size()) + " points");
    if (mesh.vertices.size() >= none) throw LoadError("too many vertices; cut the mesh into parts");
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        pollRun(i);
        if (isFinite(mesh.vertices[mesh.indices[i]])) continue;
        throw LoadError("vertex " + std::to_string(mesh.indices[i] + 1) + " of triangle " + std::to_string(i / 3 + 1) +
                        " has no finite position");
    }
}

}  // namespace

TriangleMesh meshOf(PointFile&& file, const std::string& name, const ReadMeshOptions& options) {
    const std::string start = name.empty() ? "" : name + ": ";
    TriangleMesh mesh;
    mesh.indices = takeTriples(file);
    mesh.vertices = std::move(file.points);
    checkVertices(mesh);
    for (const std::string& note : file.notes) showWarning("readMesh", start + note);
    if (file.kind == PointFile::Kind::CORNERS || options.mergeEqual) mergeEqualPositions(mesh);
    checkMeshSize(mesh.vertices.size(), mesh.numTriangles());
    const std::size_t numDropped = dropRepeating(mesh.indices);
    if (numDropped > 0)
        showWarning("readMesh", start + std::to_string(numDropped) + " triangles with a corner twice are left out");
    return mesh;
}

}  // namespace QUOR_ZEF
