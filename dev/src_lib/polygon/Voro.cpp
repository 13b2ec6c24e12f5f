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
#include "parallel/parallelGroups.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minBlocks = 64;  // of corners, a thread

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

// f(corner, triangle, bOfQuad) for the triangles of the corners of a block.
template <class F>
void forEachTriangle(const CornerCells::CornerBlock& block, const CornerRows& rows, F&& f) {
    for (unsigned corner = 0; corner < CornerCells::blockSize; ++corner) {
        const int config = block.getConfig(corner);
        if (const CornerRows::Face* pFace = rows.getFace(config)) {
            const int across =
                pFace->bLower ? block.getConfigBelow(corner, pFace->axis) : block.getConfigAbove(corner, pFace->axis);
            for (const CornerRows::Triangle& triangle : rows.getQuad(config, across)) f(corner, triangle, true);
            continue;
        }
        for (const CornerRows::Triangle& triangle : rows.getRow(config)) {
            if (triangle.axisBelow >= 0) {
                const int below = block.getConfigBelow(corner, static_cast<std::size_t>(triangle.axisBelow));
                if (rows.hasTriangle(below, triangle.maskBelow)) continue;
            }
            f(corner, triangle, false);
        }
    }
}

void sortUnique(std::vector<uint64>& v) {
    std::sort(v.begin(), v.end());
    v.erase(std::unique(v.begin(), v.end()), v.end());
}

}  // namespace

Voro::Voro(const Calc* pCalc_, CellMap* pCells_, TriMode mode)
    : pCalc(pCalc_), pCells(pCells_), casx(mode, false), cornerRows(casx) {
    passLicenseGate("Voro", pCells->size());
    pCells->appendCells(vCCD);
    fillStaticVCD2CCD();
}

Voro::~Voro() = default;

void Voro::fillStaticVCD2CCD() {
    if (!bStale) return;
    vStaticVCD2CCD.build(vCCD, *pCalc);
    bStale = false;
}

// The cells' numbers as vertices.
std::vector<std::uint32_t> Voro::getNumbers() const {
    std::vector<std::uint32_t> vNumbers;
    vNumbers.reserve(vCCD.size());
    pCells->forEachNumber([&](std::uint32_t number) {
        if (vNumbers.size() < vCCD.size() && pCells->getCode(number) == vCCD[vNumbers.size()])
            vNumbers.push_back(number);
    });
    ASSEX(vNumbers.size()==vCCD.size());
    return vNumbers;
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
    fillStaticVCD2CCD();
    // Numbers of triangles: how many a block has, then its first ones. Those of
    // quads follow all others.
    const std::size_t numBlocks = vStaticVCD2CCD.getNumBlocks();
    // Both passes over the blocks, then one over the vertices.
    Progress* pProgress = getProgress()->getChildProgressSetTodo("VO_ftx", 2 * numBlocks + vCCD.size());
    const auto onGroup = [pProgress](std::size_t num) { pProgress->tick(num); };
    std::vector<std::array<std::uint32_t, 2>> vNext(numBlocks, {0, 0});
    const auto countTriangles = [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            forEachTriangle(CornerCells::CornerBlock(vStaticVCD2CCD, i, false), cornerRows,
                            [&](unsigned, const CornerRows::Triangle&, bool bOfQuad) { ++vNext[i][bOfQuad]; });
    };
    parallelGroups(numBlocks, minBlocks, countTriangles, onGroup);
    std::size_t num = 0;
    for (std::size_t bOfQuad = 0; bOfQuad < 2; ++bOfQuad)
        for (auto& next : vNext) num += std::exchange(next[bOfQuad], static_cast<std::uint32_t>(num));
    ASSEX(num<CellMap::none);
    const std::vector<std::uint32_t> vNumbers = getNumbers();
    const auto writeAll = [&](const CMesh::TriangleWriter& write) {
        const auto writeBlocks = [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                const CornerCells::CornerBlock block(vStaticVCD2CCD, i, true);
                forEachTriangle(block, cornerRows,
                                [&](unsigned corner, const CornerRows::Triangle& triangle, bool bOfQuad) {
                                    const auto vertex = [&](std::size_t cell) {
                                        return vNumbers[block.getCell(corner, triangle.cells[cell])];
                                    };
                                    write(vNext[i][bOfQuad]++, {vertex(0), vertex(1), vertex(2)}, block.getVCD(corner),
                                          block.getConfig(corner));
                                });
            }
        };
        parallelGroups(numBlocks, minBlocks, writeBlocks, onGroup);
    };
    pMesh->createTriangles(static_cast<std::uint32_t>(num), writeAll, pProgress);
    pProgress->finish(true);

    pProgress = getProgress()->getChildProgressSetTodo("VO_amb", vCCD.size());
    pMesh->killDuplicateTriangles(pProgress);
    pProgress->finish(true);
}

void Voro::createExtraCCDs_borderFix(const std::vector<uint64>& vVCD, std::vector<uint64>& vExtraCCD,
                                     std::vector<uint64>& vKillCCD) {
    fillStaticVCD2CCD();
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
    bStale = true;
    for (const uint64 ccd : vExtraCCD) pCells->addNumber(ccd);
    fatExtractTriangles();
    std::vector<uint64> vCollapsed;
    std::copy_if(vCCD.begin(), vCCD.end(), std::back_inserter(vCollapsed),
                 [&](uint64 ccd) { return !pCells->get(ccd); });
    addSorted(vExtraCCD, vCollapsed);
    constexpr double centre = std::numeric_limits<double>::max();
    for (const uint64 ccd : vExtraCCD) pMesh->addBundle(ccd, centre, centre, centre);
    pMesh->collapseExtraBundles();
    pMesh->averageAllBundles();
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

void Voro::dropCellsWithoutBundle() {
    if (std::erase_if(vCCD, [&](uint64 ccd) { return !pCells->get(ccd); }) > 0) bStale = true;
}

}  // namespace QUOR_ZEF
