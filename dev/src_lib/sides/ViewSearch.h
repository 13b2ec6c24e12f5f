#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// Looks for the place that sheets can have been scanned from, by a sample of some
// thousand triangles. Moving all of them, or turning some pieces, changes nothing.
class ViewSearch {
public:
    // OTHER: not looked at. FREE: can face either way. KEPT, TURNED: faces as it does in
    // the mesh, or the other way, and that is settled.
    enum class Sheet : std::uint8_t { OTHER, FREE, KEPT, TURNED };

    // vPiece: the piece of each triangle. O(n).
    ViewSearch(const TriangleMesh& mesh, const std::vector<std::uint32_t>& vPiece, const std::vector<Sheet>& vSheet_);

    // Whether heights spread little beside the horizontal, and little lies beneath
    // something else.
    bool isTerrain() const;

    // The place, around the sheets or among them, from where most area shows one side,
    // piece by piece, least is hidden behind something else, and the picture has the
    // fewest gaps: what is in front fills the shadow that it throws. What is as good goes
    // to where the sheets bulge, and then upwards. Tries 180 places; uses the task pool.
    Point3 findViewpoint() const;

private:
    struct Sample {  // a triangle
        Point3 middle;
        Vector3 area;  // along the normal
        double size;   // its length
        std::uint32_t piece;
    };
    struct Place {
        Point3 at;
        double score = 0.0;
    };

    std::vector<Sample> vSamples;
    const std::vector<Sheet>& vSheet;  // by piece
    Point3 low, high, mean, centre;
    Vector3 variance;
    double diagonal = 0.0, totalSize = 0.0, totalReach = 0.0;

    void measure();
    std::vector<Place> places() const;
    void setScores(std::vector<Place>& vPlaces) const;
    void refine(std::vector<Place>& vPlaces, double step) const;
    double scoreOf(const Point3& place) const;
    double lossOf(const Point3& place) const;
};

}  // namespace QUOR_ZEF
