#include "polygon/CornerRows.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "frame/tools.h"
#include "grid/Calc.h"
#include "polygon/Casx.h"

namespace QUOR_ZEF {

namespace {

// Three cells, by code.
using Cells = std::array<uint64, 3>;

constexpr std::size_t wordsPerQuad = 8;

// The corner around which rows are looked at.
struct Sample {
    static constexpr uint64 vcd = 63;
    const Calc calc{0, 0, 0, 100, 100, 100, 10};
    std::array<uint64, 8> codes{};

    Sample() {
        codes[5] = vcd;
        calc.getCellsAroundVCD(codes.data());
    }
    std::uint8_t cellOf(uint64 code) const {
        return static_cast<std::uint8_t>(std::find(codes.begin(), codes.end(), code) - codes.begin());
    }
    Cells codesOf(const std::array<std::uint8_t, 3>& cells) const {
        return {codes[cells[0]], codes[cells[1]], codes[cells[2]]};
    }
    std::vector<uint64> getRow(const Casx& casx, int config) const {
        std::vector<uint64> vTriVCD;
        casx.getTriangles(config, codes.data(), vTriVCD, TUT);
        return vTriVCD;
    }
};

bool isDown(std::size_t cell, std::size_t axis) {
    const casx::StepDown& down = casx::stepDown[cell];
    return (axis == 0 ? down.x : axis == 1 ? down.y : down.z) != 0;
}

// The four cells of a block face.
bool isFlat(int config) {
    return config == 15 || config == 51 || config == 102 || config == 153 || config == 204 || config == 240;
}

// The axis across a face that holds all these cells, and whether it is the lower one; 3 if there is none.
std::pair<std::size_t, bool> faceOf(unsigned mask) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        int numDown = 0;
        for (unsigned cells = mask; cells; cells &= cells - 1)
            numDown += isDown(static_cast<std::size_t>(std::countr_zero(cells)), axis);
        if (numDown == 0 || numDown == std::popcount(mask)) return {axis, numDown != 0};
    }
    return {3, false};
}

// The cell that a corner next along the axis has where the other one has this.
std::uint8_t mirrored(std::size_t cell, std::size_t axis) {
    for (std::size_t other = 0; other < 8; ++other) {
        bool bSame = true;
        for (std::size_t i = 0; i < 3; ++i) bSame = bSame && (isDown(cell, i) == isDown(other, i)) == (i != axis);
        if (bSame) return static_cast<std::uint8_t>(other);
    }
    ASSEX(false);
}

std::uint8_t mirroredMask(unsigned mask, std::size_t axis) {
    unsigned result = 0;
    for (; mask; mask &= mask - 1) result |= 1u << mirrored(static_cast<std::size_t>(std::countr_zero(mask)), axis);
    return static_cast<std::uint8_t>(result);
}

unsigned maskOf(const std::array<std::uint8_t, 3>& cells) {
    return 1u << cells[0] | 1u << cells[1] | 1u << cells[2];
}

bool has(const Cells& cells, uint64 code) {
    return std::find(cells.begin(), cells.end(), code) != cells.end();
}

// Makes two triangles of each quad, along the diagonal that one of vThere has
// already, else along the one that the record does not use, but none that is there.
// vAmbiguousT: eight words a quad: the three cells of one triangle, those of the
// other, corner, config.
std::vector<Cells> solveAmbiguousT(const Calc* pCalc, const std::vector<uint64>& vAmbiguousT,
                                   std::vector<Cells> vThere) {
    ASSEX(vAmbiguousT.size()%8==0);
    std::vector<Cells> vMade;
    const auto hasEdge = [&](uint64 a, uint64 b) {
        return std::any_of(vThere.begin(), vThere.end(), [&](const Cells& c) { return has(c, a) && has(c, b); });
    };
    const auto create = [&](uint64 a, uint64 b, uint64 c) {
        const Cells cells = {a, b, c};
        if (std::any_of(vThere.begin(), vThere.end(),
                        [&](const Cells& t) { return has(t, a) && has(t, b) && has(t, c); }))
            return;
        vThere.push_back(cells);
        vMade.push_back(cells);
    };
    for (std::size_t i = 0; i < vAmbiguousT.size(); i += wordsPerQuad) {
        uint64 v0 = vAmbiguousT[i], v1 = vAmbiguousT[i + 1], v2 = vAmbiguousT[i + 2];
        const auto second = vAmbiguousT.begin() + static_cast<std::ptrdiff_t>(i) + 3;
        const auto it = std::find_if(second, second + 3, [&](uint64 v) { return v != v0 && v != v1 && v != v2; });
        const bool bFound = it != second + 3;
        ASSEX(bFound);
        const uint64 v3 = *it;
        // v0 and v3 are to be one diagonal, v1 and v2 the other.
        if (pCalc->getNeigType(v3, v0) != NT_EDGE) std::swap(v0, v1);
        if (pCalc->getNeigType(v3, v0) != NT_EDGE) std::swap(v0, v2);
        ASSEX(pCalc->getNeigType(v3,v0)==NT_EDGE);
        if (hasEdge(v1, v2)) {
            create(v0, v1, v2);
            create(v2, v1, v3);
        } else {
            create(v0, v1, v3);
            create(v0, v3, v2);
        }
    }
    return vMade;
}

// The quad of a flat config, as a record for solveAmbiguousT().
std::vector<uint64> quadOf(const Sample& sample, const Casx& casx, int config) {
    std::vector<uint64> vTriVCD = sample.getRow(casx, config);
    ASSEX(vTriVCD.size()==6);
    vTriVCD.insert(vTriVCD.end(), {sample.vcd, static_cast<uint64>(config)});
    return vTriVCD;
}

}  // namespace

CornerRows::CornerRows(const Casx& casx) {
    aFaceOf.fill(none);
    const Sample sample;
    for (int config = 0; config < static_cast<int>(numConfigs); ++config) {
        if (isFlat(config)) continue;
        const auto c = static_cast<std::size_t>(config);
        const std::vector<uint64> vTriVCD = sample.getRow(casx, config);
        for (std::size_t t = 0; t < vTriVCD.size(); t += 3) {
            Triangle triangle;
            for (std::size_t i = 0; i < 3; ++i) triangle.cells[i] = sample.cellOf(vTriVCD[t + i]);
            const unsigned mask = maskOf(triangle.cells);
            if (const auto [axis, bLower] = faceOf(mask); axis < 3 && bLower) {
                triangle.axisBelow = static_cast<std::int8_t>(axis);
                triangle.maskBelow = mirroredMask(mask, axis);
            }
            aRows[c].push_back(triangle);
            aMade[c][mask] = true;
        }
    }
    for (int config = 0; config < static_cast<int>(numConfigs); ++config)
        if (isFlat(config)) addFace(casx, config);
}

void CornerRows::addFace(const Casx& casx, int config) {
    const auto [axis, bLower] = faceOf(static_cast<unsigned>(config));
    aFaceOf[static_cast<std::size_t>(config)] = static_cast<std::uint8_t>(vFaces.size());
    vFaces.push_back({static_cast<std::uint8_t>(axis), bLower});
    const Sample sample;
    const std::vector<uint64> vQuad = quadOf(sample, casx, config);
    for (int across = 0; across < static_cast<int>(numConfigs); ++across) {
        // What stands at the corner across, as seen from here; no matter what its
        // cells beyond the face are taken for, since no quad has them.
        std::vector<Cells> vThere;
        if (across == mirroredMask(static_cast<unsigned>(config), axis)) {
            if (bLower) vThere = solveAmbiguousT(&sample.calc, quadOf(sample, casx, across), {});
        } else {
            for (const Triangle& triangle : aRows[static_cast<std::size_t>(across)])
                vThere.push_back(sample.codesOf(triangle.cells));
        }
        for (Cells& cells : vThere)
            for (uint64& code : cells) code = sample.codes[mirrored(sample.cellOf(code), axis)];
        Row& row = vQuads.emplace_back();
        for (const Cells& cells : solveAmbiguousT(&sample.calc, vQuad, vThere)) {
            Triangle& triangle = row.emplace_back();
            for (std::size_t i = 0; i < 3; ++i) triangle.cells[i] = sample.cellOf(cells[i]);
        }
    }
}

}  // namespace QUOR_ZEF
