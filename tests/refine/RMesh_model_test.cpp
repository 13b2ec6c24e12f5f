// Random changes of a mesh against the plain rule on triples, maps and lists.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "frame/Rand15.h"
#include "refine/RMesh.h"

using namespace QUOR_ZEF;

namespace {

using Numbers = std::vector<std::uint32_t>;

struct Model {
    struct Triangle {
        std::array<std::uint32_t, 3> corner;
        bool bAlive = true;

        bool has(std::uint32_t v) const { return std::count(corner.begin(), corner.end(), v) > 0; }
    };

    explicit Model(std::uint32_t numVertices) : vFans(numVertices) {}

    static std::pair<std::uint32_t, std::uint32_t> keyOf(std::uint32_t a, std::uint32_t b) {
        return {std::min(a, b), std::max(a, b)};
    }
    Numbers trianglesAt(std::uint32_t a, std::uint32_t b) const {
        Numbers vFound;
        for (std::uint32_t t = 0; t < vTriangles.size(); ++t)
            if (vTriangles[t].bAlive && vTriangles[t].has(a) && vTriangles[t].has(b)) vFound.push_back(t);
        return vFound;
    }
    Numbers edgesAt(std::uint32_t v) const {
        std::set<std::uint32_t> sEdges;
        for (const std::uint32_t t : vFans[v])
            for (const std::uint32_t other : vTriangles[t].corner)
                if (other != v) sEdges.insert(mEdges.at(keyOf(v, other)));
        return {sEdges.begin(), sEdges.end()};
    }
    void createT(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
        for (const std::uint32_t v : {a, b, c}) vFans[v].push_back(std::uint32_t(vTriangles.size()));
        vTriangles.push_back({{a, b, c}});
        for (const auto& key : {keyOf(a, b), keyOf(b, c), keyOf(c, a)})
            if (mEdges.try_emplace(key, numEdges).second) ++numEdges;
    }
    void kill(std::uint32_t t) {
        for (const std::uint32_t v : vTriangles[t].corner) std::erase(vFans[v], t);
        vTriangles[t].bAlive = false;
    }
    void exchangeCorner(std::uint32_t src, std::uint32_t trg) {
        for (const std::uint32_t t : trianglesAt(src, trg)) kill(t);
        for (const std::uint32_t e : edgesAt(src)) {
            const auto it =
                std::find_if(mEdges.begin(), mEdges.end(), [&](const auto& entry) { return entry.second == e; });
            const std::uint32_t ring = it->first.first == src ? it->first.second : it->first.first;
            mEdges.erase(it);
            mEdges.try_emplace(keyOf(ring, trg), e);
        }
        for (const std::uint32_t t : vFans[src]) {
            std::replace(vTriangles[t].corner.begin(), vTriangles[t].corner.end(), src, trg);
            vFans[trg].push_back(t);
        }
        vFans[src].clear();
    }

    std::vector<Triangle> vTriangles;
    std::vector<Numbers> vFans;  // by vertex
    std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint32_t> mEdges;
    std::uint32_t numEdges = 0;
};

template <class T>
Numbers numbersOf(const std::vector<T*>& vRecords) {
    Numbers vNumbers;
    for (const T* pRecord : vRecords) vNumbers.push_back(pRecord->getNumber());
    return vNumbers;
}

// getDegN for each kind of request, by looking at every pair.
void expectSameDegrees(const RMesh& mesh, const Model& model) {
    std::map<int, Numbers> mExpected;
    for (const auto& [key, edge] : model.mEdges) {
        const int degree = int(model.trianglesAt(key.first, key.second).size());
        if (degree <= 3) mExpected[degree].push_back(edge);
        if (degree > 2) mExpected[-1].push_back(edge);
        if (degree > 0) mExpected[-99].push_back(edge);
    }
    for (const int n : {-99, -1, 0, 1, 2, 3}) {
        std::vector<REdge*> vRE;
        mesh.getDegN(n, vRE);
        ASSERT_EQ(numbersOf(vRE), mExpected[n]) << n;
    }
}

void expectSameTriangles(const RMesh& mesh, const Model& model) {
    Numbers vExpected;
    for (const Model::Triangle& t : model.vTriangles)
        if (t.bAlive) vExpected.insert(vExpected.end(), t.corner.begin(), t.corner.end());
    std::vector<Point3*> vCorners;
    mesh.getCorners(vCorners);
    Numbers vFound;
    for (const Point3* p : vCorners) vFound.push_back(mesh.getVertexNumber(p));
    ASSERT_EQ(vFound, vExpected);
    ASSERT_EQ(3 * mesh.getNumLiveTriangles(), vExpected.size());

    std::vector<RTriangle*> vRT;
    mesh.getLiveTriangles(vRT);
    for (RTriangle* pRT : vRT) {
        for (int i = 0; i < 3; ++i) {
            const REdge* pRE = pRT->getRE(i);
            ASSERT_TRUE(pRE->has(pRT->getCorner((i + 1) % 3)) && pRE->has(pRT->getCorner((i + 2) % 3)));
            ASSERT_EQ(std::count(pRE->triangles().begin(), pRE->triangles().end(), pRT), 1);
        }
    }
}

void expectSameVertices(const RMesh& mesh, const Model& model) {
    std::vector<Point3*> vP, vExpected;
    for (std::uint32_t v = 0; v < model.vFans.size(); ++v) {
        std::vector<RTriangle*> vIncT;
        mesh.getIncidentTriangles(mesh.getVertex(v), vIncT);
        ASSERT_EQ(numbersOf(vIncT), model.vFans[v]);
        std::vector<REdge*> vIncRE;
        mesh.getIncidentEdges(mesh.getVertex(v), vIncRE);
        ASSERT_EQ(numbersOf(vIncRE), model.edgesAt(v));
        if (!vIncT.empty()) vExpected.push_back(mesh.getVertex(v));
    }
    mesh.getPoints(vP);
    ASSERT_EQ(vP, vExpected);
}

// Creates twice as often as it kills, so that edges of all degrees come up.
void changeAtRandom(RMesh& mesh, Model& model, Rand15& rand) {
    const auto numVertices = std::uint32_t(model.vFans.size());
    const auto draw = [&](std::uint32_t n) { return std::uint32_t(rand.next()) % n; };
    const std::uint32_t a = draw(numVertices), b = draw(numVertices), c = draw(numVertices);
    const std::uint32_t kind = draw(16);
    if (kind < 10) {
        if (a == b || b == c || c == a) return;
        mesh.createT(mesh.getVertex(a), mesh.getVertex(b), mesh.getVertex(c));
        model.createT(a, b, c);
    } else if (kind < 15) {
        if (model.vTriangles.empty()) return;
        const std::uint32_t t = draw(std::uint32_t(model.vTriangles.size()));
        if (!model.vTriangles[t].bAlive) return;
        mesh.getTriangle(t)->kill(&mesh);
        model.kill(t);
    } else {
        const bool bDeadEdge = model.mEdges.count(Model::keyOf(a, b)) && model.trianglesAt(a, b).empty();
        if (a == b || bDeadEdge) return;
        mesh.exchangeCorner(mesh.getVertex(a), mesh.getVertex(b));
        model.exchangeCorner(a, b);
    }
}

}  // namespace

TEST(RMesh, randomChangesAgreeWithPlainLists) {
    for (const std::uint32_t numVertices : {5u, 12u, 40u}) {
        Rand15 rand(numVertices);
        RMesh mesh(std::vector<Point3>(numVertices), {}, 1.0);
        Model model(numVertices);
        for (int i = 0; i < 1200; ++i) {
            changeAtRandom(mesh, model, rand);
            if (i % 10 != 0) continue;
            ASSERT_NO_FATAL_FAILURE(expectSameTriangles(mesh, model)) << i;
            ASSERT_NO_FATAL_FAILURE(expectSameVertices(mesh, model)) << i;
            ASSERT_NO_FATAL_FAILURE(expectSameDegrees(mesh, model)) << i;
        }
        EXPECT_EQ(mesh.getNumEdges(), model.numEdges);
    }
}
