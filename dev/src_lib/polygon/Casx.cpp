#include "polygon/Casx.h"

#include <bit>

#include "bytes/Visualizer3.h"
#include "frame/tools.h"
#include "grid/Calc.h"

namespace QUOR_ZEF {

namespace {

constexpr int allCells = 255;

int numCellsOf(int config) {
    return std::popcount(static_cast<unsigned>(config));
}

// The cell diagonally across the block.
int oppositeCell(int cell) {
    const casx::StepDown& s = casx::stepDown[static_cast<std::size_t>(cell)];
    for (int other = 0; other < 8; ++other) {
        const casx::StepDown& t = casx::stepDown[static_cast<std::size_t>(other)];
        if (s.x != t.x && s.y != t.y && s.z != t.z) return other;
    }
    ASSEX(false);
}

// Two cells that share a block edge are apart along one axis only.
bool shareBlockEdge(int cell0, int cell1) {
    const casx::StepDown& s = casx::stepDown[static_cast<std::size_t>(cell0)];
    const casx::StepDown& t = casx::stepDown[static_cast<std::size_t>(cell1)];
    return (s.x != t.x) + (s.y != t.y) + (s.z != t.z) == 1;
}

}  // namespace

Casx::Casx(TriMode triMode, bool bExperimental) : mode(triMode) {
    if (bExperimental) showDetail("Casx::Casx, bExperimental=true - using base cases");
    rows = bExperimental ? casx::expandBaseCases(mode) : casx::getRows(mode);
}

int Casx::getMask(int config, int slot) const {
    return rows.masks[static_cast<std::size_t>(config * casx::slotsPerRow + slot)];
}

TriUse Casx::getUse(int config, int slot) const {
    return rows.uses[static_cast<std::size_t>(config * casx::slotsPerRow + slot)];
}

void Casx::getTriangles(int config, const uint64 codes[8], std::vector<uint64>& vTriCCD, TriUse tu) const {
    const int numSet = Calc::getNumSet8(config);
    if (numSet < 3 || numSet > 7) return;
    for (int slot = 0; slot < casx::slotsPerRow; ++slot) {
        if (tu != TUU && getUse(config, slot) != tu) continue;
        const int mask = getMask(config, slot);
        if (mask > allCells) break;
        for (unsigned cells = static_cast<unsigned>(mask); cells; cells &= cells - 1) {
            vTriCCD.push_back(codes[std::countr_zero(cells)]);
        }
    }
    if (vTriCCD.size() % 3 != 0) showDetail("Uh, config=", config);
    ASSEX(vTriCCD.size()%3==0);
}

int Casx::getMissingMask(int config) const {
    const int numCells = numCellsOf(config);
    return numCells == 6 || numCells == 7 ? allCells ^ config : 0;
}

int Casx::getOppositeMask(int config) const {
    const unsigned missing = static_cast<unsigned>(getMissingMask(config));
    if (missing == 0) return 0;
    const int first = std::countr_zero(missing);
    const unsigned rest = missing & (missing - 1);
    if (rest == 0) return 1 << oppositeCell(first);
    const int second = std::countr_zero(rest);
    return shareBlockEdge(first, second) ? (1 << oppositeCell(first)) | (1 << oppositeCell(second)) : 0;
}

namespace {

// Red goes into the mesh; the other uses are grey and blue.
void setColorOf(TriUse tu, Point3& p) {
    const std::uint8_t red = tu == TUT ? 255 : 100, blue = tu == TUI ? 255 : 100;
    p.setColor(red, 100, blue, 255);
}

}  // namespace

void Casx::showConfig(int config, Visualizer3* pVisualizer, const std::string& label, uint64 vcd) const {
    if (mode != TM_THIN && mode != TM_FAT) ASSEX(false);
    constexpr double cubePart = 0.2;  // of a cell, on each side of its centre
    showDetail("showConfig ", config, " ", label);
    const Calc display(0, 0, 0, 1000, 1000, 1000, 12);
    uint64 codes[8] = {};
    codes[5] = vcd;
    display.getCellsAroundVCD(codes);
    const double half = cubePart * display.getCellSize();
    std::vector<Point3> vCentres, vAbsent, vCorners;
    for (int cell = 0; cell < 8; ++cell) {
        const Point3 c = display.getCellCenter(codes[cell]);
        vCentres.push_back(c);
        if (config >> cell & 1)
            pVisualizer->addCube({c.px - half, c.py - half, c.pz - half}, {c.px + half, c.py + half, c.pz + half});
        else
            vAbsent.push_back(c);
    }
    for (int slot = 0; slot < casx::slotsPerRow && getMask(config, slot) <= allCells; ++slot) {
        const TriUse tu = getUse(config, slot);
        ASSEX(tu!=TUU);
        for (unsigned cells = static_cast<unsigned>(getMask(config, slot)); cells; cells &= cells - 1) {
            vCorners.push_back(vCentres[static_cast<std::size_t>(std::countr_zero(cells))]);
            setColorOf(tu, vCorners.back());
        }
    }
    pVisualizer->addPoints(vAbsent);
    pVisualizer->addTriangles(vCorners);
}

int getCornerConfig(uint64 vcd, const std::vector<uint64>& vCCD) {
    // Indexed by where cell and corner agree: 1 on z, 2 on y, 4 on x.
    static constexpr int valueOfAgreement[7] = {8, 1, 128, 16, 4, 2, 64};
    int config = 0;
    for (const uint64 ccd : vCCD) {
        if (ccd == vcd) {
            config += 32;
            continue;
        }
        const uint64 res_xor = ccd ^ vcd;
        ASSEX(res_xor!=0);
        const int s = ((res_xor & getMask(2)) == 0 ? 1 : 0) + ((res_xor & getMask(1)) == 0 ? 2 : 0) +
                      ((res_xor & getMask(0)) == 0 ? 4 : 0);
        if (s > 6) ASSEX(false);
        config += valueOfAgreement[s];
    }
    return config;
}

}  // namespace QUOR_ZEF
