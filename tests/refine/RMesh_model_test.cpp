#include <gtest/gtest.h>

#include "refine/RMesh.h"
#include "support/meshQueries.h"
#include "support/tripleModel.h"

using namespace QUOR_ZEF;

namespace zef_test {
namespace {

struct PositionMesh {
    static constexpr bool bKnowsMinus5 = false;
    RMesh mesh;

    explicit PositionMesh(unsigned numVertices) : mesh(std::vector<Point3>(numVertices), {}, 1.0) {}
    Point3* at(std::uint64_t v) const { return mesh.getVertex(std::uint32_t(v)); }
    std::uint64_t vertex(const Point3* p) const { return mesh.getVertexNumber(p); }
    Ends endsOf(const REdge* pRE) const { return std::minmax(vertex(pRE->p0), vertex(pRE->p1)); }

    void create(const Triple& v) { mesh.createT(at(v[0]), at(v[1]), at(v[2])); }
    void kill(std::uint32_t t) { mesh.getTriangle(t)->kill(&mesh); }
    void flip(std::uint32_t t, Triple& v) {
        mesh.getTriangle(t)->reverse();
        std::swap(v[0], v[1]);
    }
    // The triangles at the edge go, the others get the target in place of the source.
    void merge(std::uint64_t src, std::uint64_t trg, TripleModel& model) {
        mesh.exchangeCorner(at(src), at(trg));
        for (const std::uint32_t t : model.trianglesAt(src, trg)) model.vAlive[t] = false;
        for (const std::uint32_t t : model.trianglesAt(src, src)) std::ranges::replace(model.vTriples[t], src, trg);
    }
    bool isAlive(std::uint32_t t) const { return mesh.getTriangle(t)->isAlive(); }
    Triple cornersOf(std::uint32_t t) const {
        const RTriangle* pRT = mesh.getTriangle(t);
        return {vertex(pRT->getCorner(0)), vertex(pRT->getCorner(1)), vertex(pRT->getCorner(2))};
    }
    Ends edgeOf(std::uint32_t t, int i) const { return endsOf(mesh.getTriangle(t)->getRE(i)); }
    Numbers fan(std::uint64_t v) const {
        std::vector<RTriangle*> vRT;
        mesh.getIncidentTriangles(at(v), vRT);
        Numbers vNumbers;
        for (const RTriangle* pRT : vRT) vNumbers.push_back(pRT->getNumber());
        return vNumbers;
    }
    std::vector<Ends> edgesAt(std::uint64_t v) const {
        std::vector<REdge*> vRE;
        mesh.getIncidentEdges(at(v), vRE);
        std::vector<Ends> vEnds;
        for (const REdge* pRE : vRE) vEnds.push_back(endsOf(pRE));
        return vEnds;
    }
    std::vector<std::pair<Ends, Numbers>> edges(int degree) const {
        std::vector<std::pair<Ends, Numbers>> v;
        for (const REdge* pRE : edgesOfDegree(mesh, degree)) {
            Numbers vNumbers;
            for (const RTriangle* pRT : pRE->triangles()) vNumbers.push_back(pRT->getNumber());
            v.emplace_back(endsOf(pRE), sorted(vNumbers));
        }
        return v;
    }
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(RMesh, MeshModel, PositionMesh);

}  // namespace zef_test
