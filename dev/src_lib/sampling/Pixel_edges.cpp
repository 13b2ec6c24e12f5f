#include <algorithm>
#include <string>
#include <tuple>

#include "frame/Progress.h"
#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "parallel/sortMT.h"
#include "sampling/Pixel.h"

namespace QUOR_ZEF {

namespace {

// From here on only borders are features, and the order of the chains turns round.
constexpr double noSharpEdges = 360.0;

std::vector<FeatureRecord> inChainOrder(std::vector<FeatureRecord> vFeatures, double featureAngle) {
    Progress* pProgress = getProgress()->getChildProgressSetTodo("reo", 1);
    FeatureChains(vFeatures).rewrite(vFeatures);
    if (featureAngle >= noSharpEdges) std::reverse(vFeatures.begin(), vFeatures.end());
    pProgress->tick();
    pProgress->finish(true);
    return vFeatures;
}

}  // namespace

void Pixel::pixelAllEdges(double featureAngle, std::vector<CodedPoint>& vEdgeSamples,
                          std::vector<CellPair>& vFeatureEdges, std::vector<CellPair>& vBorderEdges) {
    std::vector<FeatureRecord> vFeatures;
    std::vector<std::uint32_t> vSmoothEdges;
    findFeatures(featureAngle, vFeatures, vSmoothEdges);
    sortMT(vFeatures.begin(), vFeatures.end(), [](const FeatureRecord& a, const FeatureRecord& b) {
        return std::tie(a.value, a.pSrc, a.pTrg) < std::tie(b.value, b.pSrc, b.pTrg);
    });
    vFeatures = inChainOrder(std::move(vFeatures), featureAngle);
    pixelFeatureEnds(vFeatures, vEdgeSamples);
    pixelFeatureEdges(vFeatures, vEdgeSamples, vFeatureEdges, vBorderEdges);
    pixelSmoothEdges(vSmoothEdges, vEdgeSamples);
}

// vSmoothEdges: the first record of each edge that is not a feature.
void Pixel::findFeatures(double featureAngle, std::vector<FeatureRecord>& vFeatures,
                         std::vector<std::uint32_t>& vSmoothEdges) {
    Progress* pProgress = getProgress()->getChildProgressSetTodo("dih2e", vEdge2Tri.size());
    vSmoothEdges.reserve(vEdge2Tri.size() / 2);
    for (std::size_t first = 0; first < vEdge2Tri.size();) {
        const std::size_t last = endOfRun(first);
        const double value = last - first == 1 ? borderEdgeValue : largestAngle(first, last);
        if (last - first == 1 || value > featureAngle) {
            vFeatures.push_back({value, lowEnd(vEdge2Tri[first]), highEnd(vEdge2Tri[first])});
        } else {
            vSmoothEdges.push_back(static_cast<std::uint32_t>(first));
        }
        for (; first < last; ++first) pProgress->tick();
    }
    pProgress->finish(true);
}

// Between the first triangle of an edge and any other one, in degrees; 0 if flat.
double Pixel::largestAngle(std::size_t first, std::size_t last) {
    const Point3* const p = lowEnd(vEdge2Tri[first]);
    const Point3* const q = highEnd(vEdge2Tri[first]);
    const Vector3 normal = vTri[vEdge2Tri[first].second / 3].getNNV(p, q);
    double largest = -1.0;
    for (std::size_t i = first + 1; i < last; ++i) {
        const Vector3 other = vTri[vEdge2Tri[i].second / 3].getNNV(p, q) * -1.0;
        largest = std::max(largest, getAngleDeg(normal, other));
    }
    return largest;
}

void Pixel::pixelFeatureEnds(const std::vector<FeatureRecord>& vFeatures, std::vector<CodedPoint>& vEdgeSamples) {
    Progress* pProgress = getProgress()->getChildProgressSetTodo("rFins", vFeatures.size());
    for (auto it = vFeatures.rbegin(); it != vFeatures.rend(); ++it) {
        for (const Point3* pEnd : {it->pSrc, it->pTrg}) {
            const uint64 code = pCalc->getRCD(*pEnd);
            if (takenCells.insert(code)) vEdgeSamples.emplace_back(code, *pEnd);
        }
        pProgress->tick();
    }
    pProgress->finish(true);
}

void Pixel::pixelFeatureEdges(const std::vector<FeatureRecord>& vFeatures, std::vector<CodedPoint>& vEdgeSamples,
                              std::vector<CellPair>& vFeatureEdges, std::vector<CellPair>& vBorderEdges) {
    Progress* pProgress = getProgress()->getChildProgressSetTodo("feate", vFeatures.size());
    std::vector<CodedPoint> vRaster;
    for (auto it = vFeatures.rbegin(); it != vFeatures.rend(); ++it) {
        const bool bBorder = it->value == borderEdgeValue;
        vRaster.clear();
        rasterizeEdge(*it->pSrc, *it->pTrg, vRaster);
        uint64 ccd0 = 0;
        for (std::size_t i = 0; i < vRaster.size(); ++i) {
            if (takenCells.insert(vRaster[i].first)) vEdgeSamples.push_back(vRaster[i]);
            const uint64 ccd1 = pCalc->getCCD(vRaster[i].second);
            if (i > 0) {
                ASSEX(ccd0!=ccd1);
                vFeatureEdges.push_back(std::minmax(ccd0, ccd1));
                if (bBorder) vBorderEdges.push_back(vFeatureEdges.back());
            }
            ccd0 = ccd1;
        }
        pProgress->tick();
    }
    pProgress->finish(true);
}

void Pixel::pixelSmoothEdges(const std::vector<std::uint32_t>& vSmoothEdges, std::vector<CodedPoint>& vEdgeSamples) {
    Progress* pProgress = getProgress()->getChildProgressSetTodo("nfeate", vSmoothEdges.size());
    std::size_t numUncut = 0;
    std::vector<CodedPoint> vRaster;
    for (const std::uint32_t first : vSmoothEdges) {
        const Point3* const p = lowEnd(vEdge2Tri[first]);
        const Point3* const q = highEnd(vEdge2Tri[first]);
        const Plane plane(*p, vTri[vEdge2Tri[first].second / 3].getNNV(p, q));
        vRaster.clear();
        rasterizeEdge(*p, *q, vRaster);
        for (CodedPoint& sample : vRaster) {
            if (!takenCells.insert(sample.first)) continue;
            if (!projectCentre(sample.first, plane, sample.second)) {
                bool bOK = false;
                const Point3 mid = getMidOfCutPlane(sample.first, plane, bOK);
                if (!bOK) ++numUncut;
                if (bOK && pCalc->getRCD(mid) == sample.first) sample.second = mid;
            }
            vEdgeSamples.push_back(sample);
        }
        pProgress->tick();
    }
    if (numUncut > 0) {
        showWarning(where(__PRETTY_FUNCTION__, __LINE__),
                    "Not enough intersections, numCuts: below 3 in " + std::to_string(numUncut) + " cells");
    }
    pProgress->finish(true);
}

}  // namespace QUOR_ZEF
