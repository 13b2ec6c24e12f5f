#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <random>
#include <utility>
#include <vector>

// A mesh as a plain list of triples in order of making, and random changes that a mesh
// of the library must follow. A Mesh of the test stands on vertices from 0 on and has
// create, kill, flip, merge, cornersOf, edgeOf, fan, edgesAt and edges as below.

namespace zef_test {

using Triple = std::array<std::uint64_t, 3>;
using Ends = std::pair<std::uint64_t, std::uint64_t>;  // ascending
using Numbers = std::vector<std::uint32_t>;

struct TripleModel {
    std::vector<Triple> vTriples;
    std::vector<bool> vAlive;

    bool has(std::uint32_t t, std::uint64_t v) const { return std::ranges::count(vTriples[t], v) > 0; }
    // Of an edge, or of a vertex if both are the same.
    Numbers trianglesAt(std::uint64_t a, std::uint64_t b) const {
        Numbers vFound;
        for (std::uint32_t t = 0; t < vTriples.size(); ++t)
            if (vAlive[t] && has(t, a) && has(t, b)) vFound.push_back(t);
        return vFound;
    }
    void create(const Triple& triple) {
        vTriples.push_back(triple);
        vAlive.push_back(true);
    }
    std::map<Ends, Numbers> edges() const {
        std::map<Ends, Numbers> mEdges;
        for (std::uint32_t t = 0; t < vTriples.size(); ++t)
            for (std::size_t i = 0; i < 3 && vAlive[t]; ++i)
                mEdges[std::minmax(vTriples[t][i], vTriples[t][(i + 1) % 3])].push_back(t);
        return mEdges;
    }
};

template <class T>
std::vector<T> sorted(std::vector<T> v) {
    std::sort(v.begin(), v.end());
    return v;
}

template <class Mesh>
void expectSame(const Mesh& mesh, const TripleModel& model, std::uint64_t numVertices) {
    for (std::uint32_t t = 0; t < model.vTriples.size(); ++t) {
        ASSERT_EQ(mesh.isAlive(t), model.vAlive[t]);
        if (!model.vAlive[t]) continue;
        const Triple& v = model.vTriples[t];
        ASSERT_EQ(mesh.cornersOf(t), v);
        for (std::size_t i = 0; i < 3; ++i)
            ASSERT_EQ(mesh.edgeOf(t, int(i)), Ends(std::minmax(v[(i + 1) % 3], v[(i + 2) % 3])));
    }
    const std::map<Ends, Numbers> mEdges = model.edges();
    for (const int degree : {-99, -5, -1, 1, 2, 3}) {
        std::vector<std::pair<Ends, Numbers>> vExpected;
        for (const auto& edge : mEdges) {
            const int n = int(edge.second.size());
            if (degree == n || degree == -99 || (degree == -5 && n != 2) || (degree < 0 && n > 2))
                vExpected.push_back(edge);
        }
        if (degree == -5 && !Mesh::bKnowsMinus5) continue;
        ASSERT_EQ(sorted(mesh.edges(degree)), vExpected) << degree;
    }
    for (std::uint64_t v = 0; v < numVertices; ++v) {
        ASSERT_EQ(sorted(mesh.fan(v)), model.trianglesAt(v, v));
        std::vector<Ends> vExpected;
        for (const auto& edge : mEdges)
            if (edge.first.first == v || edge.first.second == v) vExpected.push_back(edge.first);
        ASSERT_EQ(sorted(mesh.edgesAt(v)), vExpected);
    }
}

// Creates more often than it kills, so that edges of all degrees come up.
template <class Mesh>
void change(Mesh& mesh, TripleModel& model, std::uint64_t numVertices, std::mt19937& random) {
    const Triple v = {random() % numVertices, random() % numVertices, random() % numVertices};
    const auto action = random() % 16;
    const auto t = std::uint32_t(random() % std::max<std::size_t>(1, model.vTriples.size()));
    if (action < 9) {
        if (v[0] == v[1] || v[1] == v[2] || v[2] == v[0]) return;
        mesh.create(v);
        model.create(v);
    } else if (t < model.vTriples.size() && model.vAlive[t]) {
        if (action < 13) {
            mesh.kill(t);
            model.vAlive[t] = false;
        } else if (action < 15) {
            mesh.flip(t, model.vTriples[t]);
        } else {
            mesh.merge(model.vTriples[t][v[0] % 3], model.vTriples[t][(v[0] + 1) % 3], model);
        }
    }
}

template <class Mesh>
struct MeshModel : testing::Test {};
TYPED_TEST_SUITE_P(MeshModel);

TYPED_TEST_P(MeshModel, agreesWithAListOfTriplesThroughRandomChanges) {
    for (const unsigned numVertices : {6u, 14u, 30u}) {
        std::mt19937 random(numVertices);
        TypeParam mesh(numVertices);
        TripleModel model;
        for (int step = 0; step < 1500; ++step) {
            ASSERT_NO_FATAL_FAILURE(change(mesh, model, numVertices, random));
            if (step % 25 != 0) continue;
            ASSERT_NO_FATAL_FAILURE(expectSame(mesh, model, numVertices)) << step;
        }
    }
}
REGISTER_TYPED_TEST_SUITE_P(MeshModel, agreesWithAListOfTriplesThroughRandomChanges);

}  // namespace zef_test
