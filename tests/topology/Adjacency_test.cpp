#include "topology/Adjacency.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

using namespace QUOR_ZEF;

namespace {

struct Model {
    std::vector<std::vector<std::uint32_t>> vFans;
    std::vector<std::vector<std::pair<std::uint32_t, std::uint32_t>>> vLinks;
    explicit Model(std::size_t n) : vFans(n), vLinks(n) {}
};

void expectSame(const Adjacency& adjacency, const Model& model) {
    for (std::uint32_t v = 0; v < model.vFans.size(); ++v) {
        const auto fan = adjacency.fan(v);
        ASSERT_EQ(std::vector<std::uint32_t>(fan.begin(), fan.end()), model.vFans[v]);
        std::vector<std::pair<std::uint32_t, std::uint32_t>> vLinks;
        for (const Adjacency::Link& link : adjacency.edges(v)) vLinks.emplace_back(link.other, link.edge);
        ASSERT_EQ(vLinks, model.vLinks[v]);
        for (const auto& [other, edge] : vLinks) ASSERT_EQ(adjacency.findEdge(v, other), edge);
    }
}

// One random change to both; lists reach some hundred entries.
void change(Adjacency& adjacency, Model& model, std::mt19937& random, std::uint32_t step) {
    const auto v = static_cast<std::uint32_t>(random() % model.vFans.size());
    auto& vFan = model.vFans[v];
    auto& vLinks = model.vLinks[v];
    const bool bGrow = (step / 3000) % 3 != 2;
    if (random() % 200 == 0) {
        adjacency.clearFan(v);
        vFan.clear();
    } else if (random() % 3 != 0 ? bGrow : !bGrow) {
        adjacency.addToFan(v, step);
        vFan.push_back(step);
        adjacency.addEdge(v, step + 7, step);
        vLinks.emplace_back(step + 7, step);
    } else {
        if (!vFan.empty()) {
            const auto it = vFan.begin() + static_cast<std::ptrdiff_t>(random() % vFan.size());
            EXPECT_TRUE(adjacency.removeFromFan(v, *it));
            vFan.erase(it);
        }
        if (!vLinks.empty()) {
            const auto it = vLinks.begin() + static_cast<std::ptrdiff_t>(random() % vLinks.size());
            EXPECT_EQ(adjacency.removeEdge(v, it->first), it->second);
            vLinks.erase(it);
        }
    }
}

}  // namespace

TEST(Adjacency, agreesWithPlainListsThroughGrowthErasureAndReuse) {
    std::mt19937 random(5);
    Adjacency adjacency;
    for (const std::size_t numVertices : {40u, 3u, 500u}) {
        adjacency.reset(numVertices);
        Model model(numVertices);
        for (std::uint32_t step = 0; step < 20000; ++step) {
            change(adjacency, model, random, step);
            if (step % 2500 == 0) expectSame(adjacency, model);
        }
        expectSame(adjacency, model);
    }
}

TEST(Adjacency, aFanLongerThanAChunkKeepsItsOrder) {
    Adjacency adjacency;
    for (int filling = 0; filling < 2; ++filling) {
        adjacency.reset(2);
        for (std::uint32_t t = 0; t < 200000; ++t) adjacency.addToFan(t % 100 == 99, t);
        std::uint32_t expected = 0;
        for (const std::uint32_t t : adjacency.fan(0)) {
            if (expected % 100 == 99) ++expected;
            ASSERT_EQ(t, expected++);
        }
        EXPECT_EQ(adjacency.fan(0).size(), 198000u);
        EXPECT_EQ(adjacency.fan(1).size(), 2000u);
    }
    EXPECT_FALSE(adjacency.removeFromFan(1, 98));
    EXPECT_EQ(adjacency.removeEdge(0, 1), Adjacency::none);
}
