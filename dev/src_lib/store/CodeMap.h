#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "frame/types.h"

namespace QUOR_ZEF {

// Codes to 32-bit numbers by open addressing, 16 bytes a place and at most half
// of the places taken. Any code may be a key. Nothing is removed.
// Threads: finding is const and safe while nobody inserts.
class CodeMap {
public:
    static constexpr std::uint32_t npos = ~std::uint32_t{0};

    // numExpected: room for as many keys before the first growth.
    explicit CodeMap(std::size_t numExpected = 0) : vPlaces(std::bit_ceil(2 * numExpected + 2)) { setShift(); }

    std::size_t size() const { return numTaken; }

    // The code's number, npos if it has none.
    std::uint32_t find(uint64 code) const { return vPlaces[placeOf(code)].number; }

    // Gives the code this number, unless it has one; returns the number it has now.
    // number must not be npos.
    std::uint32_t insert(uint64 code, std::uint32_t number) {
        Place& place = vPlaces[placeOf(code)];
        if (place.number != npos) return place.number;
        place = {code, number};
        if (2 * ++numTaken > vPlaces.size()) grow();
        return number;
    }

private:
    struct Place {
        uint64 code = ~uint64{0};
        std::uint32_t number = npos;
    };

    // Where the code lies or would lie.
    std::size_t placeOf(uint64 code) const {
        // The high bits of a product with an odd constant (2^64 over the golden
        // ratio) depend on all bits of the code.
        std::size_t place = static_cast<std::size_t>(code * 0x9e3779b97f4a7c15 >> shift);
        while (vPlaces[place].code != code && vPlaces[place].number != npos) place = (place + 1) & (vPlaces.size() - 1);
        return place;
    }

    void grow() {
        std::vector<Place> vOld(2 * vPlaces.size());
        vOld.swap(vPlaces);
        setShift();
        for (const Place& place : vOld) {
            if (place.number != npos) vPlaces[placeOf(place.code)] = place;
        }
    }

    void setShift() { shift = 64 - std::countr_zero(vPlaces.size()); }

    std::vector<Place> vPlaces;  // a power of two of them, at least 2
    std::size_t numTaken = 0;
    int shift = 0;
};

}  // namespace QUOR_ZEF
