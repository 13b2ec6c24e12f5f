#include "topology/CellMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <vector>

#include "support/capture.h"

using namespace QUOR_ZEF;

namespace {

using Pairs = std::vector<std::pair<uint64, Bundle*>>;

Pairs readInOrder(const CellMap& cells) {
    Pairs v;
    cells.forEach([&](uint64 ccd, Bundle* pBundle) { v.emplace_back(ccd, pBundle); });
    return v;
}

// Dense stretches as surfaces have them, and far single cells.
uint64 randomCode(std::mt19937_64& random) {
    return random() % 4 == 0 ? random() >> 1 : (random() % 5) * 0x123456789abull + random() % 700;
}

}  // namespace

TEST(CellMap, agreesWithAnOrderedMap) {
    std::mt19937_64 random(11);
    std::vector<Bundle> vBundles(4000);
    for (Bundle& bundle : vBundles) bundle.ccd = randomCode(random);
    std::map<uint64, Bundle*> model;
    for (std::size_t i = 0; i < 2000; ++i) model.emplace(vBundles[i].ccd, &vBundles[i]);
    std::vector<Bundle*> vSorted;
    for (const auto& [ccd, pBundle] : model) vSorted.push_back(pBundle);
    CellMap cells(vSorted);
    for (std::uint32_t n = 0; n < vSorted.size(); ++n) ASSERT_EQ(cells.getNumber(vSorted[n]->ccd), n);

    std::map<uint64, std::uint32_t> mNumber;
    for (int step = 0; step < 6000; ++step) {
        Bundle& bundle = vBundles[random() % vBundles.size()];
        switch (random() % 3) {
            case 0:
                cells.insert(bundle.ccd, &bundle);
                model[bundle.ccd] = &bundle;
                break;
            case 1:
                ASSERT_EQ(cells.erase(bundle.ccd), model.erase(bundle.ccd) == 1);
                break;
            default:
                mNumber.emplace(bundle.ccd, cells.addNumber(bundle.ccd));
        }
        if (step % 1500 == 0) {
            ASSERT_EQ(readInOrder(cells), Pairs(model.begin(), model.end()));
        }
        ASSERT_EQ(cells.size(), model.size());
    }
    EXPECT_EQ(readInOrder(cells), Pairs(model.begin(), model.end()));
    for (const Bundle& bundle : vBundles) {
        const auto it = model.find(bundle.ccd);
        ASSERT_EQ(cells.get(bundle.ccd), it == model.end() ? nullptr : it->second);
        ASSERT_EQ(cells.find(bundle.ccd) == cells.end(), it == model.end());
    }
    for (const auto& [ccd, number] : mNumber) {
        ASSERT_EQ(cells.getNumber(ccd), number);
        ASSERT_EQ(cells.getCode(number), ccd);
    }
    std::vector<uint64> vCodes;
    cells.forEachNumber([&](std::uint32_t number) { vCodes.push_back(cells.getCode(number)); });
    EXPECT_EQ(vCodes.size(), cells.getNumNumbers());
    EXPECT_TRUE(std::is_sorted(vCodes.begin(), vCodes.end()));
}

TEST(CellMap, anEmptyMapTakesCellsAndUnsortedInputFails) {
    CellMap cells;
    Bundle a, b;
    a.ccd = 9;
    b.ccd = 7;
    EXPECT_EQ(cells.getNumber(9), CellMap::none);
    EXPECT_FALSE(cells.erase(9));
    cells.insert(9, &a);
    cells.insert(7, &b);
    EXPECT_EQ(readInOrder(cells), (Pairs{{7, &b}, {9, &a}}));
    zef_test::failureText([&] { cells.build(std::vector<Bundle*>{&a, &b}); });
}
