#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "frame/types.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// How many points lie where: counts by cubes whose sides are a power of two and which lie on one lattice, whatever
// their side, so that each lies in one of the next larger ones. When there are more than so many, the side doubles.
// Memory goes by that number, some 100 bytes each. Points absurdly far from the first ones, 10^15 times their extent,
// count as lying at the ends.
class BlockCounts {
public:
    using Place = std::array<std::int64_t, 3>;
    struct Block {
        Place place;
        uint64 num;
    };

    explicit BlockCounts(std::size_t mostBlocks_) : mostBlocks(mostBlocks_) {}

    // Finite ones.
    void add(std::span<const Point3> points);

    // Ascending by place.
    std::vector<Block> getBlocks() const;
    // Of a block; 0 before the first point.
    double getSide() const { return side; }
    Point3 centreOf(const Place& place) const;
    Place placeOf(const Point3& p) const;
    // Of the cube of sides 2^level times as long that this block lies in.
    Place aboveOf(const Place& place, int level) const;

private:
    std::size_t mostBlocks;
    int exponent = 0;  // of side
    double side = 0.0, inverse = 0.0;
    std::array<double, 3> base{};  // places count from this cube of the lattice, a whole number
    std::vector<Block> vSlots;     // by open addressing, a power of two of them; num 0: free
    std::size_t numBlocks = 0;

    void begin(std::span<const Point3> points);
    void setSide(int newExponent, const Point3& at);
    Block& slotOf(const Place& place);
    void addTo(const Place& place, uint64 num);
    void grow();
    void doubleSide();
};

}  // namespace QUOR_ZEF
