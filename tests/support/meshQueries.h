#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "frame/Rand15.h"
#include "refine/RMesh.h"
#include "support/shapes.h"

// What the tests ask of a refinement mesh.
namespace zef_test {

inline std::vector<QUOR_ZEF::REdge*> edgesOfDegree(const QUOR_ZEF::RMesh& mesh, int n) {
    std::vector<QUOR_ZEF::REdge*> vRE;
    mesh.getDegN(n, vRE);
    return vRE;
}

inline std::vector<QUOR_ZEF::RTriangle*> liveTriangles(const QUOR_ZEF::RMesh& mesh) {
    std::vector<QUOR_ZEF::RTriangle*> vRT;
    mesh.getLiveTriangles(vRT);
    return vRT;
}

inline std::size_t eulerNumber(const QUOR_ZEF::RMesh& mesh) {
    std::vector<QUOR_ZEF::Point3*> vP;
    mesh.getPoints(vP);
    return vP.size() + mesh.getNumLiveTriangles() - edgesOfDegree(mesh, -99).size();
}

// Neighbours that lie the wrong way round.
inline std::size_t numConflicts(const QUOR_ZEF::RMesh& mesh) {
    std::size_t num = 0;
    for (const QUOR_ZEF::REdge* pRE : edgesOfDegree(mesh, 2)) num += pRE->triangles()[0]->needFlip(pRE->triangles()[1]);
    return num;
}

// Three vertex numbers a live triangle.
inline std::vector<std::uint32_t> cornerNumbers(const QUOR_ZEF::RMesh& mesh) {
    std::vector<QUOR_ZEF::Point3*> vCorners;
    mesh.getCorners(vCorners);
    std::vector<std::uint32_t> vNumbers;
    for (const QUOR_ZEF::Point3* p : vCorners) vNumbers.push_back(mesh.getVertexNumber(p));
    return vNumbers;
}

// All coordinates of all vertices, then the corners: equal for equal meshes only.
inline std::vector<double> contentsOf(const QUOR_ZEF::RMesh& mesh) {
    std::vector<double> v;
    for (std::uint32_t i = 0; i < mesh.getNumVertices(); ++i) {
        const QUOR_ZEF::Point3& p = *mesh.getVertex(i);
        v.insert(v.end(), {p.px, p.py, p.pz});
    }
    for (const std::uint32_t number : cornerNumbers(mesh)) v.push_back(number);
    return v;
}

// Triangles on the places of a small lattice, so that many are flat or double,
// and many edges have any number of triangles.
inline Shape randomSoup(std::uint32_t seed) {
    QUOR_ZEF::Rand15 rand(seed);
    Shape soup;
    for (int i = 0; i < 40; ++i) {
        const double x = rand.next() % 4, y = rand.next() % 4;
        soup.vertices.emplace_back(x, y, rand.next() % 2);
    }
    for (int i = 0; i < 360; ++i) soup.triples.push_back(std::uint32_t(rand.next()) % 40);
    soup.triples.insert(soup.triples.end(), soup.triples.begin(), soup.triples.begin() + 90);
    return soup;
}

}  // namespace zef_test
