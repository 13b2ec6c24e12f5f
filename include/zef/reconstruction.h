#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "zef/Context.h"
#include "zef/Point3.h"
#include "zef/PointView.h"
#include "zef/TriangleMesh.h"
#include "zef/Vector3.h"
#include "zef/errors.h"
#include "zef/export.h"
#include "zef/meshCheck.h"
#include "zef/refinement.h"

namespace QUOR_ZEF {

// All calls here run on the caller's thread, borrow workers for their parallel
// stretches, and give the same bytes for the same input, whatever the number of threads
// and whatever ran before, and of a cloud whatever the order of its points. Several may
// run at once. Inputs are never changed. Points with a coordinate that is not finite are
// left out, with one warning that counts them (of triangles, the whole triangle).
//
// Throw ArgumentError, NoSurfaceError, TooLargeError, CancelledError, LicenseError,
// InternalError: see errors.h.

// ---- from points to a mesh

// Scans thin out with distance, so that one grid is too fine for some of their parts.
enum class Density : std::uint8_t {
    AUTO,    // as the points are: uneven if more than 2.25 % of them are too sparse for an even grid
    EVEN,    // the grid alone
    UNEVEN,  // sparse parts get points, see ReconstructOptions::levels
};
// What settled which way a piece of the mesh faces. Closed pieces face outward, by VOLUME,
// also a room around its viewpoint. Each open piece goes by the first of these that tells:
//   VIEWPOINT  it looks to ReconstructOptions::viewpoint, most of its area
//   NORMALS    it looks to where the normals of the points near it point, most of them
//   VOLUME     it opens about as wide as half a sphere at the most, as what stands on a table
//              does, with a rim that is not too ragged: it faces outward
//   TERRAIN    heights, along z, spread little beside the horizontal: it looks up
//   AGREEMENT  all pieces look to one place, as in the scan of one view; that from which
//              most area shows one side, least is hidden behind other pieces and there
//              are the fewest gaps between them. Of several, where the pieces bulge to.
//              The pieces agree then, but their common side can be the inner one.
// The first two do not tell of a piece on which their votes cancel out: a viewpoint of a
// nearly closed piece below half of its area in sight, normals below a tenth of them. The
// last two ask all open pieces together; where others went by a viewpoint or by normals,
// what is left agrees with these.
enum class SideRule : std::uint8_t { NONE, VIEWPOINT, NORMALS, VOLUME, TERRAIN, AGREEMENT };

// For people: "viewpoint", "normals", "volume", "terrain", "agreement", and "none".
ZEF_API const char* wordOf(SideRule rule);

// What reconstruct() settles of all points together before it looks at any place. With one grid, runs on parts of a
// scan agree where they overlap, but for what is decided beyond it.
struct Grid {
    Point3 low;                     // lower corner of cell (0, 0, 0)
    double spacing = 0.0;           // edge of a cell
    int numLevels = 0;              // 2 to this power cells along each axis, 21 at the most
    double measuredSpacing = -1.0;  // of the points; -1 if the spacing was given
    bool uneven = false;            // whether sparse parts get points, see Density
    int levels = 0;                 // if so, see ReconstructOptions
    bool smooth = false;            // whether noise is smoothed once more, asked for or not
    // Points that fly are told by blocks of 2^blockLevel cells a side, of a grid of 2^20 cells from this corner on,
    // that is so wide; 0: none are left out.
    Point3 blockLow;
    double blockGridSide = 0.0;
    int blockLevel = 0;
    // What fitting takes for the scatter of points where too few of them tell it, in measured spacings, or else in
    // spacings; see Reconstruction::noise. -1: none is known.
    double noise = -1.0;
    // The coordinate that takes few values, as the depth of a depth camera does: 0, 1 or 2 for x, y or z, and the
    // values, ascending; -1 if none does.
    int stepAxis = -1;
    std::vector<double> stepValues;
};

struct ReconstructOptions {
    // Distance of the mesh vertices, in the unit of the points; 0: the spacing of the
    // points is measured and multiplied by the factor.
    double spacing = 0.0;
    // 1 to 1.5 suits most scans.
    double factor = 1.3;
    // One more pass of smoothing before vertices are made; for noisy scans, and for scans
    // that lie up to a cell apart where they overlap: without it, their surface is bumpy.
    bool smooth = false;
    // How far gaps are closed, in steps of about half a vertex distance from each
    // side; 0 leaves every gap open.
    int growSteps = 20;
    // Whether surface that closing gaps made beyond the rim of an open sheet is taken
    // back, so that true borders stay where the points end. Holes close, and so do cracks
    // between pieces that go on from one to the other; sheets face to face are not joined.
    bool keepBorders = true;
    // Whether points are meshed that belong to no surface: strays, absurdly far from all
    // others, and points that fly, fewer than eight together and several times as far from
    // a surface as points are apart on it. Else they are left out, and counted. Sparse
    // parts of a scan stay in any case.
    bool keepOutliers = false;
    // Where points lie farther apart than the grid bears, their surface is laid through them
    // as flat pieces, each as wide as the points there are apart.
    Density density = Density::AUTO;
    // How often the distance of points may double, from the edge of a grid cell on, until
    // they are too few for a surface; 1 to 10, or 0 for what Density::EVEN does.
    int levels = 4;
    // Whether the mesh is made manifold, as by mend(), its pieces are turned to one side,
    // and its filled places get colours.
    bool mend = true;
    // With mend: handles and tunnels narrower than this, in cells, are cut or filled, whatever is shorter around,
    // unless points hold them open: points around them, and none where they would be closed. Those narrower than about
    // a cell and a half go in any case. The loop around one is at most as long as a circle of that width, and meets no
    // border. Nothing moves by more than half a cell, and what would make triangles intersect stays. 0 to 30; 0 keeps
    // all.
    double minHandle = 3.0;
    // With mend: whether sheets of an even scan that lie too close for the grid, as the two faces of a wall of 1.5
    // cells, stay two; below 1.2 cells they become one, as two scans of one surface do. Where points lie off the mesh
    // for that, they are moved apart, meshed, and moved back, which takes as long again; the mesh becomes this one if
    // it stands for more of the points and gains few borders for that.
    bool thinWalls = true;
    // With mend: whether the mesh is then fitted closer to the points, as by refit(), with this
    // radius in spacings, or 0 for one by the noise.
    bool refit = true;
    double refitRadius = 0.0;
    // With mend: whether triangles that intersect are then parted, as by untangle(). Where floats keep the
    // points to a thousandth of the spacing, vertices are rounded to floats before that.
    bool untangle = true;
    // With mend and untangle: whether every piece is closed, so that it encloses a volume. Border loops that are
    // left get patches: where the surface goes on across them, these continue it; where a loop is flat to
    // within a cell and the surface meets it at an angle, as that of an object on a table, they are flat.
    // Pieces that enclose next to nothing afterwards, as open sheets do, are left out; unless keepInner also
    // pieces inside others; see also thicken.
    bool closed = false;
    bool keepInner = false;
    // Pieces of fewer triangles than this are removed in the end, unless such pieces lie
    // close to each other in number; the largest piece stays in any case. 0 keeps all.
    std::uint32_t minPiece = 30;
    // With closed: above 0, open sheets become bodies of that thickness, in the unit of the points, behind the side
    // that they look to, instead of being left out. Less than three quarters of the spacing of the mesh counts as that.
    double thicken = 0.0;
    // Where the scanner stood, if all points were seen from there; in the coordinates of
    // the points.
    std::optional<Point3> viewpoint = std::nullopt;
    // Whether Reconstruction::coverage and noise are measured, which takes a fiftieth of the
    // time.
    bool measureCoverage = false;
    // One for each point, of any length, to the outside; or none. Borrowed for the call.
    // They come before those of a PointView. Zero and what is not finite does not count.
    std::span<const Vector3> normals = {};
    // That of a scan which the points are part of, see measureGrid(). Then spacing, factor, smooth, keepOutliers,
    // density and levels have no say, and points nearer than 1000 cells to the ends of the grid, or beyond, are left
    // out as strays.
    std::optional<Grid> grid = std::nullopt;
};

// What was found of the density of the points, and done.
struct DensityReport {
    double unsupportedShare = -1.0;  // of the points, around which an even grid finds no surface; -1: not measured
    bool uneven = false;             // whether sparse parts got points
    // If so, by level: points of level n are up to 2^n cells from their sixth neighbour. The
    // last count is of those beyond the highest level as well.
    std::vector<std::uint64_t> levelPoints;
    std::uint64_t numAddedPoints = 0;
    std::uint64_t numMergedVertices = 0;  // taken away again, where the points added lay flat
    // How many times larger the spacing was made, so that sparse parts take no more than
    // six cells a point.
    double coarsening = 1.0;
};

// What ReconstructOptions::closed did.
struct ClosingReport {
    std::uint64_t numClosedLoops = 0;  // border loops that got patches
    std::uint64_t numSheets = 0;       // pieces left out that enclose next to nothing,
    std::uint64_t numInner = 0;        // and inside others
    std::uint64_t numThickened = 0;    // open sheets that got a second face
    // Whether the mesh is closed, manifold and oriented and no triangles intersect; else see
    // Reconstruction::untangled and check().
    bool holds = false;
};

struct Reconstruction {
    TriangleMesh mesh;
    std::uint64_t numPoints = 0;    // finite points of the input
    std::uint64_t numStrays = 0;    // of them, left out since they lie absurdly far away,
    std::uint64_t numOutliers = 0;  // and left out since they fly off the surfaces
    Point3 low, high;               // opposite corners of the box of all others
    double measuredSpacing = -1.0;  // in the unit of the points; -1 if the spacing was given
    double spacing = 0.0;           // edge of a grid cell, which is about the distance of the vertices
    std::uint64_t numCells = 0;     // vertices before repair
    DensityReport density;
    ManifoldReport mended;                  // zeros without ReconstructOptions::mend
    std::uint64_t numRemovedPieces = 0;     // after that, see ReconstructOptions::minPiece,
    std::uint64_t numRemovedTriangles = 0;  // and their triangles
    std::uint64_t numCutHandles = 0;        // or filled tunnels, see ReconstructOptions::minHandle
    bool thinWalls = false;                 // whether sheets were moved apart, see ReconstructOptions::thinWalls
    RefitReport refit;                      // see ReconstructOptions::refit
    UntangleReport untangled;               // see ReconstructOptions::untangle
    ClosingReport closing;                  // see ReconstructOptions::closed
    // What settled the sides of most of the area, NONE without ReconstructOptions::mend,
    // and how many pieces were turned, after they were mended.
    SideRule sideRule = SideRule::NONE;
    std::uint64_t numTurnedPieces = 0;
    // The share of the points that lie within 2 local spacings of the mesh, where a local
    // spacing is the distance of a point to its sixth neighbour. Points left out are not
    // covered. Of more than 10,000 points as many are asked, which gives the share to about
    // 0.002. -1 without ReconstructOptions::measureCoverage.
    double coverage = -1.0;
    // The standard deviation of the points from their surface, along its normal, in spacings: those
    // measured, or else that given. See PointStatistics::noise. -1 if not measured.
    double noise = -1.0;
};

// The mesh of the surface that the points lie on. They need no normals; where there are
// some, they only help to tell the sides. With colours, the vertices get some, also
// those of filled gaps.
// Throws ArgumentError for a spacing or a factor that cannot work, a viewpoint that is
// not finite, and a number of normals that is not that of the points; NoSurfaceError if
// there are no points, no surface comes out of them, or with ReconstructOptions::closed no piece encloses a volume.
// O(n log n); about 3 microseconds and 1 kB a point.
ZEF_API Reconstruction reconstruct(std::span<const Point3> points, const ReconstructOptions& options = {},
                                   const Context& context = {});
ZEF_API Reconstruction reconstruct(const PointView& points, const ReconstructOptions& options = {},
                                   const Context& context = {});

// The grid that reconstruct() takes for these points and options; with it, it gives the same mesh. About a third of its
// time. Throws as it does.
ZEF_API Grid measureGrid(std::span<const Point3> points, const ReconstructOptions& options = {},
                         const Context& context = {});

// The distance of the samples of the surface, in the unit of the points, as
// reconstruct() measures it. Throws NoSurfaceError without finite points, ArgumentError
// for points that all coincide. About 0.1 microseconds a point and thread.
ZEF_API double measureSpacing(std::span<const Point3> points, const Context& context = {});
ZEF_API double measureSpacing(const PointView& points, const Context& context = {});

// What there is to know of points before anything is made of them.
struct PointStatistics {
    std::uint64_t numFinite = 0;      // points whose coordinates are
    std::uint64_t numDuplicates = 0;  // finite points at the place of one before them
    std::uint64_t numStrays = 0;      // finite points that reconstruct() leaves out,
    std::uint64_t numOutliers = 0;    // see Reconstruction
    Point3 low, high;                 // opposite corners of the box of the finite points but for strays
    double spacing = -1.0;            // measured; -1 if they have none
    std::uint64_t numCells = 0;       // of a grid of that spacing that hold points
    std::string fault;                // why they have no spacing, for people; empty if they have one
    // All that follows is known with a spacing only.
    double unsupportedShare = -1.0;  // see DensityReport
    // Of the distances of points to their sixth neighbours 5, 50 and 95 of 100 are smaller; of
    // 20,000 points at the most.
    std::array<double, 3> localSpacing = {-1.0, -1.0, -1.0};
    // The standard deviation of the points from their surface, along its normal, in spacings: the
    // median over the surface. It is right to some percent for up to a spacing, and some
    // thousandths for clean points. More than a cell of the grid cannot be told from space that
    // points fill. Of 6,000 points at the most.
    double noise = -1.0;
    bool needsDoubles = false;  // floats would lose more than a thousandth of the spacing, see Precision
};
// Throws no NoSurfaceError: points without a spacing have statistics too.
ZEF_API PointStatistics measurePoints(std::span<const Point3> points, const Context& context = {});
ZEF_API PointStatistics measurePoints(const PointView& points, const Context& context = {});

// ---- from triangles to a mesh, or back to points

struct MeltOptions {
    double spacing = 0.0;        // edge of a grid cell, in the unit of the corners; 0: see defaultMeltSpacing()
    double featureAngle = 45.0;  // degrees, 0 to 361; edges whose triangles meet at that angle or more, between the
                                 // normals, stay sharp; 361 for none
    bool mend = true;            // whether the mesh is made manifold, as by mend()
    bool untangle = true;        // with mend: whether triangles that intersect are then parted, as by untangle()
    // With mend: whether all is left out that cannot be seen from outside, as surfaces of bodies in others and
    // of what these share. Only for triangles without borders, once equal positions are joined.
    bool outer = false;
};

// The surface of the triangles as one mesh with vertices at about that distance.
// corners: three to a triangle, in any order and orientation; they may overlap, repeat
// and not fit together. Throws NoSurfaceError if there is nothing to mesh, ArgumentError
// also for a number of corners that is no multiple of three.
//
// With mend, triangles without borders, once equal positions are joined, give a closed mesh at any spacing. Where the
// samples of the surface alone would leave it open, and with outer, what lies inside is meshed: no triangles intersect
// then, vertices are within their cells, walls are a cell thick at least, and other detail below a cell melts away.
ZEF_API TriangleMesh melt(std::span<const Point3> corners, const MeltOptions& options, const Context& context = {});
ZEF_API TriangleMesh melt(const PointView& corners, const MeltOptions& options, const Context& context = {});
ZEF_API TriangleMesh melt(const TriangleMesh& triangles, const MeltOptions& options, const Context& context = {});

// One point of the surface for each grid cell that it touches, in a fixed order.
// MeltOptions::mend, untangle and outer play no part. Throws like melt().
ZEF_API std::vector<Point3> resample(std::span<const Point3> corners, const MeltOptions& options,
                                     const Context& context = {});
ZEF_API std::vector<Point3> resample(const PointView& corners, const MeltOptions& options, const Context& context = {});
ZEF_API std::vector<Point3> resample(const TriangleMesh& triangles, const MeltOptions& options,
                                     const Context& context = {});

// What melt() and resample() take without a spacing: a 200th of the longest side of the box, or more where the
// triangles are so many and large that they would touch more than a million cells; 0 for triangles without size.
ZEF_API double defaultMeltSpacing(std::span<const Point3> corners);

// About how many cells of such a grid the triangles touch, by their areas and lengths: half to twice as many as they
// do. For each of them melt() takes about 900 bytes and 20 microseconds, resample() 130 bytes and half a microsecond.
// Both throw TooLargeError for more than 2^31. O(n).
ZEF_API double estimateMeltCells(std::span<const Point3> corners, double spacing);

}  // namespace QUOR_ZEF
