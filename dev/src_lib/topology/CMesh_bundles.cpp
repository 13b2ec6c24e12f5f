#include <algorithm>
#include <limits>

#include "frame/tools.h"
#include "grid/Calc.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

namespace {

// The mean of the neighbours lies on a line or on a neighbour in regular
// surroundings; going a little beyond it, with jitter in x, avoids both.
constexpr double overshoot = 1.003;
constexpr double maxJitter = 1e-5;  // world units

// A sum of positions.
struct Sum {
    double x = 0.0, y = 0.0, z = 0.0;
    int count = 0;

    void add(const Point3& p) {
        p.addOwnCoords(x, y, z);
        ++count;
    }
    void add(const Sum& s) {
        x += s.x;
        y += s.y;
        z += s.z;
        count += s.count;
    }
    Point3 mean() const { return {x / count, y / count, z / count}; }
};

}  // namespace

bool CMesh::isExtra(uint64 ccd) const {
    const std::uint32_t number = pCells->getNumber(ccd);
    return number < vIsExtra.size() && vIsExtra[number];
}

void CMesh::addBundle(uint64 ccd, double x, double y, double z) {
    constexpr double centre = std::numeric_limits<double>::max();
    auto pExtra = std::make_unique<ExtraBundle>();
    pExtra->point = x == centre && y == centre && z == centre ? pCalc->getCellCenter(ccd) : Point3(x, y, z);
    ASSEX(pCalc->getCCD(pExtra->point) == ccd);
    pExtra->pPoint = &pExtra->point;
    pExtra->ccd = ccd;
    pCells->insert(ccd, pExtra.get());
    vIsExtra.resize(pCells->getNumNumbers());
    vIsExtra[pCells->getNumber(ccd)] = true;
    vExtraBundles.push_back(std::move(pExtra));
    averageBundle(vExtraBundles.back().get());
}

void CMesh::averageBundle(Bundle* pBundle) {
    std::vector<CEdge*> vEdges;
    getIncidentEdges(pBundle->ccd, vEdges);
    if (vEdges.size() < 2) return;
    Sum real, extra;
    const Point3* pAnyRingVtx = nullptr;
    for (const CEdge* pCE : vEdges) {
        ASSEX(pCE->getDegree()>0);
        const uint64 other = pCE->getOtherVCD(pBundle->ccd);
        const Bundle* pOther = pCells->get(other);
        if (!pOther) continue;
        pAnyRingVtx = pOther->pPoint;
        (isExtra(other) ? extra : real).add(*pAnyRingVtx);
    }
    if (real.count < 3) real.add(extra);
    if (real.count == 0) return;
    ASSEX(pAnyRingVtx!=0);
    Point3 position = *pAnyRingVtx + (real.mean() - *pAnyRingVtx) * overshoot;
    position.px += rand.next() * maxJitter / Rand15::maxValue;
    *pBundle->pPoint = pCalc->getCCD(position) == pBundle->ccd ? position : pCalc->getCellCenter(pBundle->ccd);
}

// Those that came later may lie before others.
void CMesh::sortExtraBundles() {
    std::stable_sort(vExtraBundles.begin(), vExtraBundles.end(),
                     [](const auto& a, const auto& b) { return a->ccd < b->ccd; });
}

void CMesh::averageAllBundles() {
    sortExtraBundles();
    for (const auto& pExtra : vExtraBundles) averageBundle(pExtra.get());
}

void CMesh::collapseExtraBundles() {
    sortExtraBundles();
    std::vector<CEdge*> vEdges;
    for (auto& pExtra : vExtraBundles) {
        const uint64 ccd = pExtra->ccd;
        vEdges.clear();
        getIncidentEdges(ccd, vEdges);
        const bool bCollapsed = std::any_of(vEdges.begin(), vEdges.end(), [&](const CEdge* pCE) {
            return collapseEdgeToEndpoint(pCE, ccd, pCE->getOtherVCD(ccd));
        });
        if (!bCollapsed) continue;
        if (pCells->get(ccd) == pExtra.get()) {
            pCells->erase(ccd);
            vIsExtra[pCells->getNumber(ccd)] = false;
        }
        pExtra.reset();
    }
    std::erase(vExtraBundles, nullptr);
}

}  // namespace QUOR_ZEF
