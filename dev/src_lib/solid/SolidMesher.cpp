#include "solid/SolidMesher.h"

#include <algorithm>
#include <limits>

#include "check/selfIntersections.h"
#include "geometry/freeFunctions.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"
#include "solid/faces.h"
#include "solid/wellComposed.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint8_t lastStep = 3;  // at which a vertex is in the middle of its cell

// How well the directions of two triangles agree; -1 for one without area.
double agreement(const Point3& a, const Point3& b, const Point3& c, const Point3& d) {
    const Vector3 first = cross(b - a, c - a), second = cross(c - a, d - a);
    const double lengths = first.length() * second.length();
    return lengths > 0.0 ? first * second / lengths : -1.0;
}

}  // namespace

Point3 SolidMesher::placeIn(const LatticePoint& cell, double x, double y, double z) const {
    Point3 place;
    place.set(samples.origin.px + samples.cellSize * (cell.x + offset.x + x),
              samples.origin.py + samples.cellSize * (cell.y + offset.y + y),
              samples.origin.pz + samples.cellSize * (cell.z + offset.z + z));
    return place;
}

// A sample of the cell; else what the nearest one around is nearest to in the cell, and most of the way on to it: what
// lies just beyond the cell's side counts as there, and no two cells have one place.
Point3 SolidMesher::targetOf(const LatticePoint& cell) const {
    constexpr double most = 0.99, shareBeyond = 0.8;
    const LatticePoint gridCell{cell.x + offset.x, cell.y + offset.y, cell.z + offset.z};
    const Point3 middle = placeIn(cell, 0.5, 0.5, 0.5);
    const Point3* pSample = nullptr;
    for (std::int32_t reach = 0; !pSample && reach < 4; ++reach) pSample = samples.nearest(middle, gridCell, reach);
    if (!pSample) return middle;
    const Point3 low = placeIn(cell, 0.0, 0.0, 0.0), high = placeIn(cell, most, most, most);
    const auto bring = [&](double x, double from, double to) {
        const double inside = std::clamp(x, from, to);
        return inside + shareBeyond * (x - inside);
    };
    Point3 target = *pSample;
    target.set(bring(target.px, low.px, high.px), bring(target.py, low.py, high.py), bring(target.pz, low.pz, high.pz));
    return target;
}

Point3 SolidMesher::placeOf(std::uint32_t vertex) const {
    const Point3 middle = placeIn(pointOf(vCells[vertex]), 0.5, 0.5, 0.5);
    Point3 place = vTargets[vertex];
    const std::uint8_t step = vSteps[vertex];
    const double share = step == lastStep ? 0.0 : 1.0 / (1 << step);
    if (step > 0)
        place.set(middle.px + share * (place.px - middle.px), middle.py + share * (place.py - middle.py),
                  middle.pz + share * (place.pz - middle.pz));
    if (bFloats) place.set(nearestFloats(place));
    return place;
}

// Along the diagonal on which it bends less.
void SolidMesher::addQuad(const std::uint32_t (&quad)[4]) {
    const auto& v = mesh.vertices;
    const double direct = agreement(v[quad[0]], v[quad[1]], v[quad[2]], v[quad[3]]);
    const double other = agreement(v[quad[1]], v[quad[2]], v[quad[3]], v[quad[0]]);
    const std::size_t first = other > direct ? 1 : 0;
    for (const std::size_t i : {0U, 1U, 2U, 0U, 2U, 3U}) mesh.indices.push_back(quad[(first + i) % 4]);
}

void SolidMesher::addSurface(const LatticeSet& set) {
    const std::vector<uint64> vNew = cellsOfSurface(set);
    const auto firstNew = static_cast<std::uint32_t>(vCells.size());
    vCells.insert(vCells.end(), vNew.begin(), vNew.end());
    vSteps.resize(vCells.size());
    parallelTransform(vNew, vTargets, [&](uint64 cell) { return targetOf(pointOf(cell)); });
    for (std::uint32_t i = firstNew; i < vCells.size(); ++i) mesh.vertices.push_back(placeOf(i));
    forEachFace(set, [&](const LatticeFace& face) {
        std::uint32_t quad[4];
        const auto cells = face.cellsAround();
        for (std::size_t i = 0; i < 4; ++i)
            quad[i] =
                firstNew + static_cast<std::uint32_t>(std::ranges::lower_bound(vNew, codeOf(cells[i])) - vNew.begin());
        addQuad(quad);
    });
}

std::vector<std::uint32_t> SolidMesher::findFaults() const {
    std::vector<std::uint32_t> vFaults;
    for (const TrianglePair& pair : findIntersectingPairs(mesh))
        vFaults.insert(vFaults.end(), pair.begin(), pair.end());
    for (std::uint32_t t = 0; t < mesh.numTriangles(); ++t) {
        const std::uint32_t* const p = &mesh.indices[3 * std::size_t{t}];
        const Point3& origin = mesh.vertices[p[0]];
        if (!(cross(mesh.vertices[p[1]] - origin, mesh.vertices[p[2]] - origin).length() > 0.0)) vFaults.push_back(t);
    }
    return vFaults;
}

void SolidMesher::part() {
    for (std::vector<std::uint32_t> vFaults = findFaults(); !vFaults.empty(); vFaults = findFaults()) {
        std::vector<std::uint32_t> vMoved;
        for (const std::uint32_t t : vFaults)
            for (std::size_t i = 0; i < 3; ++i) vMoved.push_back(mesh.indices[3 * std::size_t{t} + i]);
        std::sort(vMoved.begin(), vMoved.end());
        vMoved.erase(std::unique(vMoved.begin(), vMoved.end()), vMoved.end());
        bool bMoved = false;
        for (const std::uint32_t vertex : vMoved) {
            if (vSteps[vertex] == lastStep) continue;
            bMoved = true;
            ++vSteps[vertex];
            mesh.vertices[vertex] = placeOf(vertex);
        }
        if (!bMoved) return;
    }
}

}  // namespace QUOR_ZEF
