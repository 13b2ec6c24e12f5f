#include <cmath>
#include <cstdint>
#include <queue>
#include <utility>
#include <vector>

#include "frame/tools.h"
#include "topology/CMesh.h"
#include "topology/CPatch.h"
#include "topology/ConEdge.h"

namespace QUOR_ZEF {

namespace {

// A closed body counts as a real volume from this size on; thickness in cells.
constexpr std::size_t minSolidSize = 20;
constexpr double minSolidThickness = 0.4;
constexpr std::size_t surelySolidSize = 100;  // from here, or from the next on, the above suffices
constexpr double surelySolidThickness = 1.0;

// One of the two sheets: its triangles in order of coming, and for each triangle
// number of the mesh in vFlags whose it is.
class Sheet {
public:
    std::vector<CTriangle*> vT;

    Sheet(std::vector<std::uint8_t>& vFlags_, std::uint8_t flag_) : vFlags(vFlags_), flag(flag_) {}
    ~Sheet() {
        for (const CTriangle* pT : vT) vFlags[pT->getNumber()] = 0;
    }
    Sheet(const Sheet&) = delete;
    Sheet& operator=(const Sheet&) = delete;

    void insert(CTriangle* pT) {
        vT.push_back(pT);
        vFlags[pT->getNumber()] = flag;
    }
    const CTriangle* find(const CTriangle* pT) const { return vFlags[pT->getNumber()] == flag ? pT : end(); }
    static const CTriangle* end() { return nullptr; }

private:
    std::vector<std::uint8_t>& vFlags;
    std::uint8_t flag;
};

// The pending edges, the lowest score first, then the one that came first.
class WorkSet {
public:
    bool empty() const { return queue.empty(); }
    void insertOthers(const CMesh* pMesh, const CTriangle* pT, const CEdge* pWithout, const CPatch* pPatch) {
        for (int i = 0; i < 3; ++i)
            if (pT->getCEdge(i) != pWithout) queue.push({ConEdge(pMesh, pT->getCEdge(i), pPatch), numInserted++});
    }
    ConEdge takeLowest() {
        const ConEdge conEdge = queue.top().conEdge;
        queue.pop();
        return conEdge;
    }

private:
    struct Entry {
        ConEdge conEdge;
        std::size_t sequence;
        bool operator<(const Entry& e) const {
            if (conEdge.score != e.conEdge.score) return conEdge.score > e.conEdge.score;
            return sequence > e.sequence;
        }
    };
    std::priority_queue<Entry> queue;
    std::size_t numInserted = 0;
};

}  // namespace

struct CPatch::Sheets {
    Sheet sPosT, sNegT;
    explicit Sheets(std::vector<std::uint8_t>& vFlags) : sPosT(vFlags, 1), sNegT(vFlags, 2) {}
};

// A body without area, or without finite measures, is thin.
bool CPatch::isThick() const {
    const double halfArea = 0.5 * getArea();
    const double thickness = halfArea > 0.0 ? std::abs(getVolume()) / halfArea / pMesh->getCellSize() : 0.0;
    return getSize() >= minSolidSize && thickness >= minSolidThickness &&
           (getSize() >= surelySolidSize || thickness >= surelySolidThickness);
}

CEdge* CPatch::findStartEdge(CTriangle*& pCT0, CTriangle*& pCT1) const {
    for (const CTriangle* pT : vT) {
        if (!pT->isAlive()) continue;
        for (int i = 0; i < 3; ++i) {
            CEdge* pCE = pT->getCEdge(i);
            if (pCE->getDegree() <= 2) continue;
            const ConEdge conEdge(pMesh, pCE, this);
            if (conEdge.vMemT.size() != 2) continue;
            pCT0 = conEdge.vMemT[0];
            pCT1 = conEdge.vMemT[1];
            return pCE;
        }
    }
    return nullptr;
}

// Neighbours on one sheet are oriented alike; opposite sheets run through their
// common seam in one direction.
void CPatch::separate(CEdge* pStartME, CTriangle* pCT0, CTriangle* pCT1, Sheets& sheets) {
    auto& [sPosT, sNegT] = sheets;
    if (!pCT0->needFlip(pCT1)) pCT1->flip();
    pCT0->bVisited = pCT1->bVisited = true;
    WorkSet work;
    work.insertOthers(pMesh, pCT0, pStartME, this);
    work.insertOthers(pMesh, pCT1, pStartME, this);
    sPosT.insert(pCT0);
    sNegT.insert(pCT1);
    while (!work.empty()) {
        const ConEdge conEdge = work.takeLowest();
        if (conEdge.vMemT.size() != 2) continue;
        CTriangle *pSrcT = conEdge.vMemT[0], *pTrgT = conEdge.vMemT[1];
        if (pSrcT->bVisited && pTrgT->bVisited) continue;
        if (pTrgT->bVisited) {
            ASSEX(!pSrcT->bVisited);
            std::swap(pSrcT, pTrgT);
        }
        ASSEX(pSrcT->bVisited);
        ASSEX(!pTrgT->bVisited);
        pTrgT->bVisited = true;
        const bool bSrcNeg = sNegT.find(pSrcT) != Sheet::end();
        if (bSrcNeg)
            ASSEX(sPosT.find(pSrcT)==sPosT.end());
        else
            ASSEX(sPosT.find(pSrcT)!=sPosT.end());
        (bSrcNeg == conEdge.bSameSide ? sNegT : sPosT).insert(pTrgT);
        if (pSrcT->needFlip(pTrgT) == conEdge.bSameSide) pTrgT->flip();
        work.insertOthers(pMesh, pTrgT, conEdge.pCE, this);
    }
}

// Live triangles of other patches at edges inside the sheet. Its rim, where it
// meets the other sheet once, says nothing about which of the two is needed.
int CPatch::countAttached(const std::vector<CTriangle*>& vSheet) const {
    std::vector<CEdge*> vInner;
    getAdjacentEdges(2, vSheet, vInner);
    getAdjacentEdges(-3, vSheet, vInner);
    int num = 0;
    for (const CEdge* pCE : vInner)
        for (const CTriangle* pT : pCE->triangles())
            if (!isMember(pT)) ++num;
    return num;
}

bool CPatch::splitClosedPatchKill(bool bCareful) {
    orientAll();
    if (isThick()) return false;
    for (CTriangle* pT : vT) pT->bVisited = false;
    CTriangle *pCT0 = nullptr, *pCT1 = nullptr;
    CEdge* pStartME = findStartEdge(pCT0, pCT1);
    if (!pStartME) return false;
    ASSEX(pStartME!=0 && pCT0!=0 && pCT1!=0);

    Sheets sheets(pMesh->getScratchFlags());
    separate(pStartME, pCT0, pCT1, sheets);
    const std::vector<CTriangle*>&vPos = sheets.sPosT.vT, &vNeg = sheets.sNegT.vT;
    const int numP = countAttached(vPos), numN = countAttached(vNeg);
    if (bCareful && numP > 0 && numN > 0) return false;
    const bool bKillPos = (numP == 0) != (numN == 0) ? numP == 0 : vPos.size() < vNeg.size();
    for (CTriangle* pT : bKillPos ? vPos : vNeg) pT->kill(pMesh);
    return true;
}

}  // namespace QUOR_ZEF
