#pragma once

#include <memory>
#include <vector>

#include "grid/Bundle.h"
#include "topology/CellMap.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

class CMesh;
class Calc;
class CloudMgr;
class Mesh;
class RMesh;

// Drives one run from the prepared cells to a mesh or a cloud, and holds the
// order of the stages. Lives in one public entry and serves one call. The thread's
// progress root must plan the stages; an exception frees everything.
class Hal {
public:
    // pManager: with one prepared cloud; not owned, must outlive this.
    explicit Hal(CloudMgr* pManager);
    ~Hal();
    Hal(const Hal&) = delete;
    Hal& operator=(const Hal&) = delete;

    // The mesh of the cells, repaired for scans or for triangle soup; null, with a
    // message, if there are no cells.
    // bToTake: all that is done with the mesh is Mesh::releaseTriangles(); sooner.
    std::shared_ptr<Mesh> reconstruct(bool bToTake);
    std::shared_ptr<Mesh> oneMelt();

    // Appends the samples of the cells, ascending by cell. They are owned by the
    // cloud, so copy them before the CloudMgr dies.
    void toCloud(std::vector<Point3*>& vOut);

    // Cells found by the last call.
    std::size_t getNumCells() const { return vBundles.size(); }

private:
    enum class Repair { scan, unevenScan, soup };

    void prepareBundleMap();
    std::shared_ptr<Mesh> polygonise(Repair repair, bool bToTake);

    CloudMgr* pCloudMgr;            // not owned
    const Calc* pCalc = nullptr;    // the cloud's
    std::vector<Bundle*> vBundles;  // the cloud's, ascending by cell
    CellMap mCode2Bundle;
    std::unique_ptr<CMesh> pCMesh;  // set while a mesh is being made
};

}  // namespace QUOR_ZEF
