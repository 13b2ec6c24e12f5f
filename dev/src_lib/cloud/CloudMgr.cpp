#include "cloud/CloudMgr.h"

#include <utility>

#include "frame/tools.h"
#include "grid/Calc.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

using CodedBundle = std::pair<uint64, Bundle*>;

// A colour for the last of several Bundles of one cell, if the first has one.
// The sums of 0 to 255 are divided by 255 as well, so that channels come out as
// 0 or 1: a known property, which one cloud with its unique codes never shows.
void mergeColors(const CodedBundle* first, const CodedBundle* last) {
    if (last - first < 2 || !first->second->pPoint->hasColor()) return;
    float r = 0.f, g = 0.f, b = 0.f, a = 0.f;
    for (const CodedBundle* it = first; it != last; ++it) it->second->pPoint->addOwnColor(r, g, b, a);
    const float divisor = 255.f * static_cast<float>(last - first);
    const auto channel = [divisor](float sum) { return static_cast<std::uint8_t>(sum / divisor); };
    last[-1].second->pPoint->setColor(channel(r), channel(g), channel(b), channel(a));
}

}  // namespace

double CloudMgr::inputPointsViaMemory(const PointSource& points, double absSpacing, double spacingFactor, bool bMelt,
                                      double featureAngle, bool bSmooth, Calc* pCalc, int numGrowSteps) {
    vClouds.push_back(std::make_unique<Cloud>("inputPointsViaMemory", absSpacing, spacingFactor, bMelt, numGrowSteps));
    Cloud& cloud = *vClouds.back();
    cloud.choices = choices;
    cloud.setPoints(points);
    if (bMelt) {
        cloud.preparePixelsAndFeatures(featureAngle);
    } else {
        cloud.prepareScanPoints(bSmooth, pCalc);
    }
    return cloud.getEstimatedSpacing();
}

void CloudMgr::getBundles(std::vector<Bundle*>& vBundles, const Calc*& pCalc) {
    ASSEX(!vClouds.empty());
    const Cloud& cloud = *vClouds.front();
    pCalc = cloud.getCalc();
    std::vector<CodedBundle> vCoded;
    cloud.getBundles(vCoded);
    vBundles.reserve(vBundles.size() + vCoded.size());
    sortStableByFirstMT(vCoded.begin(), vCoded.end());
    const CodedBundle* const end = vCoded.data() + vCoded.size();
    for (const CodedBundle* first = vCoded.data(); first != end;) {
        const CodedBundle* last = first + 1;
        while (last != end && last->first == first->first) ++last;
        mergeColors(first, last);
        vBundles.push_back(last[-1].second);
        first = last;
    }
}

}  // namespace QUOR_ZEF
