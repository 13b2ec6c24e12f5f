#include "solid/crossings.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

using Place = std::array<double, 3>;  // along the row, and across it

std::int32_t firstFrom(double coordinate) {
    return static_cast<std::int32_t>(std::ceil(coordinate));
}

class Rasterizer {
public:
    Rasterizer(const std::vector<Point3>& vPlaces_, int axis_, std::vector<Crossing>& vOut_)
        : vPlaces(vPlaces_), axis(static_cast<std::size_t>(axis_)), vOut(vOut_) {}

    void add(const std::uint32_t* pTriple) {
        const std::array<Place, 3> corners{at(pTriple[0]), at(pTriple[1]), at(pTriple[2])};
        const auto [low, high] = std::minmax({corners[0][2], corners[1][2], corners[2][2]});
        for (std::int32_t z = firstFrom(low), end = firstFrom(high); z < end; ++z) addLine(corners, z);
    }

private:
    struct Meeting {
        double x = 0.0, y = 0.0;
        std::int32_t direction = 0;
    };
    const std::vector<Point3>& vPlaces;
    const std::size_t axis;
    std::vector<Crossing>& vOut;

    Place at(std::uint32_t vertex) const {
        const Point3& p = vPlaces[vertex];
        const Place place{p.px, p.py, p.pz};
        return {place[axis], place[(axis + 1) % 3], place[(axis + 2) % 3]};
    }

    // A corner on the line counts as below it, so that two edges meet it, one on its way up.
    static Meeting meet(const Place& a, const Place& b, double z) {
        const bool bUp = a[2] <= z;
        const Place &low = bUp ? a : b, &high = bUp ? b : a;
        const double share = (z - low[2]) / (high[2] - low[2]);
        return {low[0] + share * (high[0] - low[0]), low[1] + share * (high[1] - low[1]), bUp ? 1 : -1};
    }

    void addLine(const std::array<Place, 3>& corners, std::int32_t z) {
        std::array<Meeting, 2> ends;
        std::size_t num = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            const Place &a = corners[i], &b = corners[(i + 1) % 3];
            if ((a[2] <= z) != (b[2] <= z)) ends[num++] = meet(a, b, z);
        }
        if (ends[0].y > ends[1].y) std::swap(ends[0], ends[1]);
        const auto& [first, last] = ends;
        for (std::int32_t y = firstFrom(first.y), end = firstFrom(last.y); y < end; ++y) {
            const double x = first.x + (last.x - first.x) * ((y - first.y) / (last.y - first.y));
            vOut.push_back({codeOf({firstFrom(x), y, z}), x, last.direction});
        }
    }
};

}  // namespace

std::vector<Crossing> findCrossings(const std::vector<Point3>& vPlaces, const std::vector<std::uint32_t>& vTriples,
                                    int axis) {
    std::vector<Crossing> vOut;
    Rasterizer rasterizer(vPlaces, axis, vOut);
    for (std::size_t i = 0; i < vTriples.size(); i += 3) rasterizer.add(&vTriples[i]);
    sortMT(vOut.begin(), vOut.end(), [](const Crossing& a, const Crossing& b) {
        if (a.behind != b.behind) return a.behind < b.behind;
        return a.along != b.along ? a.along < b.along : a.steps < b.steps;
    });
    return vOut;
}

}  // namespace QUOR_ZEF
