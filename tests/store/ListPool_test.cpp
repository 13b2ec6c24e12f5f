#include "store/ListPool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

using namespace QUOR_ZEF;

TEST(ListPool, listsAreThoseOfVectors) {
    std::mt19937 random(1);
    ListPool<std::uint32_t> pool;
    std::vector<std::vector<std::uint32_t>> vModel;
    const auto isSame = [&](std::size_t list) { return std::ranges::equal(std::as_const(pool)[list], vModel[list]); };
    for (std::uint32_t step = 0; step < 30000; ++step) {
        if (step % 10000 == 0) {
            pool.reset(20);
            vModel.assign(20, {});
        }
        if (step % 1000 == 500) {
            vModel.resize(vModel.size() + 2);
            pool.grow(vModel.size());
        }
        // Some lists become long.
        const std::size_t some = random() % vModel.size() + 1, list = random() % some;
        std::vector<std::uint32_t>& model = vModel[list];
        const auto what = random() % 100;
        if (what < 35 && !model.empty()) {
            const std::size_t position = random() % model.size();
            model.erase(model.begin() + static_cast<std::ptrdiff_t>(position));
            pool.erase(list, position);
        } else if (what < 99) {
            model.push_back(step);
            pool.push(list, step);
        } else if (model.empty()) {
            model.assign(random() % 60, step);
            pool.fill(list, static_cast<std::uint32_t>(model.size()));
            std::ranges::fill(pool[list], step);
        } else {
            model.clear();
            pool.clear(list);
        }
        ASSERT_TRUE(isSame(list)) << step;
    }
    for (std::size_t list = 0; list < vModel.size(); ++list) EXPECT_TRUE(isSame(list)) << list;
    EXPECT_EQ(pool.size(), vModel.size());
}
