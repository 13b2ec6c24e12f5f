#include "polygon/CasxTables.h"

#include <bit>
#include <bitset>
#include <string>
#include <vector>

#include "frame/tools.h"

namespace QUOR_ZEF::casx {

namespace {

struct TaggedTriangle {
    int mask;
    TriUse use;
};

struct BaseRow {
    int config;
    std::vector<TaggedTriangle> fat;
    std::vector<int> thin;
};

// Classes without triangles (0, 1, 3, 5, 20, 21, 255) have no row.
const std::vector<BaseRow>& baseRows() {
    static const std::vector<BaseRow> rows = {
        {7, {{7, TUI}}, {}},
        {15, {{11, TUT}, {14, TUT}}, {11, 14}},
        {23, {{19, TUT}, {7, TUT}}, {7, 19}},
        {26, {{26, TUT}}, {26}},
        {27, {{25, TUI}, {19, TUI}, {11, TUI}, {26, TUF}}, {11, 19, 25}},
        {29, {{13, TUT}, {25, TUT}}, {13, 25}},
        {30, {{14, TUT}, {26, TUT}}, {14, 26}},
        {31, {{11, TUT}, {14, TUT}, {19, TUI}, {25, TUI}, {22, TUF}, {28, TUF}}, {11, 14}},
        {60, {{44, TUT}, {56, TUT}}, {44, 56}},
        {61, {{44, TUT}, {56, TUT}, {25, TUT}, {37, TUF}, {49, TUF}, {13, TUF}}, {25, 44, 56}},
        {63,
         {{11, TUT}, {14, TUT}, {35, TUT}, {49, TUT}, {25, TUI}, {38, TUI}, {28, TUF}, {52, TUF}},
         {11, 14, 35, 49}},
        {90, {{88, TUT}, {26, TUT}, {74, TUT}, {82, TUT}}, {26, 74, 82, 88}},
        {91, {{82, TUT}, {74, TUT}, {88, TUT}, {19, TUT}, {25, TUT}, {11, TUT}}, {26, 74}},
        {95, {{11, TUT}, {14, TUT}, {69, TUT}, {81, TUT}}, {11, 14, 21, 84}},
        {125, {{13, TUT}, {21, TUT}, {84, TUT}, {112, TUT}, {49, TUI}, {25, TUI}, {100, TUI}}, {41, 49, 76, 104}},
        {127,
         {{35, TUT},
          {49, TUT},
          {38, TUT},
          {100, TUT},
          {11, TUT},
          {14, TUT},
          {25, TUI},
          {76, TUI},
          {112, TUI},
          {88, TUF}},
         {11, 14, 35, 38, 49, 100}},
    };
    return rows;
}

std::vector<TaggedTriangle> baseRow(TriMode mode, int config) {
    for (const BaseRow& row : baseRows()) {
        if (row.config != config) continue;
        if (mode == TM_FAT) return row.fat;
        std::vector<TaggedTriangle> thin;
        for (const int mask : row.thin) thin.push_back({mask, TUT});
        return thin;
    }
    return {};
}

constexpr int bitOf(int cell) {
    return 1 << cell;
}

int lowestCell(int mask) {
    return std::countr_zero(static_cast<unsigned>(mask));
}

// Order of the cells by code: x decides first, then y, then z, and a step down is smaller.
int codeRank(int cell) {
    const StepDown& s = stepDown[static_cast<std::size_t>(cell)];
    return (1 - s.x) * 4 + (1 - s.y) * 2 + (1 - s.z);
}

int smallestRank(int mask) {
    int best = 8;
    for (int cell = 0; cell < 8; ++cell) {
        if ((mask & bitOf(cell)) && codeRank(cell) < best) best = codeRank(cell);
    }
    return best;
}

constexpr int allCells = 255;

std::vector<int> cellsOf(int mask) {
    std::vector<int> vCells;
    for (int cell = 0; cell < 8; ++cell)
        if (mask & bitOf(cell)) vCells.push_back(cell);
    return vCells;
}

// True if all cells of the mask stand on one side of the corner along some axis.
bool inOneFace(int mask) {
    int numDown[3] = {0, 0, 0};
    for (int cell = 0; cell < 8; ++cell) {
        if (!(mask & bitOf(cell))) continue;
        const StepDown& s = stepDown[static_cast<std::size_t>(cell)];
        numDown[0] += s.x;
        numDown[1] += s.y;
        numDown[2] += s.z;
    }
    const int numCells = std::popcount(static_cast<unsigned>(mask));
    for (const int n : numDown) {
        if (n == 0 || n == numCells) return true;
    }
    return false;
}

int rotate(int mask, int turnsX, int turnsY, int turnsZ) {
    for (int i = 0; i < turnsX; ++i) mask = casx::rotate(mask, 0);
    for (int i = 0; i < turnsY; ++i) mask = casx::rotate(mask, 1);
    for (int i = 0; i < turnsZ; ++i) mask = casx::rotate(mask, 2);
    return mask;
}

void storeRow(Rows& rows, int config, const std::vector<TaggedTriangle>& row) {
    const std::size_t first = static_cast<std::size_t>(config) * slotsPerRow;
    for (std::size_t slot = 0; slot < row.size(); ++slot) {
        rows.masks[first + slot] = row[slot].mask;
        rows.uses[first + slot] = row[slot].use;
    }
}

}  // namespace

int rotate(int mask, int axis) {
    static constexpr int target[3][8] = {
        {4, 5, 1, 0, 7, 6, 2, 3},
        {3, 0, 1, 2, 7, 4, 5, 6},
        {1, 5, 6, 2, 0, 4, 7, 3},
    };
    int turned = 0;
    for (int cell = 0; cell < 8; ++cell) {
        if (mask & bitOf(cell)) turned |= bitOf(target[axis][cell]);
    }
    return turned;
}

bool samePlaneUnify(int& cfgA, int& cfgB) {
    if (cfgA > allCells || cfgB > allCells) return false;
    const std::vector<int> vVtxA = cellsOf(cfgA), vVtxB = cellsOf(cfgB);
    if (vVtxA.size() % 3 != 0) showDetail("Ah, cfgA=" + std::to_string(cfgA));
    ASSEX(vVtxA.size()%3==0);
    if (vVtxB.size() % 3 != 0) showDetail("Ah, cfgB=" + std::to_string(cfgB));
    ASSEX(vVtxB.size()%3==0);
    const int shared = cfgA & cfgB;
    const int others = cfgA ^ cfgB;
    if (std::popcount(static_cast<unsigned>(shared)) != 2) return false;
    if (!inOneFace(cfgA | cfgB) || smallestRank(others) > smallestRank(shared)) return false;
    const int first = bitOf(lowestCell(shared));
    cfgA = others | first;
    cfgB = others | (shared ^ first);
    return true;
}

Rows expandBaseCases(TriMode mode) {
    Rows rows;
    rows.masks.fill(rowEnd);
    rows.uses.fill(TUU);
    std::bitset<numConfigs> done;
    for (const int base : baseConfigs) {
        const std::vector<TaggedTriangle> row = baseRow(mode, base);
        for (int turns = 0; turns < 64; ++turns) {
            const int i = turns / 16, j = turns / 4 % 4, k = turns % 4;
            const int config = rotate(base, i, j, k);
            // The first turns that reach a config win.
            if (done[static_cast<std::size_t>(config)]) continue;
            done.set(static_cast<std::size_t>(config));
            std::vector<TaggedTriangle> turned = row;
            for (TaggedTriangle& triangle : turned) triangle.mask = rotate(triangle.mask, i, j, k);
            for (std::size_t p = 0; p < turned.size(); ++p) {
                for (std::size_t q = p + 1; q < turned.size(); ++q) samePlaneUnify(turned[p].mask, turned[q].mask);
            }
            storeRow(rows, config, turned);
        }
    }
    return rows;
}

const Rows& getRows(TriMode mode) {
    static const Rows thin = expandBaseCases(TM_THIN);
    static const Rows fat = expandBaseCases(TM_FAT);
    return mode == TM_FAT ? fat : thin;
}

}  // namespace QUOR_ZEF::casx
