#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "frame/types.h"
#include "grid/Bundle.h"

namespace QUOR_ZEF {

// The sorted map from cell code (CCD) to Bundle, and a numbering of cells.
//
// Each cell that was ever entered or asked for by addNumber() has a number: the
// cells given to build() have 0, 1, 2 ... in order of code, later ones follow in
// order of coming. A number stands until the next build(), also when the cell
// loses its Bundle, so arrays by number can stand beside the map.
//
// Owner: whoever builds it (the driver of the run); it borrows the Bundles.
// One thread at a time, also for reading, but for Readers. Finding is O(1) (an 8-byte
// mask for each 4x4x4 block of cells, and a hash table of the blocks), entering
// and erasing too; reading in order sorts what was added since the last time.
// Memory: 16 bytes a cell and 32 an occupied block.
class CellMap {
public:
    static constexpr std::uint32_t none = 0xffffffffu;

    CellMap() = default;
    // See build().
    explicit CellMap(std::span<Bundle* const> vBundles) { build(vBundles); }

    // Replaces everything. vBundles: ascending by cell, else an ASSEX fails; of
    // several with one cell the first counts. O(n).
    void build(std::span<Bundle* const> vBundles);

    // Cells with a Bundle.
    std::size_t size() const { return numFilled; }
    bool empty() const { return numFilled == 0; }

    // The cell's Bundle, null if it has none.
    Bundle* get(uint64 ccd) const {
        const std::uint32_t number = getNumber(ccd);
        return number == none ? nullptr : vBundle[number];
    }
    // A thread's own way to get(), beside others.
    class Reader;
    // Where the cell's Bundle stands; end() if it has none. Valid until the next entry.
    Bundle* const* find(uint64 ccd) const {
        const std::uint32_t number = getNumber(ccd);
        return number == none || !vBundle[number] ? end() : &vBundle[number];
    }
    Bundle* const* end() const { return nullptr; }
    // Overwrites what the cell had. pBundle: not null.
    void insert(uint64 ccd, Bundle* pBundle);
    // True if the cell had a Bundle. The Bundle itself is left alone.
    bool erase(uint64 ccd);

    // Calls f(ccd, pBundle) for each cell with a Bundle, ascending by code.
    template <class F>
    void forEach(F&& f) const {
        forEachNumber([&](std::uint32_t number) {
            if (vBundle[number]) f(vCode[number], vBundle[number]);
        });
    }
    // Appends the cells with a Bundle, ascending.
    void appendCells(std::vector<uint64>& vCCD) const;

    // none for a cell that was never entered.
    std::uint32_t getNumber(uint64 ccd) const { return recent.getNumber(*this, ccd); }
    // Gives the cell a number, without a Bundle, if it has none yet.
    std::uint32_t addNumber(uint64 ccd);
    // Numbers given so far.
    std::uint32_t getNumNumbers() const { return static_cast<std::uint32_t>(vCode.size()); }
    uint64 getCode(std::uint32_t number) const { return vCode[number]; }
    // Whether the one cell's code is below the other's.
    bool isLower(std::uint32_t a, std::uint32_t b) const {
        return a < numBuilt && b < numBuilt ? a < b : vCode[a] < vCode[b];
    }
    // Null if the cell has none.
    Bundle* getBundle(std::uint32_t number) const { return vBundle[number]; }
    // Calls f(number) for every number, ascending by code. f must not add numbers.
    template <class F>
    void forEachNumber(F&& f) const {
        const std::vector<std::uint32_t>& vAdded = getSortedAdded();
        auto itAdded = vAdded.begin();
        for (std::uint32_t number = 0; number < numBuilt; ++number) {
            while (itAdded != vAdded.end() && vCode[*itAdded] < vCode[number]) f(*itAdded++);
            f(number);
        }
        while (itAdded != vAdded.end()) f(*itAdded++);
    }

private:
    // The built cells of one 4x4x4 block: their numbers are consecutive.
    struct Block {
        uint64 key;           // the cells' code without its lowest two levels
        uint64 mask;          // bit n: the cell with n in these levels is there
        std::uint32_t first;  // number of its first cell
    };

    // Cells that were asked for. A mesh comes back to a vertex for each of its
    // triangles, mostly before it asks for a cell with the same lowest three levels.
    class Recent {
    public:
        std::uint32_t getNumber(const CellMap& map, uint64 ccd) {
            Place& place = aPlaces[ccd % aPlaces.size()];
            if (place.ccd != ccd || place.number == none) place = {ccd, map.findNumber(ccd)};
            return place.number;
        }

    private:
        struct Place {
            uint64 ccd = 0;
            std::uint32_t number = none;
        };
        std::array<Place, 512> aPlaces;
    };

    void buildBlocks();
    std::uint32_t findNumber(uint64 ccd) const;
    void rehashAdded(std::size_t numSlots);
    std::uint32_t findAdded(uint64 ccd) const;
    const std::vector<std::uint32_t>& getSortedAdded() const;

    std::vector<uint64> vCode;     // by number
    std::vector<Bundle*> vBundle;  // by number; borrowed
    std::uint32_t numBuilt = 0;    // numbers below stand in order of code
    std::size_t numFilled = 0;
    std::vector<Block> vBlocks;
    std::vector<std::uint32_t> vBlockSlots;           // hash table of indices into vBlocks
    std::vector<std::uint32_t> vAddedSlots;           // hash table of numbers from numBuilt on
    mutable std::vector<std::uint32_t> vSortedAdded;  // the added numbers by code, as of the last reading
    mutable Recent recent;
};

// Reads on a thread beside others, while nobody enters or erases.
class CellMap::Reader {
public:
    explicit Reader(const CellMap& map_) : map(map_) {}
    // The cell's Bundle, null if it has none.
    Bundle* get(uint64 ccd) {
        const std::uint32_t number = recent.getNumber(map, ccd);
        return number == none ? nullptr : map.vBundle[number];
    }

private:
    const CellMap& map;
    Recent recent;
};

}  // namespace QUOR_ZEF
