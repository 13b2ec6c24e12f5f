#include <algorithm>
#include <bit>
#include <limits>
#include <memory>

#include "cloud/Cloud.h"
#include "frame/License.h"
#include "frame/tools.h"
#include "grid/Calc.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"
#include "sampling/Pixel.h"

namespace QUOR_ZEF {

namespace {

using HashedIndex = std::pair<uint64, uint64>;

// Equal for equal coordinates; adding 0 makes -0 a 0.
uint64 hashOf(const Point3& p) {
    uint64 hash = 0;
    for (const double coordinate : {p.px, p.py, p.pz}) {
        // Odd constants that spread each bit over the upper half, then a fold back.
        hash = (hash ^ std::bit_cast<uint64>(coordinate + 0.0)) * 0xbf58476d1ce4e5b9;
        hash = (hash ^ hash >> 29) * 0x94d049bb133111eb;
        hash ^= hash >> 32;
    }
    return hash;
}

// Positions that differ and share a hash come apart; a run is nearly always one position.
void sortByPosition(HashedIndex* first, HashedIndex* last, const std::vector<Point3>& vPoints) {
    const Point3& p = vPoints[first->second];
    if (std::all_of(first, last, [&](const HashedIndex& h) { return vPoints[h.second] == p; })) return;
    std::sort(first, last, [&](const HashedIndex& a, const HashedIndex& b) {
        const Point3 &pA = vPoints[a.second], &pB = vPoints[b.second];
        return pA != pB ? pA < pB : a.second < b.second;
    });
}

// For each point the first one of its position.
std::vector<Point3*> firstOfEqualPositions(std::vector<Point3>& vPoints) {
    constexpr std::size_t minChunk = 10'000;
    std::vector<HashedIndex> vHashed(vPoints.size());
    parallelChunks(vPoints.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) vHashed[i] = {hashOf(vPoints[i]), i};
    });
    sortStableByFirstMT(vHashed.begin(), vHashed.end());
    std::vector<Point3*> vFirst(vPoints.size());
    HashedIndex* const end = vHashed.data() + vHashed.size();
    for (HashedIndex* first = vHashed.data(); first != end;) {
        HashedIndex* const last =
            std::find_if(first, end, [&](const HashedIndex& h) { return h.first != first->first; });
        sortByPosition(first, last, vPoints);
        Point3* pFirst = &vPoints[first->second];
        for (; first != last; ++first) {
            if (vPoints[first->second] != *pFirst) pFirst = &vPoints[first->second];
            vFirst[first->second] = pFirst;
        }
    }
    return vFirst;
}

}  // namespace

void Cloud::preparePixelsAndFeatures(double featureAngle) {
    passLicenseGate("preparePixelsAndFeatures", numPoints);
    ASSEX(bMelt);
    if (vPoints.empty()) {
        showWarning(where(__PRETTY_FUNCTION__, __LINE__), "Nothing to do for cloud " + name);
        return;
    }
    usedSpacing = absSpacing;
    createCalc();
    std::vector<Point3> vSamples;
    {
        Pixel pixel(firstOfEqualPositions(vPoints), pCalc.get());
        pixel.pixelAll(vSamples, vFeatureEdges, vBorderEdges, featureAngle);
    }
    passLicenseGate("number of samples", vSamples.size());
    vPoints.swap(vSamples);
    makeBundlesOfSamples();
}

// Each sample has a cell of its own.
void Cloud::makeBundlesOfSamples() {
    ASSEX(vPoints.size()<=static_cast<std::size_t>(std::numeric_limits<int>::max()));
    const int n = static_cast<int>(vPoints.size());
    bundlePool.init(n, std::max(n / 5, 100));
    vBundles.reserve(vPoints.size());
    for (Point3& sample : vPoints) {
        vBundles.push_back(std::construct_at(bundlePool.alloc(), Bundle{&sample, pCalc->getCCD(sample)}));
    }
}

}  // namespace QUOR_ZEF
