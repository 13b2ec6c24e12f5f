#include <algorithm>
#include <array>
#include <cmath>

#include "frame/tools.h"
#include "refine/RMesh.h"

namespace QUOR_ZEF {

namespace {

constexpr double minClippedRange = 20.0;  // bytes: a narrower range is stretched whole

std::uint8_t meanChannel(float sum, float num) {
    return static_cast<std::uint8_t>(std::min(255.0f, sum / num + 0.5f));
}

// How often each byte comes in the coloured vertices, all three channels together.
struct Histogram {
    std::array<std::size_t, 256> vNum{};
    int lowest = 255, highest = 0;

    void add(std::uint8_t byte) {
        ++vNum[byte];
        lowest = std::min<int>(lowest, byte);
        highest = std::max<int>(highest, byte);
    }
    // The last byte from first towards last, last left out, that can be clipped so
    // that fewer than limit are; first if there is none.
    int clip(int first, int last, double limit) const {
        const int direction = first < last ? 1 : -1;
        double sum = 0.0;
        int clipped = first;
        for (int byte = first; byte != last; byte += direction) {
            sum += static_cast<double>(vNum[static_cast<std::size_t>(byte)]);
            if (sum >= limit) break;
            clipped = byte;
        }
        return clipped;
    }
};

}  // namespace

// The unrepeated corners around a vertex that have colour, in order.
void RMesh::getColoredNeighbours(const Point3* pVtx, std::vector<const Point3*>& vNeig) const {
    vNeig.clear();
    for (const std::uint32_t number : getFan(pVtx))
        for (const Point3* p : triangles[number]->corner)
            if (p->hasColor()) vNeig.push_back(p);
    std::sort(vNeig.begin(), vNeig.end());
    vNeig.erase(std::unique(vNeig.begin(), vNeig.end()), vNeig.end());
}

void RMesh::colorizeFilledHoles() {
    std::vector<Point3*> vWork;
    getPoints(vWork);
    std::erase_if(vWork, [](const Point3* p) { return p->hasColor(); });
    while (!vWork.empty()) vWork = colorizeRim(vWork);
}

// Gives a colour to those of vWork that have coloured neighbours; nobody sees the
// new ones before all are known. Returns the vertices that have one since.
std::vector<Point3*> RMesh::colorizeRim(const std::vector<Point3*>& vWork) {
    std::vector<std::pair<Point3*, Point3>> vRecords;
    std::vector<const Point3*> vNeig;
    for (Point3* pVtx : vWork) {
        ASSEX(!pVtx->hasColor());
        getColoredNeighbours(pVtx, vNeig);
        if (vNeig.empty()) continue;
        float r = 0.0f, g = 0.0f, b = 0.0f, a = 0.0f;
        for (const Point3* p : vNeig) p->addOwnColor(r, g, b, a);
        const auto num = static_cast<float>(vNeig.size());
        vRecords.emplace_back(pVtx, Point3(0.0, 0.0, 0.0, meanChannel(r, num), meanChannel(g, num), meanChannel(b, num),
                                           meanChannel(a, num)));
    }
    std::vector<Point3*> vNext;
    for (const auto& [pVtx, color] : vRecords) pVtx->copyColorFrom(color);
    for (const auto& [pVtx, color] : vRecords)
        for (const std::uint32_t number : getFan(pVtx))
            for (Point3* p : triangles[number]->corner)
                if (!p->hasColor()) vNext.push_back(p);
    std::sort(vNext.begin(), vNext.end());
    vNext.erase(std::unique(vNext.begin(), vNext.end()), vNext.end());
    return vNext;
}

void RMesh::contrastSpread(double lowFraction, double highFraction) {
    std::vector<Point3*> vP;
    getPoints(vP);
    const auto total = static_cast<double>(3 * vP.size());
    std::erase_if(vP, [](const Point3* p) { return !p->hasColor(); });
    Histogram histogram;
    for (const Point3* p : vP)
        for (const std::uint8_t byte : {p->r, p->g, p->b}) histogram.add(byte);
    int lo = histogram.lowest, hi = histogram.highest;
    if (hi - lo > minClippedRange) {
        lo = histogram.clip(0, 255, std::trunc(total * lowFraction));
        hi = histogram.clip(255, 0, std::trunc(total * highFraction));
    }
    if (hi == lo) return;
    const double scale = 255.0 / (hi - lo);
    std::array<std::uint8_t, 256> table{};
    for (int i = 0; i < 256; ++i)
        table[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(std::clamp((i - lo) * scale + 0.5, 0.0, 255.0));
    for (Point3* p : vP) p->setColor(table[p->r], table[p->g], table[p->b], p->a);
}

}  // namespace QUOR_ZEF
