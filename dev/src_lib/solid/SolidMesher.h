#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "flat/arrays.h"
#include "solid/LatticeSet.h"
#include "solid/SampleIndex.h"

namespace QUOR_ZEF {

// Makes triangles of the surfaces of sets of lattice points, one vertex for each cell of the surface.
class SolidMesher {
public:
    // offset_: the cell of the samples' grid that is cell (0, 0, 0) of the lattice. Borrows the samples.
    SolidMesher(const SampleIndex& samples_, const LatticePoint& offset_, bool bFloats_)
        : samples(samples_), offset(offset_), bFloats(bFloats_) {}

    // Of a set that is well composed; two sets have no cell of their surfaces in common.
    void addSurface(const LatticeSet& set);
    // Moves vertices towards the middle of their cells until no triangles intersect, and none is without area:
    // in the end all are on the faces of cubes, which do not.
    void part();
    TriangleMesh mesh;

private:
    const SampleIndex& samples;
    const LatticePoint offset;
    const bool bFloats;
    // By vertex.
    std::vector<uint64> vCells;
    std::vector<Point3> vTargets;
    std::vector<std::uint8_t> vSteps;  // back towards the middle

    Point3 placeIn(const LatticePoint& cell, double x, double y, double z) const;
    Point3 targetOf(const LatticePoint& cell) const;
    Point3 placeOf(std::uint32_t vertex) const;
    void addQuad(const std::uint32_t (&quad)[4]);
    std::vector<std::uint32_t> findFaults() const;
};

}  // namespace QUOR_ZEF
