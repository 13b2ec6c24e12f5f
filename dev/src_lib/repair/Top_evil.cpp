#include <algorithm>
#include <array>

#include "frame/tools.h"
#include "repair/Top.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

namespace {

// The border edges at a vertex, in the order of edges, into a list to be used again.
void getBorderAt(const CMesh* pMesh, uint64 vcd, std::vector<CEdge*>& vEdges) {
    vEdges.clear();
    pMesh->getIncidentEdges(vcd, vEdges);
    std::erase_if(vEdges, [](const CEdge* pCE) { return pCE->getDegree() != 1; });
}

int countEdges(const CTriangle* pT, int degree) {
    int num = 0;
    for (int i = 0; i < 3; ++i) num += pT->getCEdge(i)->getDegree() == degree;
    return num;
}

using Three = std::array<CTriangle*, 3>;

Three byArea(const CMesh* pMesh, const CEdge* pCE) {
    std::array<std::pair<double, CTriangle*>, 3> aArea;
    std::transform(pCE->triangles().begin(), pCE->triangles().end(), aArea.begin(),
                   [&](CTriangle* pT) { return std::pair(pT->getArea(pMesh), pT); });
    std::sort(aArea.begin(), aArea.end(), [](const auto& a, const auto& b) {
        return a.first != b.first ? a.first < b.first : a.second->getNumber() < b.second->getNumber();
    });
    return {aArea[0].second, aArea[1].second, aArea[2].second};
}

// The edge itself has degree 3, so it does not count among the others.
bool killLoose(CMesh* pMesh, const Three& aT) {
    for (CTriangle* pT : aT) {
        if (countEdges(pT, 2) >= 2) continue;
        pT->kill(pMesh);
        return true;
    }
    return false;
}

// A neighbour that dangles holds nothing, and goes with the triangle.
bool killDangling(CMesh* pMesh, const Three& aT) {
    for (CTriangle* pT : aT) {
        int numSolid = 0;
        std::vector<CTriangle*> vKill = {pT};
        for (int i = 0; i < 3; ++i) {
            const CEdge* pSide = pT->getCEdge(i);
            if (pSide->getDegree() != 2) continue;
            CTriangle* pNeigT = pSide->getOtherTriangle(pT);
            if (countEdges(pNeigT, 1) == 2)
                vKill.push_back(pNeigT);
            else
                ++numSolid;
        }
        if (numSolid >= 2) continue;
        for (CTriangle* pKillT : vKill)
            if (pKillT->isAlive()) pKillT->kill(pMesh);
        return true;
    }
    return false;
}

// See Top::deleteAroundEvilDeg3; appends the dead, too.
bool killAroundEvil(CMesh* pMesh, const CEdge* pCE, std::vector<CEdge*>& vOut, std::vector<CTriangle*>& vKilled) {
    if (pCE->getDegree() != 3) return false;
    bool bKilled = false;
    std::vector<CEdge*> vBorder;
    for (const uint64 end : {pCE->v0, pCE->v1}) {
        getBorderAt(pMesh, end, vBorder);
        if (vBorder.size() != 1) continue;
        CTriangle* pKillT = vBorder[0]->getTriangle(false, true);
        ASSEX(pKillT!=0);
        pKillT->kill(pMesh);
        vKilled.push_back(pKillT);
        bKilled = true;
        for (int i = 0; i < 3; ++i)
            if (pKillT->getCEdge(i)->getDegree() == 3) vOut.push_back(pKillT->getCEdge(i));
        if (pCE->getDegree() < 3) break;
    }
    return bKilled;
}

void sortUnique(std::vector<CEdge*>& vEdges) {
    std::sort(vEdges.begin(), vEdges.end(), edgeLess);
    vEdges.erase(std::unique(vEdges.begin(), vEdges.end()), vEdges.end());
}

}  // namespace

bool Top::deleteAroundEvilDeg3(CEdge* pCE, std::vector<CEdge*>& vOut) {
    std::vector<CTriangle*> vKilled;
    return killAroundEvil(pMesh, pCE, vOut, vKilled);
}

void Top::removeEvilDeg3() {
    std::vector<CEdge*> vEvil;
    pMesh->getDegN(3, vEvil);
    std::vector<CEdge*> vBorder;
    const auto endsBorder = [&](uint64 vcd) {
        getBorderAt(pMesh, vcd, vBorder);
        return vBorder.size() == 1;
    };
    std::erase_if(vEvil, [&](const CEdge* pCE) { return !endsBorder(pCE->v0) && !endsBorder(pCE->v1); });
    for (const CEdge* pCE : vEvil) {
        if (pCE->getDegree() != 3) continue;
        const Three aT = byArea(pMesh, pCE);
        if (!killLoose(pMesh, aT)) killDangling(pMesh, aT);
    }
    unravelEvilDeg3(vEvil);
}

// What a kill can change are the evil edges at the corners of the dead
// triangle, so only these are asked again; asking all would be quadratic in the
// length of a chain that comes undone.
void Top::unravelEvilDeg3(std::vector<CEdge*> vWork) {
    std::vector<bool> vIsEvil(pMesh->getNumEdges());
    for (const CEdge* pCE : vWork) vIsEvil[pCE->getNumber()] = true;
    std::vector<CEdge*> vNew;
    std::vector<CTriangle*> vKilled;
    while (!vWork.empty()) {
        vKilled.clear();
        for (const CEdge* pCE : vWork) {
            vNew.clear();
            while (killAroundEvil(pMesh, pCE, vNew, vKilled)) {
            }
            for (const CEdge* pNew : vNew) vIsEvil[pNew->getNumber()] = true;
        }
        vWork.clear();
        for (const CTriangle* pT : vKilled)
            for (int i = 0; i < 3; ++i) pMesh->getIncidentEdges(pT->getCorner(i), vWork);
        std::erase_if(vWork, [&](const CEdge* pCE) { return pCE->getDegree() != 3 || !vIsEvil[pCE->getNumber()]; });
        sortUnique(vWork);
    }
}

}  // namespace QUOR_ZEF
