#include "smooth/colors.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "flat/VertexFans.h"
#include "frame/tools.h"

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

// Colours spread from vertices that have one to their neighbours.
class ColorFill {
public:
    explicit ColorFill(TriangleMesh& mesh_) : mesh(mesh_), fans(mesh.indices, mesh.vertices.size()) {}

    // Gives a colour to those of vWork that have coloured neighbours; nobody sees the
    // new ones before all are known. Returns the vertices that have one since.
    std::vector<std::uint32_t> fillRim(const std::vector<std::uint32_t>& vWork) {
        vRecords.clear();
        for (const std::uint32_t vertex : vWork) {
            const Point3* pVtx = &mesh.vertices[vertex];
            ASSEX(!pVtx->hasColor());
            collectNeighbours(vertex, true);
            if (!vNeighbours.empty()) vRecords.emplace_back(vertex, meanColor());
        }
        for (const auto& [vertex, color] : vRecords) mesh.vertices[vertex].copyColorFrom(color);
        std::vector<std::uint32_t> vNext;
        for (const auto& [vertex, color] : vRecords) {
            collectNeighbours(vertex, false);
            vNext.insert(vNext.end(), vNeighbours.begin(), vNeighbours.end());
        }
        makeUnique(vNext);
        return vNext;
    }

private:
    static void makeUnique(std::vector<std::uint32_t>& v) {
        std::sort(v.begin(), v.end());
        v.erase(std::unique(v.begin(), v.end()), v.end());
    }

    // Ascending: with colour, or without.
    void collectNeighbours(std::uint32_t vertex, bool bColored) {
        vNeighbours.clear();
        for (const std::uint32_t triangle : fans[vertex])
            for (std::size_t i = 0; i < 3; ++i)
                if (const std::uint32_t corner = mesh.indices[3 * std::size_t{triangle} + i];
                    mesh.vertices[corner].hasColor() == bColored)
                    vNeighbours.push_back(corner);
        makeUnique(vNeighbours);
    }

    Point3 meanColor() const {
        float r = 0.0f, g = 0.0f, b = 0.0f, a = 0.0f;
        for (const std::uint32_t neighbour : vNeighbours) mesh.vertices[neighbour].addOwnColor(r, g, b, a);
        const auto num = static_cast<float>(vNeighbours.size());
        return {0.0, 0.0, 0.0, meanChannel(r, num), meanChannel(g, num), meanChannel(b, num), meanChannel(a, num)};
    }

    TriangleMesh& mesh;
    const VertexFans fans;
    std::vector<std::uint32_t> vNeighbours;
    std::vector<std::pair<std::uint32_t, Point3>> vRecords;
};

std::vector<bool> usedVertices(const TriangleMesh& mesh) {
    std::vector<bool> vUsed(mesh.vertices.size());
    for (const std::uint32_t vertex : mesh.indices) vUsed[vertex] = true;
    return vUsed;
}

// The vertices of triangles, ascending, with colour or without.
std::vector<std::uint32_t> verticesOf(const TriangleMesh& mesh, const std::vector<bool>& vUsed, bool bColored) {
    std::vector<std::uint32_t> vVertices;
    for (std::uint32_t i = 0; i < vUsed.size(); ++i)
        if (vUsed[i] && mesh.vertices[i].hasColor() == bColored) vVertices.push_back(i);
    return vVertices;
}

}  // namespace

void completeColors(TriangleMesh& mesh) {
    std::vector<std::uint32_t> vWork = verticesOf(mesh, usedVertices(mesh), false);
    if (vWork.empty() || !mesh.hasColor()) return;
    ColorFill fill(mesh);
    while (!vWork.empty()) vWork = fill.fillRim(vWork);
}

void spreadContrast(TriangleMesh& mesh, double low, double high) {
    const std::vector<bool> vUsed = usedVertices(mesh);
    const auto total = static_cast<double>(3 * std::count(vUsed.begin(), vUsed.end(), true));
    const std::vector<std::uint32_t> vColored = verticesOf(mesh, vUsed, true);
    Histogram histogram;
    for (const std::uint32_t i : vColored)
        for (const std::uint8_t byte : {mesh.vertices[i].r, mesh.vertices[i].g, mesh.vertices[i].b})
            histogram.add(byte);
    int lo = histogram.lowest, hi = histogram.highest;
    if (hi - lo > minClippedRange) {
        lo = histogram.clip(0, 255, std::trunc(total * low));
        hi = histogram.clip(255, 0, std::trunc(total * high));
    }
    if (hi == lo) return;
    const double scale = 255.0 / (hi - lo);
    std::array<std::uint8_t, 256> table{};
    for (int i = 0; i < 256; ++i)
        table[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(std::clamp((i - lo) * scale + 0.5, 0.0, 255.0));
    for (const std::uint32_t i : vColored) {
        Point3& p = mesh.vertices[i];
        p.setColor(table[p.r], table[p.g], table[p.b], p.a);
    }
}

}  // namespace QUOR_ZEF
