#pragma once

#include <array>
#include <cstdint>

namespace QUOR_ZEF {

// The rows of Casx and the rule that makes them.
//
// Around a grid corner stand eight cells. A cell's bit in a config says where it
// stands; 1 in stepDown means one step down along that axis from the corner.
// Bits 0 to 3 form the ring below the corner along y, bits 4 to 7 the ring above.
//
// The 256 rows follow from 23 base rows, one for each class of configs under the
// rotations of the block: a row is rotated into each config of its class, and
// then every flat quad in it takes the diagonal through its cell of smallest code.

enum TriMode : int { TM_THIN = 0, TM_FAT = 1 };

enum TriUse {
    TUU = 0,  // the slot is empty
    TUT = 1,  // goes into the mesh
    TUF = 2,  // stays in the table only
    TUI = 3,  // as TUF
};

namespace casx {

constexpr int numConfigs = 256;
constexpr int slotsPerRow = 12;
constexpr int rowEnd = 512;  // in a slot without a triangle

struct StepDown {
    std::uint8_t x, y, z;
};
constexpr std::array<StepDown, 8> stepDown = {{
    {1, 1, 0},
    {0, 1, 0},
    {0, 1, 1},
    {1, 1, 1},
    {1, 0, 0},
    {0, 0, 0},
    {0, 0, 1},
    {1, 0, 1},
}};

// A triangle is a mask of three bits; slot s of config C stands at C * 12 + s.
struct Rows {
    std::array<int, numConfigs * slotsPerRow> masks;
    std::array<TriUse, numConfigs * slotsPerRow> uses;
};

// The base configs, ascending.
constexpr std::array<int, 23> baseConfigs = {0,  1,  3,  5,  7,  15, 20, 21, 23,  26,  27, 29,
                                             30, 31, 60, 61, 63, 90, 91, 95, 125, 127, 255};

// The expanded table; made once, at the first call, in a thread-safe way.
const Rows& getRows(TriMode mode);

// The table expanded anew.
Rows expandBaseCases(TriMode mode);

// A mask of cells after a quarter turn of the block about axis 0, 1 or 2.
int rotate(int mask, int axis);

// If two triangles share an edge and lie in one face of the block, both are made
// to use the diagonal through the cell of smallest code, and true is returned. A mask
// above 255 leaves both; one that is no triangle is printed and fails an ASSEX.
bool samePlaneUnify(int& cfgA, int& cfgB);

}  // namespace casx
}  // namespace QUOR_ZEF
