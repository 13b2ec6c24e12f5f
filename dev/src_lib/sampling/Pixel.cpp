#include "sampling/Pixel.h"

#include <algorithm>
#include <limits>
#include <string>

#include "frame/Progress.h"
#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

Pixel::Pixel(const std::vector<Point3*>& vTriangleCorners, const Calc* pGrid)
    : pCalc(pGrid), spacingAbs(pGrid->getCellSize()) {
    ASSEX(!vTriangleCorners.empty());
    ASSEX(vTriangleCorners.size()%3==0);
    ASSEX(spacingAbs>0);
    linkEdge2T(vTriangleCorners);
    if (vTri.empty()) {
        showWarning(where(__PRETTY_FUNCTION__, __LINE__), "No non-degenerate triangles");
        return;
    }
    bfsSort();
}

void Pixel::linkEdge2T(const std::vector<Point3*>& vTriangleCorners) {
    constexpr std::size_t maxIndex = std::numeric_limits<std::uint32_t>::max();
    ASSEX(vTriangleCorners.size()<=maxIndex);
    const auto [lowest, highest] = std::minmax_element(vTriangleCorners.begin(), vTriangleCorners.end());
    pFirstPoint = *lowest;
    ASSEX(static_cast<std::size_t>(*highest-pFirstPoint)<=maxIndex);
    vTri.reserve(vTriangleCorners.size() / 3);
    vEdge2Tri.reserve(vTriangleCorners.size());
    std::size_t numDegenerate = 0;
    for (std::size_t i = 0; i < vTriangleCorners.size(); i += 3) {
        const Point3* p[3] = {vTriangleCorners[i], vTriangleCorners[i + 1], vTriangleCorners[i + 2]};
        // Sorted first: rounding can give a triangle on one line a normal in one
        // order of its corners and none in another.
        std::sort(p, p + 3);
        bool bOK = false;
        const Vector3 normal = triNormal(p[0], p[1], p[2], bOK);
        if (!bOK || !normal.isNV()) {
            ++numDegenerate;
            continue;
        }
        auto slot = static_cast<std::uint32_t>(3 * vTri.size());
        Tri& tri = vTri.emplace_back(p[0], p[1], p[2]);
        tri.normal = normal;
        for (int edge = 0; edge < 3; ++edge) {
            const Point3 *p1, *p2;
            tri.getEdgePoints(edge, p1, p2);
            ASSEX(p1<p2);
            vEdge2Tri.emplace_back(static_cast<uint64>(p1 - pFirstPoint) << 32 | static_cast<uint64>(p2 - pFirstPoint),
                                   slot++);
        }
    }
    if (numDegenerate > 0) {
        showWarning(where(__PRETTY_FUNCTION__, __LINE__),
                    "Skipped " + std::to_string(numDegenerate) + " degenerate triangles");
    }
    sortStableByFirstMT(vEdge2Tri.begin(), vEdge2Tri.end());
}

std::size_t Pixel::endOfRun(std::size_t first) const {
    std::size_t last = first + 1;
    while (last < vEdge2Tri.size() && vEdge2Tri[last].first == vEdge2Tri[first].first) ++last;
    return last;
}

// Triangles that lie near each other come near each other, so that later passes
// find their memory warm.
void Pixel::bfsSort() {
    std::vector<std::uint32_t> vFirstRecord(vEdge2Tri.size());  // by slot: where the records of its edge begin
    for (std::size_t first = 0; first < vEdge2Tri.size();) {
        const std::size_t last = endOfRun(first);
        for (std::size_t i = first; i < last; ++i)
            vFirstRecord[vEdge2Tri[i].second] = static_cast<std::uint32_t>(first);
        first = last;
    }
    vBfs.reserve(vTri.size());
    std::vector<bool> vVisited(vTri.size()), vDone(vEdge2Tri.size());
    for (std::size_t i = vTri.size(); i-- > 0;) {
        if (!vVisited[i]) flood(static_cast<std::uint32_t>(i), vFirstRecord, vVisited, vDone);
    }
    ASSEX(vBfs.size()==vTri.size());
}

// What has been appended and not yet looked at is the queue.
void Pixel::flood(std::uint32_t seed, const std::vector<std::uint32_t>& vFirstRecord, std::vector<bool>& vVisited,
                  std::vector<bool>& vDone) {
    std::size_t next = vBfs.size();
    vVisited[seed] = true;
    vBfs.push_back(seed);
    for (; next < vBfs.size(); ++next) {
        for (std::size_t slot = 3 * std::size_t{vBfs[next]}, end = slot + 3; slot < end; ++slot) {
            const std::size_t first = vFirstRecord[slot];
            // By then all at the edge have been visited; edges of thousands would be gone through for each of them.
            if (vDone[first]) continue;
            vDone[first] = true;
            for (std::size_t i = first; i < vEdge2Tri.size() && vEdge2Tri[i].first == vEdge2Tri[first].first; ++i) {
                const std::uint32_t tri = vEdge2Tri[i].second / 3;
                if (vVisited[tri]) continue;
                vVisited[tri] = true;
                vBfs.push_back(tri);
            }
        }
    }
}

namespace {

void appendPoints(const char* stage, std::vector<Pixel::CodedPoint>& vSamples, std::vector<Point3>& vOut) {
    Progress* pProgress = getProgress()->getChildProgressSetTodo(stage, 1);
    vOut.reserve(vOut.size() + vSamples.size());
    for (const Pixel::CodedPoint& sample : vSamples) vOut.push_back(sample.second);
    std::vector<Pixel::CodedPoint>().swap(vSamples);
    pProgress->tick();
    pProgress->finish(true);
}

}  // namespace

void Pixel::pixelAll(std::vector<Point3>& vOut, std::vector<CellPair>& vFeatureEdges,
                     std::vector<CellPair>& vBorderEdges, double featureAngle) {
    if (vTri.empty()) return;
    std::vector<CodedPoint> vEdgeSamples, vAreaSamples;
    pixelAllEdges(featureAngle, vEdgeSamples, vFeatureEdges, vBorderEdges);
    pixelTriangles(vAreaSamples);
    Progress* pProgress = getProgress()->getChildProgressSetTodo("oifc", 1);
    sortStableByFirstMT(vAreaSamples.begin(), vAreaSamples.end());
    pProgress->tick();
    pProgress->finish(true);
    vOut.reserve(vOut.size() + vEdgeSamples.size() + vAreaSamples.size());
    appendPoints("mandiffe", vEdgeSamples, vOut);
    appendPoints("mandiffa", vAreaSamples, vOut);
}

// Block by block, so that only the samples of one block wait to be compared with
// those of the blocks before.
void Pixel::pixelTriangles(std::vector<CodedPoint>& vAreaSamples) {
    constexpr std::size_t blockSize = 1 << 15;
    Progress* pProgress = getProgress()->getChildProgressSetTodo("ar4", vBfs.size());
    for (std::size_t first = 0; first < vBfs.size(); first += blockSize) {
        const std::size_t num = std::min(blockSize, vBfs.size() - first);
        const auto vChunks = parallelChunkResults<std::vector<CodedPoint>>(
            num, 1, [&](std::size_t begin, std::size_t end) { return rasterizeRange(first + begin, first + end); });
        for (const std::vector<CodedPoint>& vSamples : vChunks) {
            for (const CodedPoint& sample : vSamples) {
                if (takenCells.insert(sample.first)) vAreaSamples.push_back(sample);
            }
        }
        for (std::size_t i = 0; i < num; ++i) pProgress->tick();
    }
    pProgress->finish(true);
}

}  // namespace QUOR_ZEF
