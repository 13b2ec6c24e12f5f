#pragma once

#include <memory>
#include <vector>

#include "cloud/Cloud.h"

namespace QUOR_ZEF {

// Owns the clouds of a run and hands out their cells. Every entry of the library
// adds exactly one cloud, and only the first is read. A short-lived local object.
class CloudMgr {
public:
    ScanChoices choices;  // for clouds added from now on

    // Adds a cloud and prepares it completely. Returns its measured spacing in
    // world units, -1 if it was given or the cloud is empty.
    // points: scan points, or triangle corners if bMelt; borrowed, not changed.
    // absSpacing, spacingFactor: world units and a multiplier; 0 or below: not given.
    // featureAngle: degrees, read only if bMelt. pCalc: a grid to copy, or null.
    // Fails an ASSEX on a spacing that is not usable.
    double inputPointsViaMemory(const PointSource& points, double absSpacing, double spacingFactor, bool bMelt,
                                double featureAngle, bool bSmooth, Calc* pCalc, int numGrowSteps);

    // The occupied cells of the first cloud, one Bundle each, ascending by ccd.
    // vBundles is appended to; the Bundles die with their Cloud. pCalc: its grid,
    // not handed over, null if the cloud was empty. No cloud fails an ASSEX.
    // One thread at a time; one parallel sort, O(n log n).
    void getBundles(std::vector<Bundle*>& vBundles, const Calc*& pCalc);

    const std::vector<std::unique_ptr<Cloud>>& getClouds() const { return vClouds; }

private:
    std::vector<std::unique_ptr<Cloud>> vClouds;
};

}  // namespace QUOR_ZEF
