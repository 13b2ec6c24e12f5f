#include "geometry/byPlace.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <utility>

#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

using Ticket = std::pair<uint64, std::size_t>;  // of a point: a number as good as drawn, and its position

uint64 stir(uint64 number, double coordinate) {
    // Adding 0 makes both zeros one.
    number = (number ^ std::bit_cast<uint64>(coordinate + 0.0)) * 0xd6e8feb86659fd93;
    number = (number ^ number >> 32) * 0xd6e8feb86659fd93;
    return number ^ number >> 32;
}

// The tickets with numbers up to some.
std::vector<Ticket> collect(const PointSource& points, uint64 highest) {
    constexpr std::size_t minChunk = 50'000;
    const auto vParts =
        parallelChunkResults<std::vector<Ticket>>(points.size(), minChunk, [&](std::size_t begin, std::size_t end) {
            std::vector<Ticket> vPart;
            for (std::size_t i = begin; i < end; ++i) {
                const Point3 p = points[i];
                const uint64 number = numberOfPlace(p.px, p.py, p.pz);
                if (number <= highest) vPart.emplace_back(number, i);
            }
            return vPart;
        });
    std::vector<Ticket> vTickets;
    for (const auto& vPart : vParts) vTickets.insert(vTickets.end(), vPart.begin(), vPart.end());
    return vTickets;
}

}  // namespace

uint64 numberOfPlace(double x, double y, double z) {
    return stir(stir(stir(0, x), y), z);
}

std::vector<std::size_t> drawByPlace(const PointSource& points, std::size_t num) {
    constexpr uint64 all = std::numeric_limits<uint64>::max();
    num = std::min(num, points.size());
    // A few more than wanted, as a rule.
    double share =
        (1.2 * static_cast<double>(num) + 50.0) / static_cast<double>(std::max<std::size_t>(points.size(), 1));
    std::vector<Ticket> vTickets;
    for (bool bMore = true; bMore; share *= 2.0) {
        const uint64 highest = share < 1.0 ? static_cast<uint64>(share * 0x1p64) : all;
        vTickets = collect(points, highest);
        bMore = vTickets.size() < num && highest < all;
    }
    std::sort(vTickets.begin(), vTickets.end(), [&](const Ticket& a, const Ticket& b) {
        return a.first != b.first ? a.first < b.first : comesBefore(points[a.second], points[b.second]);
    });
    std::vector<std::size_t> vPositions;
    for (std::size_t k = 0; k < num; ++k) vPositions.push_back(vTickets[k].second);
    return vPositions;
}

}  // namespace QUOR_ZEF
