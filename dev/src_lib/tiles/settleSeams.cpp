#include "tiles/settleSeams.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "bytes/AtomicFile.h"
#include "bytes/InputFile.h"
#include "bytes/LoadError.h"
#include "flat/EdgeTable.h"
#include "frame/Run.h"
#include "frame/tools.h"
#include "store/TurningSets.h"
#include "tiles/BandMesh.h"
#include "tiles/TileMesh.h"
#include "tiles/bandFinish.h"
#include "tiles/jobFiles.h"
#include "tiles/rawArrays.h"
#include "zef/errors.h"

namespace QUOR_ZEF {

namespace {

// The pieces of all cores, and behind them the triangles of the band, which hang together across sides.
class PieceTurner {
public:
    PieceTurner(const BandMesh& band_, const std::vector<PieceSums>& vSums_, const Point3& origin_)
        : band(band_),
          vSums(vSums_),
          origin(origin_),
          edges(band.mesh.indices, band.mesh.vertices.size()),
          sets(band.numPieces + band.mesh.numTriangles()) {}

    // Whether each is turned.
    std::vector<std::uint8_t> run() {
        for (const BandMesh::CoreSide& side : band.vCoreSides)
            sets.join(side.piece, numberOf(side.triangle), side.bAgainst);
        joinWithinTiles();
        joinAcross();
        return decide();
    }

private:
    const BandMesh& band;
    const std::vector<PieceSums>& vSums;
    const Point3& origin;
    const EdgeTable edges;
    TurningSets sets;

    std::uint32_t numberOf(std::uint32_t triangle) const { return band.numPieces + triangle; }

    // fn(triangle, triangle, whether they are turned against each other), for each side.
    template <class Fn>
    void forEachSide(const Fn& fn) const {
        edges.forEachEdge([&](const Edge& edge) {
            // Triangles that are turned alike run along their edge in opposite directions.
            if (edge.size() == 2)
                fn(edge[0] / 3, edge[1] / 3, band.mesh.indices[edge[0]] == band.mesh.indices[edge[1]]);
        });
    }

    // A tile has turned its triangles alike.
    void joinWithinTiles() {
        forEachSide([&](std::uint32_t a, std::uint32_t b, bool bAgainst) {
            if (band.vTiles[a] == band.vTiles[b]) sets.join(numberOf(a), numberOf(b), bAgainst);
        });
    }

    // Where several sides say different things, what most of them say comes first.
    void joinAcross() {
        using Meeting = std::tuple<std::uint32_t, std::uint32_t, bool>;
        std::vector<Meeting> vSides;
        forEachSide([&](std::uint32_t a, std::uint32_t b, bool bAgainst) {
            const auto [setA, againstA] = sets.find(numberOf(a));
            const auto [setB, againstB] = sets.find(numberOf(b));
            if (setA == setB) return;
            const auto [low, high] = std::minmax(setA, setB);
            vSides.emplace_back(low, high, (bAgainst != againstA) != againstB);
        });
        std::sort(vSides.begin(), vSides.end());
        std::vector<std::pair<std::size_t, Meeting>> vMeetings;
        for (const Meeting& side : vSides) {
            if (vMeetings.empty() || vMeetings.back().second != side) vMeetings.emplace_back(0, side);
            ++vMeetings.back().first;
        }
        std::stable_sort(vMeetings.begin(), vMeetings.end(),
                         [](const auto& x, const auto& y) { return x.first > y.first; });
        for (const auto& [num, meeting] : vMeetings)
            sets.join(std::get<0>(meeting), std::get<1>(meeting), std::get<2>(meeting));
    }

    PieceSums sumsOf(std::uint32_t number) const {
        if (number < band.numPieces) return vSums[number];
        const std::size_t first = 3 * std::size_t{number - band.numPieces};
        const auto place = [&](std::size_t i) -> const Point3& {
            return band.mesh.vertices[band.mesh.indices[first + i]];
        };
        return QUOR_ZEF::sumsOf(place(0), place(1), place(2), origin);
    }

    std::vector<std::uint8_t> decide() {
        const auto num = static_cast<std::uint32_t>(band.numPieces + band.mesh.numTriangles());
        // By the number of their set; what is turned against it counts the other way.
        std::vector<PieceSums> vSets(num);
        for (std::uint32_t number = 0; number < num; ++number) {
            const auto [set, bAgainst] = sets.find(number);
            vSets[set].add(bAgainst ? sumsOf(number).turned() : sumsOf(number));
        }
        edges.forEachEdge([&](const Edge& edge) {
            if (edge.size() == 1 && band.vBeyond[edge[0]] != Beyond::CORE)
                ++vSets[sets.find(numberOf(edge[0] / 3)).first].numBorders;
        });
        std::vector<std::uint8_t> vTurned(num);
        for (std::uint32_t number = 0; number < num; ++number) {
            const auto [set, bAgainst] = sets.find(number);
            const bool bTurned = (vSets[set].numBorders == 0 ? vSets[set].volume : vSets[set].area) < 0.0;
            vTurned[number] = bTurned != bAgainst;
        }
        return vTurned;
    }
};

// Exchanges two corners, and the sides with them.
void turn(std::size_t t, BandMesh& band) {
    std::swap(band.mesh.indices[3 * t], band.mesh.indices[3 * t + 1]);
    std::swap(band.vBeyond[3 * t + 1], band.vBeyond[3 * t + 2]);
}

void requireOwners(const std::filesystem::path& path, const TileMesh& band, std::size_t numTiles) {
    if (std::ranges::any_of(band.vKeys, [&](const SeamKey& key) { return key.owner >= numTiles; }))
        throw FileError(path.string() +
                        ": changed: it names tiles that are not there; delete this file and mesh the tile again");
}

constexpr uint64 seamsMark = 0x32736d61657366'7aU;  // "zfseams2"

}  // namespace

SettledSeams settleSeams(const std::filesystem::path& job, uint64 digest, const TilePlan& plan) {
    SettledSeams seams;
    std::vector<TileMesh> vBands;
    std::vector<PieceSums> vSums;
    std::vector<std::size_t> vNumPieces;
    for (std::uint32_t tile = 0; tile < plan.boxes.size(); ++tile) {
        pollRun(0);
        TileCounts counts;
        vBands.push_back(readTileBand(job, digest, tile, counts));
        requireOwners(tilePath(job, tile), vBands.back(), plan.boxes.size());
        seams.numCoreVertices += counts.numVertices - counts.numBandVertices;
        seams.numCoreTriangles += counts.numCoreTriangles;
        seams.bColored = seams.bColored || counts.bColored;
        vSums.insert(vSums.end(), vBands.back().vPieces.begin(), vBands.back().vPieces.end());
        vNumPieces.push_back(vBands.back().vPieces.size());
    }
    BandMesh band(plan, vBands);
    band.settle();
    const std::vector<std::uint8_t> vTurned = PieceTurner(band, vSums, plan.grid.low).run();
    for (std::size_t t = 0; t < band.mesh.numTriangles(); ++t) {
        seams.vOwners.push_back(band.ownerOf(t));
        if (vTurned[band.numPieces + t] != 0) turn(t, band);
    }
    seams.numTorn = partFans(band.mesh, band.vKeys, band.vBeyond);
    auto it = vTurned.begin();
    for (const std::size_t num : vNumPieces) {
        const auto end = it + static_cast<std::ptrdiff_t>(num);
        seams.vTurned.emplace_back(it, end);
        it = end;
    }
    seams.vVertices = std::move(band.mesh.vertices);
    seams.vKeys = std::move(band.vKeys);
    seams.vTriples = std::move(band.mesh.indices);
    seams.vNumbers = std::move(band.vNumbers);
    seams.numDisputed = band.numDisputed;
    seams.numFilledLoops = band.numFilledLoops;
    seams.numGaps = band.numGaps;
    if (seams.numGaps + seams.numTorn > 0)
        showWarning("tiles", std::to_string(seams.numGaps) + " sides of triangles at seams have no neighbour, and " +
                                 std::to_string(seams.numTorn) +
                                 " were cut since their neighbours are turned the other way: a wider halo helps");
    return seams;
}

void writeSeams(const std::filesystem::path& job, uint64 digest, const SettledSeams& seams, double seconds) {
    const std::filesystem::path path = seamsPath(job);
    AtomicFile file(path.string());
    for (const uint64 value :
         {seamsMark, digest, seams.numCoreVertices, seams.numCoreTriangles, uint64{seams.bColored}, seams.numDisputed,
          seams.numFilledLoops, seams.numGaps, seams.numTorn, uint64{seams.vNumbers.size()}})
        file.writeRaw(value);
    writeVertices(file, seams.vVertices);
    writeArray(file, seams.vKeys);
    writeArray(file, seams.vTriples);
    writeArray(file, seams.vOwners);
    for (const auto& vNumbers : seams.vNumbers) writeArray(file, vNumbers);
    for (const auto& vTurned : seams.vTurned) writeArray(file, vTurned);
    commitFile(file, path);
    writeRecord(job, digest, {StepKind::SETTLE},
                {sumOf(path), 0, seams.vTriples.size() / 3, seams.vVertices.size(), seconds});
}

SettledSeams readSeams(const std::filesystem::path& job, uint64 digest) {
    const std::filesystem::path path = seamsPath(job);
    try {
        const InputFile file(path.string());
        RawReader reader(file);
        SettledSeams seams;
        if (reader.readValue<uint64>() != seamsMark) throw LoadError("no seams of tiles");
        if (reader.readValue<uint64>() != digest) throw LoadError("these are seams of another job");
        seams.numCoreVertices = reader.readValue<uint64>();
        seams.numCoreTriangles = reader.readValue<uint64>();
        seams.bColored = reader.readValue<uint64>() != 0;
        for (uint64* const pNum : {&seams.numDisputed, &seams.numFilledLoops, &seams.numGaps, &seams.numTorn})
            *pNum = reader.readValue<uint64>();
        const auto numTiles = reader.readValue<uint64>();
        seams.vVertices = reader.readVertices();
        seams.vKeys = reader.readArray<SeamKey>();
        seams.vTriples = reader.readArray<std::uint32_t>();
        seams.vOwners = reader.readArray<std::uint32_t>();
        for (uint64 i = 0; i < numTiles; ++i) seams.vNumbers.push_back(reader.readArray<std::uint32_t>());
        for (uint64 i = 0; i < numTiles; ++i) seams.vTurned.push_back(reader.readArray<std::uint8_t>());
        const auto isVertex = [&](std::uint32_t i) { return i < seams.vVertices.size(); };
        bool bSound = reader.isAtEnd() && seams.vKeys.size() == seams.vVertices.size() &&
                      seams.vTriples.size() == 3 * seams.vOwners.size() &&
                      std::ranges::all_of(seams.vTriples, isVertex);
        const auto isTile = [&](std::uint32_t i) { return i < numTiles; };
        bSound = bSound && std::ranges::all_of(seams.vOwners, isTile);
        for (const auto& vNumbers : seams.vNumbers) bSound = bSound && std::ranges::all_of(vNumbers, isVertex);
        if (!bSound) throw LoadError("changed: its numbers do not fit together");
        return seams;
    } catch (const LoadError& error) {
        throw FileError(path.string() + ": " + error.what() + "; delete this file and settle the job again");
    }
}

void requireFitting(const SettledSeams& seams, std::uint32_t tile, const TileMesh& mesh) {
    if (tile >= seams.vNumbers.size() || seams.vNumbers[tile].size() != mesh.vKeys.size() ||
        seams.vTurned[tile].size() != mesh.vPieces.size())
        throw FileError("tile " + std::to_string(tile) +
                        ": its mesh is not that for which seams were settled; settle the job again");
}

}  // namespace QUOR_ZEF
