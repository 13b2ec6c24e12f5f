#pragma once

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "frame/types.h"
#include "geometry/PointSource.h"
#include "grid/Bundle.h"
#include "store/SimplePool.h"
#include "zef/Point3.h"
#include "zef/reconstruction.h"

namespace QUOR_ZEF {

class Calc;
class RemoveDecider_RCD;
class Smooth;
class ThinSheets;

// How scans are treated; what nobody asks for is as in the older entries.
struct ScanChoices {
    bool bKeepBorders = false;  // gaps are filled without moving open borders
    bool bGrowFar = false;      // what stays open is tried again from farther, see GapCloser
    bool bKeepOutliers = true;  // false: strays and flying points are left out
    Density density = Density::EVEN;
    int numLevels = 0;        // see ReconstructOptions::levels
    bool bKeepInput = false;  // Cloud::counted is wanted
    // Whether even scans are smoothed where their noise wants it, also if nobody asks for that.
    bool bSmoothNoisy = false;
    bool bSpreadThin = false;  // of even scans: see ThinSheets
    std::optional<Grid> grid;  // nothing is measured then
};

Calc calcOf(const Grid& grid);
// With room around for what neighbours and growth want of a cell. Points elsewhere are strays.
bool isInGrid(const Calc& calc, const Point3& p);

// One point set on its way from raw input to one Bundle per occupied cell.
//
// Scans: setPoints, then prepareScanPoints. Triangles: setPoints, then
// preparePixelsAndFeatures.
// The progress root of the calling thread must plan "CL_eres", "SM_run" and
// "CL_creb", or for triangles the children that Pixel.h names. One thread at a
// time; sorts and transforms run on the pool.
class Cloud {
public:
    int numGrowSteps;      // 0 or below: gaps stay open
    ScanChoices choices;   // of scans
    std::string name;      // for messages
    double absSpacing;     // the cell size asked for, world units; 0 or below: measure it
    double spacingFactor;  // multiplier on the measured spacing
    bool bMelt;            // the points are triangle corners
    DensityReport foundDensity;
    std::vector<std::pair<uint64, float>> vAddedCells;  // see Densifier
    uint64 numPoints = 0;                               // finite points of the input that are not left out
    uint64 numStrays = 0, numOutliers = 0;              // those that are
    double estimatedSpacing = -1.0;                     // measured, world units; -1 until measured
    double usedSpacing = -1.0;                          // the grid's; -1 until settled
    std::unique_ptr<Calc> pCalc;                        // null until the grid stands
    PointSource input;                                  // the finite points, where they lie
    Point3 lowCorner, highCorner;                       // of scans: of the box of the points that are not left out
    PointSource counted;                                // of scans, if wanted: the input less what was left out
    Grid foundGrid;                                     // of scans, once their nodes stand
    // Of triangles: the corners, then the samples; of uneven scans: the points and those
    // added. None once the samples stand.
    std::vector<Point3> vPoints;
    std::unique_ptr<ThinSheets> pThin;  // moves samples back; null: nothing was moved
    std::vector<Bundle*> vBundles;      // the result, in the pools below
    SimplePool<Bundle> bundlePool;
    SimplePool<Point3> pointPool;
    std::array<double, 3> bboxMin{}, bboxMax{};  // world units; widened by createCalc
    // Of triangles: the CCDs of cells that follow each other along the feature
    // edges, the smaller one first; and those of them that lie along border edges.
    std::vector<std::pair<uint64, uint64>> vFeatureEdges, vBorderEdges;

    // See the fields of like names; cloudName appears in messages.
    Cloud(const std::string& cloudName, double spacing, double factor, bool bCorners, int growSteps);
    ~Cloud();
    Cloud(const Cloud&) = delete;
    Cloud& operator=(const Cloud&) = delete;

    // Takes the finite points and measures their box. Others are left out, with one
    // warning that counts them; of triangle corners, with their triangle. Strays as well,
    // unless outliers are kept, with another warning. Borrowed until the Bundles stand;
    // corners are copied.
    void setPoints(PointSource points);

    // Unless outliers are kept, leaves out what flies off the surfaces and measures the
    // box again. Takes the progress child "CL_out". The spacing, if given, has no say.
    void leaveOutFlyingPoints();

    // Everything up to the Bundles. pGivenCalc: a grid to copy, or null to lay one.
    // Without points it warns and leaves everything empty.
    void prepareScanPoints(bool bSmooth, const Calc* pGivenCalc);
    // The first half of it, after which foundGrid stands.
    void findGrid(bool bSmooth);

    // Settles usedSpacing: absSpacing if given, else what the points show, times
    // spacingFactor. The measurement sorts one code per point and searches no
    // neighbours. A cloud without extent fails an ASSEX.
    void estimateResolution();

    // Lays a grid of cubic cells of usedSpacing over the box, with 5000 cells of
    // margin, so that no later step can leave it. Fails an ASSEX if the spacing is
    // not positive, too fine for the extent, or below what coordinates of this
    // size can resolve.
    void createCalc();

    // ---- Cloud_density.cpp: parts that are too sparse for the grid

    // Whether they are to be served. Measures the density if that is to decide, on a grid of
    // its own, so that the spacing asked for has no say. Takes the progress child "CL_dens".
    bool isUneven();
    // Puts points into them. Lays a coarser grid if they take too many cells, but where the
    // spacing was given leaves the sparsest as they are; either with a warning.
    void serveSparseParts();
    void expectCosts(std::size_t numInGrid, std::size_t numCells = 0, bool bScattered = false) const;

    // ---- Cloud.cpp

    // Turns the nodes of the finished Smooth, which it consumes, into Bundles.
    void createBundles(std::unique_ptr<Smooth> pSmooth);

    double getEstimatedSpacing() const { return estimatedSpacing; }
    const Calc* getCalc() const { return pCalc.get(); }
    bool isMelt() const { return bMelt; }
    // Appends (code, Bundle), in the order of creation.
    void getBundles(std::vector<std::pair<uint64, Bundle*>>& vOut) const;

    // ---- Cloud_clean.cpp: which cells stay

    // One sample per cell, thinned to a surface, gaps filled if asked for, as
    // (CCD, sample); the cells of the input ascend, filled ones follow. Empties vSamples.
    void cleanPoints_RCD(std::vector<Point3>& vSamples, std::vector<RCDPoint>& vOut,
                         const std::function<void(std::size_t numCells)>& beforeFilling,
                         const std::function<void()>& beforeGrowth);

    // One pair per cell, ascending: of several samples the one of lowest index.
    // vAllRCDOut: the same codes. Empties vSamples.
    void getRCD2Point(std::vector<Point3>& vSamples, std::vector<RCDPoint>& vRCDPoint, std::vector<uint64>& vAllRCDOut);

    // Thins the band of cells; vAllRmg: the cells that stay, ascending.
    void pruneBorders(std::vector<RCDPoint>& vRCDPoint, std::vector<uint64>& vAllRCD, std::vector<uint64>& vAllRmg);

    // Dooms border cells that stand out alone from an open rim.
    void postBorderPruning(RemoveDecider_RCD& decider, const std::vector<RCDPoint>& vRCDPoint);

    // The widest angle, in degrees, that the neighbour in the middle of the list
    // spans with another, seen from the first point. The list is not sorted by
    // angle, and the last neighbour has no say. 0 below three points.
    static double getMedianWedge(const std::vector<Point3>& vAxPlusNeigs);

    // ---- Cloud_melt.cpp: triangles instead of scan points

    // Everything up to the Bundles, one per sample in the order of Pixel, on a grid
    // of cells of absSpacing. Equal positions are one corner; -0 equals 0.
    // featureAngle: see Pixel::pixelAll. Without points it warns and leaves
    // everything empty; a number of points that 3 does not divide fails an ASSEX.
    void preparePixelsAndFeatures(double featureAngle);

    // The cells of the input on this grid, in its order.
    std::vector<uint64> getCCDs(const Calc& calc) const;

private:
    void measureBox();
    double getExtent() const;  // the longest side of the box
    void leaveOutStrays();
    void leaveOutOutside(const Calc& calc);
    std::unique_ptr<Smooth> makeNodes(bool bSmooth, const Calc* pGivenCalc);
    void settleGrid();
    void leaveOut(const std::vector<std::size_t>& vPositions);
    void leaveOutBlocks(const std::vector<uint64>& vBlocks, const Calc& calc, int level);
    double measureSpacing();
    double measureUnsupportedShare();
    void spreadThinSheets();
    void warnOfBudget(int numLevels) const;
    void makeBundlesOfSamples();
    void makeBundles(const std::vector<RCDPoint>& vCells);
    void checkScale() const;
    void checkResolution() const;
};

}  // namespace QUOR_ZEF
