#include "api/Hal.h"

#include <algorithm>

#include "api/MeshBody.h"
#include "cloud/CloudMgr.h"
#include "frame/Progress.h"
#include "frame/tools.h"
#include "polygon/Voro.h"
#include "refine/flatten.h"
#include "repair/Top.h"
#include "topology/CMesh.h"
#include "zef/Mesh.h"

namespace QUOR_ZEF {

namespace {

// Where points are sparse or in steps, pieces with much border are surface as well.
constexpr Top::Fringes unevenFringes = {8, 24};

}  // namespace

Hal::Hal(CloudMgr* pManager) : pCloudMgr(pManager) {}

Hal::~Hal() = default;

void Hal::prepareBundleMap() {
    std::sort(vBundles.begin(), vBundles.end(), [](const Bundle* a, const Bundle* b) { return a->ccd < b->ccd; });
    mCode2Bundle.build(vBundles);
}

std::shared_ptr<Mesh> Hal::reconstruct(bool bToTake) {
    Progress* pProgress = getProgress()->getChildProgressSetTodo("HL_st", 9);
    pCloudMgr->getBundles(vBundles, pCalc);
    if (vBundles.empty()) {
        showError(where(__PRETTY_FUNCTION__, __LINE__), "Nothing to do (bad input? wrong resolution?)");
        return nullptr;
    }
    pProgress->tick();
    prepareBundleMap();
    pProgress->tick();
    pProgress->finish(true);
    const bool bUneven = pCloudMgr->getClouds().front()->foundDensity.uneven;
    return polygonise(bUneven ? Repair::unevenScan : Repair::scan, bToTake);
}

std::shared_ptr<Mesh> Hal::oneMelt() {
    pCloudMgr->getBundles(vBundles, pCalc);
    if (vBundles.empty()) {
        showWarning(where(__PRETTY_FUNCTION__, __LINE__), "MELT: Nothing to do");
        return nullptr;
    }
    prepareBundleMap();
    return polygonise(Repair::soup, false);
}

std::shared_ptr<Mesh> Hal::polygonise(Repair repair, bool bToTake) {
    {
        Voro voro(pCalc, &mCode2Bundle, TM_FAT);
        voro.fatExtractTriangles();
        pCMesh = voro.releaseMesh();
        Top top(pCMesh.get(), pCalc);
        if (repair == Repair::soup) {
            top.runMelt(&voro);
        } else {
            top.run(&voro, repair == Repair::scan ? Top::Fringes{} : unevenFringes);
        }
    }
    auto pBody = std::make_unique<MeshBody>(flatten(*pCMesh), pCMesh->getCellSize());
    // The triangles are all that is needed, and what follows wants memory.
    pCMesh.reset();
    bToTake ? pBody->finishToTake() : pBody->finish();
    return std::make_shared<Mesh>(std::move(pBody));
}

void Hal::toCloud(std::vector<Point3*>& vOut) {
    Progress* pProgress = getProgress()->getChildProgressSetTodo("hal-part", 2);
    pCloudMgr->getBundles(vBundles, pCalc);
    pProgress->tick();
    if (vBundles.empty()) showWarning(where(__PRETTY_FUNCTION__, __LINE__), "toCloud: Nothing to do");
    vOut.reserve(vOut.size() + vBundles.size());
    for (const Bundle* pBundle : vBundles) vOut.push_back(pBundle->pPoint);
    pProgress->tick();
    pProgress->finish(true);
}

}  // namespace QUOR_ZEF
