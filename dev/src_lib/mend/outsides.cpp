#include "mend/outsides.h"

#include "frame/Run.h"
#include "frame/types.h"
#include "geometry/freeFunctions.h"
#include "store/DisjointSets.h"

namespace QUOR_ZEF {

namespace {

// Areas of caps over that of the component: across the openings, where half a sphere has 0.5, and along
// every zigzag of their rims, of which sheets that occlusions cut out have many.
constexpr double maxOpenings = 0.56, maxCaps = 0.7;
constexpr double minLean = 0.01;  // length of the sum of all areas over the area

const Point3 zero(0.0, 0.0, 0.0);

// Sums over one component, with the flips as they are.
struct Sums {
    Vector3 middle;  // of all corners, and their number
    double numCorners = 0.0;
    Vector3 lean;                                      // twice the areas along their normals
    double area = 0.0, capArea = 0.0, openings = 0.0;  // twice
    double volume = 0.0;                               // six times, with the caps
    int64 excess = 0;                                  // flipped triangles less the others
};

class OutsideFinder {
public:
    OutsideFinder(const TriangleMesh& mesh_, const MeshComponents& components_, std::vector<std::uint8_t>& vFlip_)
        : mesh(mesh_),
          vNumber(components_.vNumber),
          vBorder(components_.vBorder),
          vFlip(vFlip_),
          vSums(components_.num),
          vOpen(components_.num) {}

    std::vector<PieceKind> face() {
        for (const std::uint32_t side : vBorder) vOpen[vNumber[side / 3]] = true;
        sumMiddles();
        sumTriangles();
        sumCaps();
        for (std::uint32_t t = 0; t < mesh.numTriangles(); ++t)
            if (isTriangle(t) && facesInward(vNumber[t])) vFlip[t] ^= 1;
        std::vector<PieceKind> vKind;
        for (std::uint32_t number = 0; number < vSums.size(); ++number) vKind.push_back(kindOf(number));
        return vKind;
    }

private:
    const TriangleMesh& mesh;
    const std::vector<std::uint32_t>& vNumber;
    const std::vector<std::uint32_t>& vBorder;
    std::vector<std::uint8_t>& vFlip;
    std::vector<Sums> vSums;  // by number, as the next
    std::vector<bool> vOpen;

    const Point3& at(std::uint32_t corner) const { return mesh.vertices[mesh.indices[corner]]; }
    bool isTriangle(std::uint32_t t) const { return vNumber[t] < vSums.size(); }

    void sumMiddles() {
        for (std::uint32_t corner = 0; corner < mesh.indices.size(); ++corner) {
            pollRun(corner);
            if (!isTriangle(corner / 3)) continue;
            Sums& sums = vSums[vNumber[corner / 3]];
            sums.middle += at(corner) - zero;
            sums.numCorners += 1.0;
        }
        for (Sums& sums : vSums) sums.middle *= 1.0 / sums.numCorners;
    }

    void sumTriangles() {
        for (std::uint32_t t = 0; t < mesh.numTriangles(); ++t) {
            pollRun(t);
            if (!isTriangle(t)) continue;
            Sums& sums = vSums[vNumber[t]];
            const double sign = vFlip[t] ? -1.0 : 1.0;
            const Vector3 doubleArea = cross(at(3 * t + 1) - at(3 * t), at(3 * t + 2) - at(3 * t)) * sign;
            sums.lean += doubleArea;
            sums.area += doubleArea.length();
            sums.volume += doubleArea * (at(3 * t) - (zero + sums.middle));
            sums.excess += vFlip[t] ? 1 : -1;
        }
    }

    // A cap is a fan of triangles around the middle of a border.
    void sumCaps() {
        DisjointSets loops(mesh.vertices.size());
        std::vector<Sums> vLoops;
        std::vector<std::uint32_t> vLoop(mesh.vertices.size());
        for (const std::uint32_t side : vBorder) loops.join(mesh.indices[side], mesh.indices[nextSide(side)]);
        for (const std::uint32_t side : vBorder) {
            const std::uint32_t root = loops.find(mesh.indices[side]);
            if (vLoop[root] == 0) {
                vLoops.emplace_back();
                vLoop[root] = static_cast<std::uint32_t>(vLoops.size());
            }
            Sums& loop = vLoops[vLoop[root] - 1];
            loop.middle += at(side) - zero;
            loop.middle += at(nextSide(side)) - zero;
            loop.numCorners += 2.0;
        }
        for (const std::uint32_t side : vBorder) {
            Sums& loop = vLoops[vLoop[loops.find(mesh.indices[side])] - 1];
            Sums& sums = vSums[vNumber[side / 3]];
            const Point3 middle = zero + loop.middle * (1.0 / loop.numCorners);
            const double sign = vFlip[side / 3] ? -1.0 : 1.0;
            const Vector3 doubleArea = cross(at(side) - middle, at(nextSide(side)) - middle) * -sign;
            sums.openings -= loop.lean.length();
            loop.lean += doubleArea;
            sums.openings += loop.lean.length();
            sums.capArea += doubleArea.length();
            sums.volume += doubleArea * (middle - (zero + sums.middle));
        }
    }

    PieceKind kindOf(std::uint32_t number) const {
        if (!vOpen[number]) return PieceKind::CLOSED;
        const Sums& sums = vSums[number];
        const bool bBody = sums.openings < maxOpenings * sums.area && sums.capArea < maxCaps * sums.area;
        return bBody ? PieceKind::BODY : PieceKind::SHEET;
    }

    bool facesInward(std::uint32_t number) const {
        const Sums& sums = vSums[number];
        if (kindOf(number) != PieceKind::SHEET) return sums.volume < 0.0;
        if (sums.lean.length() < minLean * sums.area) return sums.excess > 0;
        return sums.lean.getCartesian(sums.lean.getMaxAbsIndex()) < 0.0;
    }
};

}  // namespace

std::vector<PieceKind> faceOutward(const TriangleMesh& mesh, const MeshComponents& components,
                                   std::vector<std::uint8_t>& vFlip) {
    return OutsideFinder(mesh, components, vFlip).face();
}

}  // namespace QUOR_ZEF
