#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "frame/types.h"
#include "polygon/Casx.h"
#include "polygon/CornerCells.h"
#include "polygon/CornerRows.h"

namespace QUOR_ZEF {

class CMesh;
class Calc;
class CellMap;

// Makes the first mesh from the surface cells: each grid corner with three to
// seven of them around it gives the triangles of its config. Repair may have the
// cells changed around chosen corners, and the whole mesh made anew.
//
// Lives from the preparation of the cells to the end of repair. The thread's
// progress root must plan "VO_ftx" and "VO_amb". One thread at a time; sorts and
// the extraction run on the pool.
class Voro {
public:
    // Every cell of *pCells that has a Bundle is a surface cell. Borrows both; the
    // grid must reach at least one cell beyond the surface cells on every side.
    // Passes the licence gate "Voro", so it may throw ZefLicenseException.
    Voro(const Calc* pCalc, CellMap* pCells, TriMode mode);
    ~Voro();
    Voro(const Voro&) = delete;
    Voro& operator=(const Voro&) = delete;

    // Makes the mesh of the current cells; triangles ascend by corner, but the
    // quads over the four cells of a block face come last, since their diagonals
    // follow the triangles that stand. The first call creates the CMesh, later
    // ones clear and refill it: its triangles and edges from before are gone.
    // Linear, about 0.2 microseconds a triangle on one thread.
    void fatExtractTriangles();

    // Null before the first extraction.
    CMesh* getCMesh() const { return pMesh; }
    // Hands over the mesh; this object goes on using it, so it must outlive the
    // last borderFix(). Null before the first extraction and at a second call.
    std::unique_ptr<CMesh> releaseMesh();

    // Around the given corners, adds the one or two cells that are missing from an
    // otherwise full block and removes the cells opposite to them where the
    // topology allows it; then extracts again. Added cells have Bundles of the
    // mesh's own. One whose vertex collapses has none, but stays a surface cell, to
    // be added again by the next call: without it that one would bring back what
    // this one has mended, and would not be asked to mend it.
    // vVCD: in any order. A corner beyond the last touched one fails an ASSEX.
    CMesh* borderFix(const std::vector<uint64>& vVCD);
    // Takes cells whose vertex has collapsed out of the surface cells.
    void dropCellsWithoutBundle();

    // For borderFix(). Appends to both lists, and sorts them and makes them unique:
    // the cells missing around the corners, and the cells opposite to them.
    void createExtraCCDs_borderFix(const std::vector<uint64>& vVCD, std::vector<uint64>& vExtraCCD,
                                   std::vector<uint64>& vKillCCD);

    // The config of a corner from its distinct cells; see getCornerConfig().
    int getConfig(uint64 vcd, const std::vector<uint64>& vCells) const { return getCornerConfig(vcd, vCells); }

    // The surface cells, ascending.
    const std::vector<uint64>& getCells() const { return vCCD; }

private:
    void fillStaticVCD2CCD();
    std::vector<std::uint32_t> getNumbers() const;
    void killCCDs(const std::vector<uint64>& vKillCCD, const std::vector<uint64>& vExtraCCD);

    const Calc* pCalc;       // not owned
    CellMap* pCells;         // not owned
    CMesh* pMesh = nullptr;  // pOwnedMesh's, or the one handed over
    std::unique_ptr<CMesh> pOwnedMesh;
    std::vector<uint64> vCCD;    // ascending, unique
    CornerCells vStaticVCD2CCD;  // of vCCD, unless bStale
    bool bStale = true;
    Casx casx;
    CornerRows cornerRows;
};

}  // namespace QUOR_ZEF
