#include <cstdint>

#include "frame/tools.h"
#include "repair/Top.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

namespace {

// When a piece is a fringe; border edges over triangles.
constexpr double fringeRatio = 0.2;
constexpr int smallFringe = 24, smallFringeBorder = 2;
constexpr int tinyFringe = 6;

bool isFringe(int numT, int numBorder) {
    const double ratio = static_cast<double>(numBorder) / numT;
    return ratio > fringeRatio || (numT <= smallFringe && numBorder >= smallFringeBorder) || numT <= tinyFringe;
}

// Collects pieces of at most limit triangles that hang together across edges of
// degree 2, from border edges on.
//
// A larger piece is given up on the way, and its triangles are marked: killing
// pieces only joins others, so it never gets smaller. Thus no flood takes more
// than limit steps, and the surface itself is not walked once for each fringe.
class FringeFinder {
public:
    FringeFinder(const CMesh* pMesh, int limit_)
        : vEdgeSeen(pMesh->getNumEdges(), 0), vFlood(pMesh->getNumTriangles(), 0), limit(limit_) {}

    // True if the piece behind a border edge that was not seen yet is a fringe.
    bool isFringeAt(const CEdge* pCE) {
        if (vEdgeSeen[pCE->getNumber()]) return false;
        const auto vCT = pCE->triangles();
        ASSEX(vCT.size()==1);
        ++numFloods;
        numBorder = 0;
        vPiece.clear();
        bTooLarge = false;
        see(pCE);
        visit(vCT[0]);
        for (std::size_t i = 0; i < vPiece.size() && !bTooLarge; ++i) spread(vPiece[i]);
        if (bTooLarge)
            for (const CTriangle* pT : vPiece) vFlood[pT->getNumber()] = largePiece;
        return !bTooLarge && isFringe(static_cast<int>(vPiece.size()), numBorder);
    }
    // The piece found last.
    const std::vector<CTriangle*>& getPiece() const { return vPiece; }

private:
    static constexpr std::uint32_t largePiece = 0xffffffffu;

    void see(const CEdge* pCE) {
        std::uint8_t& bSeen = vEdgeSeen[pCE->getNumber()];
        if (!bSeen) ++numBorder;
        bSeen = 1;
    }
    void visit(CTriangle* pT) {
        std::uint32_t& flood = vFlood[pT->getNumber()];
        if (flood == numFloods) return;
        bTooLarge = bTooLarge || flood == largePiece || static_cast<int>(vPiece.size()) >= limit;
        if (bTooLarge) return;
        flood = numFloods;
        vPiece.push_back(pT);
    }
    void spread(const CTriangle* pCT) {
        for (int i = 0; i < 3; ++i) {
            const CEdge* pCE = pCT->getCEdge(i);
            const auto vNeigs = pCE->triangles();
            if (vNeigs.size() == 1) see(pCE);
            if (vNeigs.size() != 2) continue;
            if (vNeigs[0] != pCT) ASSEX(vNeigs[1]==pCT);
            visit(vNeigs[0] == pCT ? vNeigs[1] : vNeigs[0]);
        }
    }

    std::vector<std::uint8_t> vEdgeSeen;  // by edge number
    std::vector<std::uint32_t> vFlood;    // by triangle number: its last flood
    std::vector<CTriangle*> vPiece;
    const int limit;
    std::uint32_t numFloods = 0;
    int numBorder = 0;
    bool bTooLarge = false;
};

}  // namespace

void Top::getBordersKillDeg1nn(std::vector<CEdge*>& vBorder) {
    std::vector<CEdge*> vEdges;
    pMesh->getDegN(1, vEdges);
    for (CEdge* pCE : vEdges) {
        const auto vCT = pCE->triangles();
        ASSEX(vCT.size()==1);
        bool bHangs = true;
        for (int i = 0; i < 3; ++i) {
            const CEdge* pSide = vCT[0]->getCEdge(i);
            if (pSide != pCE && pSide->getDegree() < 3) bHangs = false;
        }
        if (bHangs)
            vCT[0]->kill(pMesh);
        else
            vBorder.push_back(pCE);
    }
}

void Top::integrateCCD(CEdge* pCE) {
    if (pCE->getDegree() != 1) return;
    CTriangle* pT = pCE->triangles()[0];
    int numBorder = 0, fanICI = -1;
    for (int i = 0; i < 3; ++i) {
        const int degree = pT->getCEdge(i)->getDegree();
        ASSEX(degree>0);
        if (degree == 2) return;
        if (degree == 1)
            ++numBorder;
        else
            fanICI = i;
    }
    if (numBorder == 3) {
        pT->kill(pMesh);
        return;
    }
    if (numBorder < 2) return;
    ASSEX(numBorder==2);
    std::vector<CTriangle*> vNew;
    pT->getCEdge(fanICI)->trySplitNeigsKillT(pMesh, pT, fanICI, vNew);
    if (pT->isAlive()) pT->kill(pMesh);
}

void Top::killTinyBorderPatches(int limit) {
    std::vector<CEdge*> vEdges;
    pMesh->getDegN(1, vEdges);
    if (vEdges.empty()) return;
    FringeFinder finder(pMesh, limit);
    for (const CEdge* pCE : vEdges)
        if (finder.isFringeAt(pCE))
            for (CTriangle* pT : finder.getPiece()) pT->kill(pMesh);
}

}  // namespace QUOR_ZEF
