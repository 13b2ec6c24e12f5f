#pragma once

#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <vector>

#include "frame/Progress.h"
#include "grid/Calc.h"
#include "polygon/Voro.h"
#include "repair/Top.h"
#include "topology/CMesh.h"

namespace zef_test {

using namespace QUOR_ZEF;

// The progress children of extraction and repair.
inline void planRepair() {
    planProgress("repair", {{"VO_ftx", 1.0},
                            {"VO_amb", 1.0},
                            {"TP_unif", 1.0},
                            {"TP_pps", 1.0},
                            {"TP_cbcpl", 1.0},
                            {"TP_itr", 1.0},
                            {"TP_fin", 1.0}});
}

// Cells of size 1, given by packed codes, with a point each near their middle,
// and the mesh extracted from them.
struct VoxelMesh {
    using Corners = std::array<uint64, 3>;

    Calc calc{0.0, 0.0, 0.0, 4096.0, 4096.0, 4096.0, 12};
    std::vector<Point3> vPoints;
    std::vector<Bundle> vBundles;
    CellMap cells;
    std::unique_ptr<Voro> pVoro;
    std::unique_ptr<CMesh> pMesh;

    // jitter: the greatest distance from the middle along each axis, below 0.5.
    explicit VoxelMesh(const std::vector<uint64>& vRCD, double jitter = 0.3) {
        planRepair();
        std::vector<uint64> vCCD;
        for (const uint64 rcd : vRCD) vCCD.push_back(calc.rcdToCcd(rcd));
        std::sort(vCCD.begin(), vCCD.end());
        calc.getCellCenters(vCCD, vPoints);
        std::mt19937 random(7);
        const auto move = [&] { return jitter * (static_cast<double>(random()) / 2147483648.0 - 1.0); };
        for (Point3& p : vPoints) {
            const double dx = move(), dy = move(), dz = move();
            p.set(p.px + dx, p.py + dy, p.pz + dz);
        }
        for (std::size_t i = 0; i < vCCD.size(); ++i) vBundles.push_back({&vPoints[i], vCCD[i]});
        std::vector<Bundle*> vPointers;
        for (Bundle& bundle : vBundles) vPointers.push_back(&bundle);
        cells.build(vPointers);
        pVoro = std::make_unique<Voro>(&calc, &cells, TM_FAT);
        pVoro->fatExtractTriangles();
        pMesh = pVoro->releaseMesh();
    }

    void run() { Top(pMesh.get(), &calc).run(pVoro.get()); }
    void runMelt() { Top(pMesh.get(), &calc).runMelt(pVoro.get()); }

    std::size_t numEdges(int deg) const {
        std::vector<CEdge*> vEdges;
        pMesh->getDegN(deg, vEdges);
        return vEdges.size();
    }
    std::size_t numConflicts() const {
        std::vector<CEdge*> vEdges;
        pMesh->getDegN(2, vEdges);
        return static_cast<std::size_t>(std::count_if(vEdges.begin(), vEdges.end(), [](const CEdge* pCE) {
            return pCE->triangles()[0]->needFlip(pCE->triangles()[1]);
        }));
    }
    int euler() const {
        std::vector<CTriangle*> vT;
        pMesh->getAllTriangles(vT);
        std::vector<uint64> vV;
        for (const CTriangle* pT : vT)
            for (int i = 0; i < 3; ++i) vV.push_back(pT->getCorner(i));
        std::sort(vV.begin(), vV.end());
        vV.erase(std::unique(vV.begin(), vV.end()), vV.end());
        return static_cast<int>(vV.size()) - static_cast<int>(numEdges(-99)) + static_cast<int>(vT.size());
    }
    // The corners of all live triangles, each from its lowest on, sorted.
    std::vector<Corners> corners() const {
        std::vector<Corners> v;
        pMesh->forEachTriangle([&](const CTriangle* pT) {
            Corners c = {pT->getCorner(0), pT->getCorner(1), pT->getCorner(2)};
            std::rotate(c.begin(), std::min_element(c.begin(), c.end()), c.end());
            v.push_back(c);
        });
        std::sort(v.begin(), v.end());
        return v;
    }
    // The same whatever the orientation.
    std::vector<Corners> unorientedCorners() const {
        std::vector<Corners> v = corners();
        for (Corners& c : v) std::sort(c.begin(), c.end());
        std::sort(v.begin(), v.end());
        return v;
    }
};

}  // namespace zef_test
