#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "files/CellMeans.h"
#include "formats/PointStream.h"
#include "frame/types.h"
#include "zef/files.h"

namespace QUOR_ZEF {

// Puts the points of several scans and files together, chosen as the options tell. Without a
// grid it takes blocks over as they are; with one its memory goes by the cells.
class PointCollector {
public:
    // options: borrowed.
    explicit PointCollector(const ReadOptions& options);

    // Takes the points out of the block. A LoadError if the grid is too fine for them.
    void add(PointBlock& block);

    // Room for so many more, if they come as they are.
    void expect(uint64 numPoints);

    // Points, attributes, viewpoint, and how many were not taken.
    void finish(PointFile& out);

    uint64 getNumTaken() const { return means.size() == 0 ? numGivenUp + all.points.size() : means.size(); }

    // What came since the last time, for whoever wants no more of it than points, a part at a time. Without a grid;
    // there is nothing to finish then.
    void takePoints(std::vector<Point3>& out);
    // Where the scanner stood for all points so far, if it was one place.
    std::optional<Point3> oneViewpoint() const;

private:
    const ReadOptions& options;
    std::array<bool, 256> bClassTaken{};
    PointBlock all;
    uint64 numOffered = 0, numLeft = 0;  // all; those that classes and box leave
    uint64 numGivenUp = 0;               // by takePoints()
    // Whether all blocks had them, so far.
    bool bNormals = true, bClasses = true, bIntensities = true;
    bool bNoNormals = true;  // no block had them
    // Runs of points with one place of the scanner: the places, and where the runs end.
    std::vector<std::optional<Point3>> vViewpoints;
    std::vector<std::size_t> vRunEnds;

    CellMeans means;

    bool isChoosing() const;
    bool isTaken(const PointBlock& block, std::size_t i);
    void keepChosen(PointBlock& block);
    void thin(const PointBlock& block);
    void append(PointBlock& block);
    void noteViewpoint(const std::optional<Point3>& viewpoint);
    void settleViewpoints(PointFile& out);
    void takeDirections(PointFile& out) const;
};

}  // namespace QUOR_ZEF
