#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "view/Projection.h"
#include "zef/TriangleMesh.h"
#include "zef/Vector3.h"
#include "zef/view.h"

namespace QUOR_ZEF {

// A line or a point of the picture: all samples within the radius.
struct Stroke {
    Spot a, b;
    std::int32_t radius = 0;  // as the x of a Spot
    float nearer = 0.0F;      // how far it is moved to the viewer, in samples
};

// The scene as it lies in the picture: triangles, lines and points under one row of
// numbers, in this order. Borrows the scene.
class Model {
public:
    struct Part {  // a mesh
        const TriangleMesh* pMesh = nullptr;
        std::uint32_t firstTriangle = 0;
        std::vector<Spot> vSpots;                    // by vertex
        std::vector<std::array<float, 3>> vNormals;  // by vertex, of any length; empty for flat shading
        bool bColored = false;
    };
    struct Line {
        Spot a, b;
        bool bNonManifold = false;
    };

    Model(const ViewScene& scene, const DrawOptions& options);

    std::uint32_t numTriangles = 0, numAll = 0;
    std::vector<Part> vParts;
    std::vector<Line> vLines;
    std::vector<Spot> vPoints;
    Projection projection;

    bool isTriangle(std::uint32_t number) const { return number < numTriangles; }
    bool isPoint(std::uint32_t number) const { return number >= numTriangles + vLines.size(); }
    const Part& partOf(std::uint32_t triangle) const;
    const std::uint32_t* cornersOf(const Part& part, std::uint32_t triangle) const {
        return part.pMesh->indices.data() + std::size_t{3} * (triangle - part.firstTriangle);
    }
    std::array<Spot, 3> spotsOf(std::uint32_t triangle) const;
    Stroke strokeOf(std::uint32_t number) const;  // of a line or a point

private:
    std::int32_t lineRadius = 0, pointRadius = 0;

    void addMesh(const TriangleMesh& mesh, const DrawOptions& options);
    void addLines(const Part& part);
};

}  // namespace QUOR_ZEF
