#pragma once

#include <memory>
#include <vector>

#include "frame/types.h"
#include "grid/Bundle.h"
#include "grid/Calc.h"
#include "repair/Top.h"
#include "topology/CMesh.h"
#include "topology/CellMap.h"
#include "zef/Point3.h"

// What the figures show: a small cloud, and what the stages of the library make of it.
namespace figures {

using QUOR_ZEF::Point3;
using QUOR_ZEF::RCDPoint;
using QUOR_ZEF::uint64;
using QUOR_ZEF::Vector3;

// A bent sheet with a hole and a crack, and beside it an open box that stands askew.
std::vector<Point3> makeCloud();

// Plans all stages on the calling thread.
void planStages();

// The cells of the cloud, stage by stage.
struct Cells {
    std::unique_ptr<QUOR_ZEF::Calc> pCalc;
    double measuredSpacing = 0.0;
    std::vector<RCDPoint> vBand;    // one sample a cell
    std::vector<RCDPoint> vThin;    // what thinning leaves
    std::vector<RCDPoint> vFilled;  // vThin with the filling that stays
};
Cells runCellStages(const std::vector<Point3>& vPoints);

// Which of the two shapes a point belongs to.
bool isInSheet(const Point3& p);
// Those of the sheet alone, and what closes the gaps in it.
std::vector<RCDPoint> takeSheet(const std::vector<RCDPoint>& vCells);
std::vector<RCDPoint> fillGaps(const std::vector<RCDPoint>& vCells, const QUOR_ZEF::Calc& calc, int numGrowSteps);
// As Filler::fill() leaves it.
std::vector<RCDPoint> fillAll(const std::vector<RCDPoint>& vCells, const QUOR_ZEF::Calc& calc, int numGrowSteps);

// A mesh of cells with all that it stands on.
class CellMesh {
public:
    CellMesh(const std::vector<RCDPoint>& vCells, const QUOR_ZEF::Calc& calc);
    ~CellMesh();
    // Repairs it as a reconstruction does, or a melt.
    void repair();
    void repairMelt();
    QUOR_ZEF::CMesh& get() { return *pMesh; }
    const QUOR_ZEF::Calc& getCalc() const { return calc; }

private:
    const QUOR_ZEF::Calc& calc;
    std::vector<Point3> vPoints;
    std::vector<QUOR_ZEF::Bundle> vBundles;
    QUOR_ZEF::CellMap map;
    std::unique_ptr<QUOR_ZEF::Voro> pVoro;
    std::unique_ptr<QUOR_ZEF::CMesh> pMesh;
};

// The corners of the triangles of a house, three each.
std::vector<Point3> makeHouse();

// Points inside these bodies.
extern const Point3 middleOfBox, middleOfHouse;

}  // namespace figures
