#include "field/crossings.h"

#include <bit>
#include <cstddef>
#include <cstdint>

#include "frame/tools.h"
#include "parallel/joinedChunks.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minCorners = 1'000;

bool mayBeCrossed(const Corner& corner) {
    return corner.getState() <= ST_INFLATED;
}

}  // namespace

bool isCrossed(const Corner& source, const Corner& target) {
    if (!mayBeCrossed(source) || !mayBeCrossed(target)) return false;
    const float srcVal = source.val, trgVal = target.val;
    ASSEX(srcVal!=0 && trgVal!=0);
    if ((srcVal < 0) == (trgVal < 0)) return false;
    ASSEX((srcVal<0 && trgVal>0) || (srcVal>0 && trgVal<0));
    return true;
}

std::vector<const Corner*> findCrossed(const CornerStore& store) {
    constexpr std::size_t minChunk = 500;  // bricks; corners are faster
    using Mask = CornerStore::Mask;
    std::vector<Mask> vLower(store.numBricks()), vUpper(store.numBricks()), vCrossed(store.numBricks());
    parallelChunks(store.numBricks(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const CornerStore::Brick& brick = store.brick(i);
            for (Mask left = brick.exists; left; left &= left - 1) {
                const auto place = static_cast<std::size_t>(std::countr_zero(left));
                const Corner& corner = brick.corners[place];
                if (mayBeCrossed(corner)) (corner.val < 0 ? vLower : vUpper)[i] |= Mask{1} << place;
            }
        }
    });
    parallelChunks(store.numBricks(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (auto i = static_cast<std::uint32_t>(begin); i < end; ++i) {
            for (unsigned dir = 0; dir < 6; ++dir) {
                vCrossed[i] |= (vLower[i] & store.withNeighbour(vUpper, i, dir)) |
                               (vUpper[i] & store.withNeighbour(vLower, i, dir));
            }
        }
    });
    return joinedChunks<const Corner*>(store.vCorners.size(), minCorners, [&](std::size_t begin, std::size_t end) {
        std::vector<const Corner*> v;
        for (std::size_t i = begin; i < end; ++i) {
            const std::uint32_t location = store.vCorners[i]->location;
            if (vCrossed[location / CornerStore::brickSize] >> location % CornerStore::brickSize & 1)
                v.push_back(store.vCorners[i]);
        }
        return v;
    });
}

std::vector<uint64> findCrossedCells(const CornerStore& store) {
    const std::vector<const Corner*> vCrossed = findCrossed(store);
    std::vector<uint64> vCells =
        joinedChunks<uint64>(vCrossed.size(), minCorners, [&](std::size_t begin, std::size_t end) {
            std::vector<uint64> v;
            for (std::size_t i = begin; i < end; ++i) {
                const Corner& source = *vCrossed[i];
                // Each edge is met from both ends.
                if (source.val > 0) continue;
                store.forEachNeig(source, [&](const Corner& target) {
                    if (isCrossed(source, target))
                        store.pCalc->getCbsAroundEdge(store.rccOf(source), store.rccOf(target), v);
                });
            }
            return v;
        });
    sortUniqueMT(vCells);
    return vCells;
}

}  // namespace QUOR_ZEF
