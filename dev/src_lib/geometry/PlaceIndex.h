#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "frame/types.h"
#include "store/CodeMap.h"
#include "zef/Point3.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// A block of a grid of any size as one number. Two blocks may have the same.
inline uint64 codeOfBlock(std::int64_t x, std::int64_t y, std::int64_t z) {
    return static_cast<uint64>(x) * 0xd6e8feb86659fd93 + static_cast<uint64>(y) * 0xa0761d6478bd642f +
           static_cast<uint64>(z) * 0xe7037ed1a0b428db;
}

// Some places, to be found from whatever lies within a radius of them: many points are
// compared with few places in one pass, without an order of the points. Blocks have twice the
// radius as side, so that each ball touches eight of them at most. Reading from several
// threads is safe. 200 bytes a place.
class PlaceIndex {
public:
    // vWhich: of the places. The radius is above 0.
    PlaceIndex(const std::vector<Point3>& vPlaces, const std::vector<std::uint32_t>& vWhich, double ballRadius);

    // fn(which) for all places that may lie that near to something in the box from one
    // corner to the other, some of them more than once.
    template <class Fn>
    void visit(const Point3& boxLow, const Point3& boxHigh, const Fn& fn) const {
        forEachBlock(boxLow, boxHigh, [&](const Block& block) {
            for (std::uint32_t at = blocks.find(codeOf(block)); at != CodeMap::npos; at = vEntries[at].next)
                fn(vEntries[at].which);
        });
    }

private:
    struct Block {
        std::int64_t x, y, z;
    };
    struct Entry {
        std::uint32_t which;
        std::uint32_t next = CodeMap::npos;  // in the same block
    };
    const double radius;
    Point3 low;
    CodeMap blocks;  // to their first entries
    std::vector<Entry> vEntries;

    // Two blocks of one code would only be visited together.
    static uint64 codeOf(const Block& block) { return codeOfBlock(block.x, block.y, block.z); }
    Block blockOf(const Point3& p) const {
        const Vector3 way = (p - low) / (2.0 * radius);
        return {static_cast<std::int64_t>(way.vx), static_cast<std::int64_t>(way.vy),
                static_cast<std::int64_t>(way.vz)};
    }
    template <class Fn>
    void forEachBlock(const Point3& boxLow, const Point3& boxHigh, const Fn& fn) const {
        const Block first = blockOf(boxLow), last = blockOf(boxHigh);
        for (std::int64_t x = first.x; x <= last.x; ++x)
            for (std::int64_t y = first.y; y <= last.y; ++y)
                for (std::int64_t z = first.z; z <= last.z; ++z) fn(Block{x, y, z});
    }
    void add(const Block& block, std::uint32_t which);
};

}  // namespace QUOR_ZEF
