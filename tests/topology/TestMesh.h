#pragma once

#include <array>
#include <memory>
#include <vector>

#include "grid/Calc.h"
#include "topology/CMesh.h"
#include "topology/CPatch.h"

namespace zef_test {

using namespace QUOR_ZEF;

using Cell = std::array<int, 3>;

// A CMesh on a grid of cells of size 1. Each cell of the box of side n has a
// Bundle with its point in the middle; a test moves points through at().
struct TestMesh {
    Calc calc{0.0, 0.0, 0.0, 64.0, 64.0, 64.0, 6};
    std::vector<Point3> vPoints;
    std::vector<Bundle> vBundles;
    CellMap cells;
    std::unique_ptr<CMesh> pMesh;

    explicit TestMesh(int n) {
        std::vector<uint64> vCCD;
        for (int x = 0; x < n; ++x)
            for (int y = 0; y < n; ++y)
                for (int z = 0; z < n; ++z) vCCD.push_back(ccd(x, y, z));
        std::sort(vCCD.begin(), vCCD.end());
        calc.getCellCenters(vCCD, vPoints);
        for (std::size_t i = 0; i < vCCD.size(); ++i) vBundles.push_back({&vPoints[i], vCCD[i]});
        std::vector<Bundle*> vPointers;
        for (Bundle& bundle : vBundles) vPointers.push_back(&bundle);
        cells.build(vPointers);
        pMesh = std::make_unique<CMesh>(nullptr, &calc, &cells);
    }
    CMesh* operator->() const { return pMesh.get(); }

    uint64 ccd(int x, int y, int z) const { return calc.getCCD({x + 0.5, y + 0.5, z + 0.5}); }
    uint64 ccd(const Cell& c) const { return ccd(c[0], c[1], c[2]); }
    Point3& at(const Cell& c) { return *pMesh->getVtx(ccd(c)); }

    CTriangle* tri(const Cell& a, const Cell& b, const Cell& c) { return pMesh->createT(ccd(a), ccd(b), ccd(c), 0, 0); }
    // Two triangles over the corners of a flat piece, in this turn.
    void quad(const Cell& a, const Cell& b, const Cell& c, const Cell& d) {
        tri(a, b, c);
        tri(a, c, d);
    }
    CEdge* edge(const Cell& a, const Cell& b) const { return pMesh->getEdge(ccd(a), ccd(b)); }

    // The surface of the box from lo to hi, outward; without its lid (highest z) if so wished.
    void box(const Cell& lo, const Cell& hi, bool bLid = true) {
        for (int axis = 0; axis < 3; ++axis)
            for (int side = 0; side < 2; ++side)
                if (bLid || axis != 2 || side != 1) boxSide(lo, hi, axis, side == 1);
    }
    void boxSide(const Cell& lo, const Cell& hi, int axis, bool bHigh) {
        const auto u = static_cast<std::size_t>((axis + 1) % 3), v = static_cast<std::size_t>((axis + 2) % 3);
        Cell c = bHigh ? hi : lo;
        for (int i = lo[u]; i < hi[u]; ++i)
            for (int j = lo[v]; j < hi[v]; ++j) {
                std::array<Cell, 4> k = {c, c, c, c};
                for (std::size_t n = 0; n < 4; ++n) {
                    k[n][u] = i + (n == 1 || n == 2);
                    k[n][v] = j + (n >= 2);
                }
                bHigh ? quad(k[0], k[1], k[2], k[3]) : quad(k[0], k[3], k[2], k[1]);
            }
    }

    std::vector<CTriangle*> triangles() const {
        std::vector<CTriangle*> vT;
        pMesh->getAllTriangles(vT);
        return vT;
    }
    std::vector<CEdge*> edgesOfDegree(int deg) const {
        std::vector<CEdge*> vEdges;
        pMesh->getDegN(deg, vEdges);
        return vEdges;
    }
    std::vector<CPatch*> patches() {
        std::vector<CPatch*> vPatches;
        std::map<uint64, CPatch*> mThird;
        std::vector<CEdge*> vFanEdges;
        pMesh->createPatches(nullptr, vPatches, mThird, vFanEdges);
        return vPatches;
    }
};

}  // namespace zef_test
