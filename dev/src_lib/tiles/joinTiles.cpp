#include "tiles/joinTiles.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <numeric>
#include <span>
#include <string>
#include <vector>

#include "bytes/AtomicFile.h"
#include "bytes/textNumbers.h"
#include "io/precision.h"
#include "parallel/sortMT.h"
#include "tiles/RunMerger.h"
#include "tiles/TileMesh.h"
#include "tiles/jobFiles.h"
#include "tiles/settleSeams.h"
#include "zef/errors.h"

namespace QUOR_ZEF {

namespace {

// A vertex, by what tells it in any cut into tiles.
struct KeyedVertex {
    uint64 cell = 0;
    double x = 0.0, y = 0.0, z = 0.0;
    std::uint32_t rank = 0;
    std::array<std::uint8_t, 4> color{};

    bool operator<(const KeyedVertex& other) const {
        return cell != other.cell ? cell < other.cell : rank < other.rank;
    }
};

KeyedVertex keyed(const Point3& p, const SeamKey& key) {
    constexpr std::uint8_t grey = 204, opaque = 255;  // of vertices without colour
    const std::array<std::uint8_t, 4> color =
        p.hasColor() ? std::array{p.r, p.g, p.b, p.a} : std::array{grey, grey, grey, opaque};
    return {key.cell, p.px, p.py, p.pz, key.rank, color};
}

// By their numbers in the joined mesh.
using CornerNumbers = std::array<std::uint32_t, 3>;

// The lowest first.
CornerNumbers rotated(CornerNumbers corners) {
    std::rotate(corners.begin(), std::min_element(corners.begin(), corners.end()), corners.end());
    return corners;
}

// As PLY has them.
class MeshWriter {
public:
    MeshWriter(AtomicFile& file_, bool bDoubles_, bool bColored_)
        : file(file_), bDoubles(bDoubles_), bColored(bColored_) {}

    void writeHead(uint64 numVertices, uint64 numTriangles) {
        const std::string type = bDoubles ? "double" : "float";
        file.write("ply\nformat binary_little_endian 1.0\nelement vertex " + std::to_string(numVertices) + "\n");
        for (const char axis : {'x', 'y', 'z'}) file.write("property " + type + " " + axis + "\n");
        if (bColored)
            for (const char* channel : {"red", "green", "blue", "alpha"})
                file.write(std::string("property uchar ") + channel + "\n");
        file.write("element face " + std::to_string(numTriangles) +
                   "\nproperty list uchar uint vertex_indices\nend_header\n");
    }
    void writeVertex(const KeyedVertex& vertex) {
        for (const double x : {vertex.x, vertex.y, vertex.z}) {
            if (bDoubles)
                file.writeRaw(x);
            else
                file.writeRaw(narrow(x));
        }
        if (bColored) file.writeRaw(vertex.color);
    }
    void writeTriangle(const CornerNumbers& corners) {
        file.writeRaw(std::uint8_t{3});
        file.writeRaw(corners);
    }

private:
    AtomicFile& file;
    const bool bDoubles, bColored;
};

// The numbers in the joined mesh of the vertices of each run, which come one after the other.
class NumberStore {
public:
    NumberStore(const std::filesystem::path& folder, const RunMerger<KeyedVertex>& merger, std::uint32_t numRuns)
        : numbers(folder), vStarted(numRuns) {
        for (std::uint32_t run = 0; run < numRuns; ++run) {
            vNext.push_back(merger.firstOf(run));
            vEnds.push_back(merger.endOf(run));
        }
    }

    void add(std::uint32_t run, std::uint32_t number) {
        vStarted[run].push_back(number);
        if (vStarted[run].size() == batch || vNext[run] + vStarted[run].size() == vEnds[run]) flush(run);
    }
    // When all are added.
    std::vector<std::uint32_t> numbersOf(std::uint32_t run, uint64 num) const {
        std::vector<std::uint32_t> vNumbers(num);
        numbers.read(vEnds[run] - num, vNumbers);
        return vNumbers;
    }

private:
    static constexpr std::size_t batch = 4096;
    DiskArray<std::uint32_t> numbers;
    std::vector<uint64> vNext, vEnds;  // by run
    std::vector<std::vector<std::uint32_t>> vStarted;

    void flush(std::uint32_t run) {
        numbers.write(vNext[run], vStarted[run]);
        vNext[run] += vStarted[run].size();
        std::vector<std::uint32_t>().swap(vStarted[run]);
    }
};

// The runs are the tiles, and behind them the seams.
class Joiner {
public:
    Joiner(const std::filesystem::path& job_, uint64 digest_, const TilePlan& plan)
        : job(job_),
          digest(digest_),
          seams(readSeams(job, digest)),
          numTiles(static_cast<std::uint32_t>(plan.boxes.size())),
          vertices(job),
          triangles(job) {}

    uint64 numVertices() const { return seams.vVertices.size() + seams.numCoreVertices; }
    uint64 numTriangles() const { return seams.vTriples.size() / 3 + seams.numCoreTriangles; }
    bool isColored() const { return seams.bColored; }

    void write(MeshWriter& writer) {
        collectVertices();
        NumberStore numbers(job, vertices, numTiles + 1);
        std::uint32_t number = 0;
        vertices.merge([&](const KeyedVertex& vertex, std::uint32_t run) {
            writer.writeVertex(vertex);
            numbers.add(run, number++);
        });
        collectTriangles(numbers);
        triangles.merge([&](const CornerNumbers& corners, std::uint32_t) { writer.writeTriangle(corners); });
    }

private:
    const std::filesystem::path& job;
    const uint64 digest;
    const SettledSeams seams;
    const std::uint32_t numTiles;
    RunMerger<KeyedVertex> vertices;
    RunMerger<CornerNumbers> triangles;
    std::vector<std::uint32_t> vSeamOrder;  // vertices of the seams by key

    void collectVertices() {
        for (std::uint32_t tile = 0; tile < numTiles; ++tile) {
            const TileMesh mesh = readTileMesh(job, digest, tile);
            requireFitting(seams, tile, mesh);
            const auto inner = std::span(mesh.vVertices).subspan(mesh.vKeys.size());
            std::vector<KeyedVertex> vRun;
            vRun.reserve(inner.size());
            for (std::size_t i = 0; i < inner.size(); ++i) vRun.push_back(keyed(inner[i], mesh.vInnerKeys[i]));
            vertices.add(vRun);
        }
        vSeamOrder.resize(seams.vVertices.size());
        std::iota(vSeamOrder.begin(), vSeamOrder.end(), 0U);
        std::ranges::stable_sort(vSeamOrder, {}, [&](std::uint32_t i) -> const SeamKey& { return seams.vKeys[i]; });
        std::vector<KeyedVertex> vRun;
        vRun.reserve(vSeamOrder.size());
        for (const std::uint32_t i : vSeamOrder) vRun.push_back(keyed(seams.vVertices[i], seams.vKeys[i]));
        vertices.add(vRun);
    }

    void collectTriangles(const NumberStore& numbers) {
        const std::vector<std::uint32_t> vSorted = numbers.numbersOf(numTiles, vSeamOrder.size());
        std::vector<std::uint32_t> vOfSeams(vSorted.size());
        for (std::size_t k = 0; k < vSorted.size(); ++k) vOfSeams[vSeamOrder[k]] = vSorted[k];
        const auto numSeam = static_cast<std::uint32_t>(vOfSeams.size());
        std::vector<CornerNumbers> vRun;
        for (std::uint32_t tile = 0; tile < numTiles; ++tile) {
            const TileMesh mesh = readTileMesh(job, digest, tile);
            const std::vector<std::uint32_t> vInner = numbers.numbersOf(tile, mesh.vInnerKeys.size());
            vRun.clear();
            forEachOfCore(seams, tile, mesh, numSeam, [&](const CornerNumbers& corners) {
                CornerNumbers numbered;
                for (std::size_t i = 0; i < 3; ++i)
                    numbered[i] = corners[i] < numSeam ? vOfSeams[corners[i]] : vInner[corners[i] - numSeam];
                vRun.push_back(rotated(numbered));
            });
            addTriangles(vRun);
        }
        vRun.clear();
        for (std::size_t i = 0; i < seams.vTriples.size(); i += 3)
            vRun.push_back(rotated(
                {vOfSeams[seams.vTriples[i]], vOfSeams[seams.vTriples[i + 1]], vOfSeams[seams.vTriples[i + 2]]}));
        addTriangles(vRun);
    }

    void addTriangles(std::vector<CornerNumbers>& vRun) {
        sortMT(vRun.begin(), vRun.end());
        triangles.add(vRun);
    }
};

}  // namespace

void joinMeshes(const std::filesystem::path& job, uint64 digest, const TilePlan& plan) {
    const Stopwatch watch;
    const std::filesystem::path path = meshPath(job);
    Joiner joiner(job, digest, plan);
    const uint64 numVertices = joiner.numVertices(), numTriangles = joiner.numTriangles();
    if (numVertices > std::numeric_limits<std::uint32_t>::max())
        throw FileError(path.string() + ": a PLY file has no room for " + std::to_string(numVertices) +
                        " vertices; the meshes of the tiles stay in the folder meshes");
    AtomicFile file(path.string());
    MeshWriter writer(file, needsDoubles(plan.low, plan.high, plan.grid.spacing), joiner.isColored());
    writer.writeHead(numVertices, numTriangles);
    joiner.write(writer);
    commitFile(file, path);
    writeRecord(job, digest, {StepKind::JOIN}, {sumOf(path), 0, numTriangles, numVertices, watch.seconds()});
}

}  // namespace QUOR_ZEF
