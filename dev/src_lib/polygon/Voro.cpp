#include "polygon/Voro.h"

#include <algorithm>
#include <array>
#include <bit>
#include <iterator>
#include <limits>
#include <span>
#include <utility>

#include "frame/License.h"
#include "frame/Progress.h"
#include "frame/tools.h"
#include "grid/Calc.h"
#include "grid/RemoveDecider.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t wordsPerQuad = 8;

bool mayHaveTriangles(int config) {
    const int numCells = std::popcount(static_cast<unsigned>(config));
    return numCells >= 3 && numCells <= 7;
}

// The four cells of a block face.
bool isFlat(int config) {
    return config == 15 || config == 51 || config == 102 || config == 153 || config == 204 || config == 240;
}

std::array<uint64, 8> cellsAround(const Calc& calc, uint64 vcd) {
    std::array<uint64, 8> codes;
    codes[5] = vcd;
    calc.getCellsAroundVCD(codes.data());
    return codes;
}

void appendCells(const std::array<uint64, 8>& codes, int mask, std::vector<uint64>& vOut) {
    for (unsigned cells = static_cast<unsigned>(mask); cells; cells &= cells - 1) {
        vOut.push_back(codes[static_cast<std::size_t>(std::countr_zero(cells))]);
    }
}

// vAll and vFew are ascending and unique.
void addSorted(std::vector<uint64>& vAll, const std::vector<uint64>& vFew) {
    const auto numBefore = static_cast<std::ptrdiff_t>(vAll.size());
    vAll.insert(vAll.end(), vFew.begin(), vFew.end());
    std::inplace_merge(vAll.begin(), vAll.begin() + numBefore, vAll.end());
    vAll.erase(std::unique(vAll.begin(), vAll.end()), vAll.end());
}
void removeSorted(std::vector<uint64>& vAll, const std::vector<uint64>& vFew) {
    auto it = vFew.begin();
    std::erase_if(vAll, [&](uint64 code) {
        while (it != vFew.end() && *it < code) ++it;
        return it != vFew.end() && *it == code;
    });
}

void sortUnique(std::vector<uint64>& v) {
    std::sort(v.begin(), v.end());
    v.erase(std::unique(v.begin(), v.end()), v.end());
}

}  // namespace

Voro::Voro(const Calc* pCalc_, CellMap* pCells_, TriMode mode) : pCalc(pCalc_), pCells(pCells_), casx(mode, false) {
    passLicenseGate("Voro", pCells->size());
    pCells->appendCells(vCCD);
    fillStaticVCD2CCD();
}

Voro::~Voro() = default;

void Voro::fillStaticVCD2CCD() {
    vStaticVCD2CCD.build(vCCD, *pCalc);
}

std::unique_ptr<CMesh> Voro::releaseMesh() {
    return std::move(pOwnedMesh);
}

void Voro::fatExtractTriangles() {
    if (pMesh) {
        pMesh->clear();
    } else {
        pOwnedMesh = std::make_unique<CMesh>(this, pCalc, pCells);
        pMesh = pOwnedMesh.get();
    }
    Progress* pProgress = getProgress()->getChildProgressSetTodo("VO_ftx", vStaticVCD2CCD.numPairs());
    std::vector<uint64> vAmbiguousT, vTriVCD;
    vStaticVCD2CCD.forEachCorner([&](uint64 vcd, int config) {
        pProgress->tick();
        if (!mayHaveTriangles(config)) return;
        vTriVCD.clear();
        casx.getTriangles(config, cellsAround(*pCalc, vcd).data(), vTriVCD, TUT);
        if (isFlat(config)) {
            ASSEX(vTriVCD.size()==6);
            vAmbiguousT.insert(vAmbiguousT.end(), vTriVCD.begin(), vTriVCD.end());
            vAmbiguousT.insert(vAmbiguousT.end(), {vcd, static_cast<uint64>(config)});
            return;
        }
        for (std::size_t t = 0; t < vTriVCD.size(); t += 3) {
            createUnlessThere(vTriVCD[t], vTriVCD[t + 1], vTriVCD[t + 2], vcd, config);
        }
    });
    pProgress->finish(true);

    pProgress = getProgress()->getChildProgressSetTodo("VO_amb", 2);
    solveAmbiguousT(vAmbiguousT);
    pProgress->tick();
    pMesh->killDuplicateTriangles();
    pProgress->tick();
    pProgress->finish(true);
}

// Two corners that are neighbours may both yield a triangle on their common face.
void Voro::createUnlessThere(uint64 a, uint64 b, uint64 c, uint64 vcd, int config) {
    const CEdge* pCE = pMesh->getEdge(a, b);
    if (!pCE || !pCE->hasTriangle(a, b, c)) pMesh->createT(a, b, c, vcd, config);
}

void Voro::solveAmbiguousT(const std::vector<uint64>& vAmbiguousT) {
    ASSEX(vAmbiguousT.size()%8==0);
    for (std::size_t i = 0; i < vAmbiguousT.size(); i += wordsPerQuad) {
        solveQuad(std::span<const uint64, wordsPerQuad>(&vAmbiguousT[i], wordsPerQuad));
    }
}

void Voro::solveQuad(std::span<const uint64, 8> record) {
    uint64 v0 = record[0], v1 = record[1], v2 = record[2];
    const auto second = record.subspan<3, 3>();
    const auto it = std::find_if(second.begin(), second.end(), [&](uint64 v) { return v != v0 && v != v1 && v != v2; });
    const bool bFound = it != second.end();
    ASSEX(bFound);
    const uint64 v3 = *it;
    const uint64 vcd = record[6];
    const int config = static_cast<int>(record[7]);

    // v0 and v3 are to be one diagonal, v1 and v2 the other.
    if (pCalc->getNeigType(v3, v0) != NT_EDGE) std::swap(v0, v1);
    if (pCalc->getNeigType(v3, v0) != NT_EDGE) std::swap(v0, v2);
    ASSEX(pCalc->getNeigType(v3,v0)==NT_EDGE);
    if (const CEdge* pCE = pMesh->getEdge(v1, v2)) {
        if (!pCE->hasTriangle(v0, v1, v2)) pMesh->createT(v0, v1, v2, vcd, config);
        if (!pCE->hasTriangle(v2, v1, v3)) pMesh->createT(v2, v1, v3, vcd, config);
        return;
    }
    const CEdge* pCE = pMesh->getEdge(v3, v0);
    if (!pCE || !pCE->hasTriangle(v0, v1, v3)) pMesh->createT(v0, v1, v3, vcd, config);
    if (!pCE || !pCE->hasTriangle(v0, v3, v2)) pMesh->createT(v0, v3, v2, vcd, config);
}

void Voro::createExtraCCDs_borderFix(const std::vector<uint64>& vVCD, std::vector<uint64>& vExtraCCD,
                                     std::vector<uint64>& vKillCCD) const {
    for (const uint64 vcd : vVCD) {
        const int q_it = vStaticVCD2CCD.find(vcd);
        ASSEX(q_it!=vStaticVCD2CCD.end());
        const int config = q_it;
        // 0 for all but 6 or 7 cells.
        const int missing = casx.getMissingMask(config);
        if (missing == 0) continue;
        const std::array<uint64, 8> codes = cellsAround(*pCalc, vcd);
        appendCells(codes, missing, vExtraCCD);
        appendCells(codes, casx.getOppositeMask(config), vKillCCD);
    }
    sortUnique(vExtraCCD);
    sortUnique(vKillCCD);
}

CMesh* Voro::borderFix(const std::vector<uint64>& vVCD) {
    std::vector<uint64> vExtraCCD, vKillCCD;
    createExtraCCDs_borderFix(vVCD, vExtraCCD, vKillCCD);
    addSorted(vCCD, vExtraCCD);
    killCCDs(vKillCCD, vExtraCCD);
    fillStaticVCD2CCD();
    fatExtractTriangles();
    constexpr double centre = std::numeric_limits<double>::max();
    for (const uint64 ccd : vExtraCCD) pMesh->addBundle(ccd, centre, centre, centre);
    pMesh->collapseExtraBundles();
    pMesh->averageAllBundles();
    dropCellsWithoutBundle();
    return pMesh;
}

// Both lists are ascending and unique. The stricter isBorder() would keep nearly all
// of these cells; on scans that leaves about as much border, and more edges with
// three triangles.
void Voro::killCCDs(const std::vector<uint64>& vKillCCD, const std::vector<uint64>& vExtraCCD) {
    RemoveDecider decider(&vCCD, pCalc);
    std::vector<uint64> vDoomed;
    for (const uint64 ccd : vKillCCD) {
        if (std::binary_search(vExtraCCD.begin(), vExtraCCD.end(), ccd) || !decider.allowsRemoval(ccd)) continue;
        decider.doom(ccd);
        vDoomed.push_back(ccd);
    }
    removeSorted(vCCD, vDoomed);
}

// The next extraction would make triangles of an added vertex that has collapsed.
void Voro::dropCellsWithoutBundle() {
    if (std::erase_if(vCCD, [&](uint64 ccd) { return !pCells->get(ccd); }) > 0) fillStaticVCD2CCD();
}

}  // namespace QUOR_ZEF
