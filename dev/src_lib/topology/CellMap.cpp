#include "topology/CellMap.h"

#include <algorithm>
#include <bit>

#include "frame/tools.h"

namespace QUOR_ZEF {

namespace {

constexpr int blockBits = 6;  // two levels of three bits

// Slots of a table are a power of two; the upper bits of the product are the good ones.
std::size_t hashSlot(uint64 key, std::size_t numSlots) {
    const int shift = 64 - std::countr_zero(numSlots);
    return shift == 64 ? 0 : static_cast<std::size_t>((key * 0x9e3779b97f4a7c15ull) >> shift);
}

std::size_t tableSize(std::size_t numEntries) {
    return std::bit_ceil(2 * numEntries + 1);
}

// Without a processor's own instruction std::popcount is a call.
std::uint32_t countBits(uint64 bits) {
    bits -= (bits >> 1) & 0x5555555555555555u;
    bits = (bits & 0x3333333333333333u) + ((bits >> 2) & 0x3333333333333333u);
    bits = (bits + (bits >> 4)) & 0x0f0f0f0f0f0f0f0fu;
    return static_cast<std::uint32_t>((bits * 0x0101010101010101u) >> 56);
}

}  // namespace

void CellMap::build(std::span<Bundle* const> vBundles) {
    *this = CellMap();
    vCode.reserve(vBundles.size());
    vBundle.reserve(vBundles.size());
    for (Bundle* pBundle : vBundles) {
        ASSEX(vCode.empty() || vCode.back() <= pBundle->ccd);
        if (!vCode.empty() && vCode.back() == pBundle->ccd) continue;
        vCode.push_back(pBundle->ccd);
        vBundle.push_back(pBundle);
    }
    ASSEX(vCode.size() < none);
    numBuilt = static_cast<std::uint32_t>(vCode.size());
    numFilled = vCode.size();
    buildBlocks();
}

void CellMap::buildBlocks() {
    std::size_t numBlocks = 0;
    for (std::uint32_t i = 0; i < numBuilt; ++i)
        if (i == 0 || vCode[i] >> blockBits != vCode[i - 1] >> blockBits) ++numBlocks;
    vBlocks.reserve(numBlocks);
    for (std::uint32_t i = 0; i < numBuilt; ++i) {
        const uint64 key = vCode[i] >> blockBits;
        if (vBlocks.empty() || vBlocks.back().key != key) vBlocks.push_back({key, 0, i});
        vBlocks.back().mask |= uint64{1} << (vCode[i] & 63);
    }
    vBlockSlots.assign(tableSize(numBlocks), none);
    const std::size_t wrap = vBlockSlots.size() - 1;
    for (std::uint32_t i = 0; i < vBlocks.size(); ++i) {
        std::size_t slot = hashSlot(vBlocks[i].key, vBlockSlots.size());
        while (vBlockSlots[slot] != none) slot = (slot + 1) & wrap;
        vBlockSlots[slot] = i;
    }
}

std::uint32_t CellMap::findNumber(uint64 ccd) const {
    if (!vBlockSlots.empty()) {
        const uint64 key = ccd >> blockBits;
        const std::size_t wrap = vBlockSlots.size() - 1;
        for (std::size_t slot = hashSlot(key, vBlockSlots.size()); vBlockSlots[slot] != none;
             slot = (slot + 1) & wrap) {
            const Block& block = vBlocks[vBlockSlots[slot]];
            if (block.key != key) continue;
            const uint64 bit = uint64{1} << (ccd & 63);
            if (block.mask & bit) return block.first + countBits(block.mask & (bit - 1));
            break;
        }
    }
    return vCode.size() == numBuilt ? none : findAdded(ccd);
}

std::uint32_t CellMap::findAdded(uint64 ccd) const {
    const std::size_t wrap = vAddedSlots.size() - 1;
    for (std::size_t slot = hashSlot(ccd, vAddedSlots.size()); vAddedSlots[slot] != none; slot = (slot + 1) & wrap)
        if (vCode[vAddedSlots[slot]] == ccd) return vAddedSlots[slot];
    return none;
}

std::uint32_t CellMap::addNumber(uint64 ccd) {
    const std::uint32_t known = getNumber(ccd);
    if (known != none) return known;
    ASSEX(vCode.size() < none);
    const auto number = static_cast<std::uint32_t>(vCode.size());
    vCode.push_back(ccd);
    vBundle.push_back(nullptr);
    const std::size_t numAdded = vCode.size() - numBuilt;
    if (tableSize(numAdded) > vAddedSlots.size()) {
        rehashAdded(tableSize(2 * numAdded));
        return number;
    }
    std::size_t slot = hashSlot(ccd, vAddedSlots.size());
    while (vAddedSlots[slot] != none) slot = (slot + 1) & (vAddedSlots.size() - 1);
    vAddedSlots[slot] = number;
    return number;
}

void CellMap::rehashAdded(std::size_t numSlots) {
    vAddedSlots.assign(numSlots, none);
    for (std::uint32_t number = numBuilt; number < vCode.size(); ++number) {
        std::size_t slot = hashSlot(vCode[number], numSlots);
        while (vAddedSlots[slot] != none) slot = (slot + 1) & (numSlots - 1);
        vAddedSlots[slot] = number;
    }
}

void CellMap::insert(uint64 ccd, Bundle* pBundle) {
    Bundle*& pPlace = vBundle[addNumber(ccd)];
    if (!pPlace) ++numFilled;
    pPlace = pBundle;
}

bool CellMap::erase(uint64 ccd) {
    const std::uint32_t number = getNumber(ccd);
    if (number == none || !vBundle[number]) return false;
    vBundle[number] = nullptr;
    --numFilled;
    return true;
}

void CellMap::appendCells(std::vector<uint64>& vCCD) const {
    vCCD.reserve(vCCD.size() + numFilled);
    forEach([&](uint64 ccd, const Bundle*) { vCCD.push_back(ccd); });
}

const std::vector<std::uint32_t>& CellMap::getSortedAdded() const {
    const auto byCode = [&](std::uint32_t a, std::uint32_t b) { return vCode[a] < vCode[b]; };
    const auto numKnown = static_cast<std::ptrdiff_t>(vSortedAdded.size());
    for (auto number = static_cast<std::uint32_t>(numBuilt + vSortedAdded.size()); number < vCode.size(); ++number)
        vSortedAdded.push_back(number);
    std::sort(vSortedAdded.begin() + numKnown, vSortedAdded.end(), byCode);
    std::inplace_merge(vSortedAdded.begin(), vSortedAdded.begin() + numKnown, vSortedAdded.end(), byCode);
    return vSortedAdded;
}

}  // namespace QUOR_ZEF
