#include "outliers/lonelyPieces.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "flat/arrays.h"
#include "flat/triangleSides.h"
#include "grid/CellBlocks.h"
#include "parallel/sortMT.h"
#include "store/DisjointSets.h"

namespace QUOR_ZEF {

namespace {

constexpr double blockSide = 2.0;       // cells; pieces in blocks that touch are near each other
constexpr double piecesTogether = 4.0;  // a surface of small pieces has at least the triangles of so many

class PieceSearch {
public:
    PieceSearch(const TriangleMesh& mesh_, double cellSize, std::size_t minPiece_, const std::vector<float>& vWeights)
        : mesh(mesh_),
          invSide(1.0 / (blockSide * cellSize)),
          minPiece(static_cast<double>(minPiece_)),
          sets(mesh_.vertices.size()) {
        for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
            sets.join(mesh.indices[i], mesh.indices[i + 1]);
            sets.join(mesh.indices[i], mesh.indices[i + 2]);
        }
        vNum.assign(mesh.vertices.size(), 0.0);
        for (std::size_t i = 0; i < mesh.indices.size(); i += 3)
            vNum[sets.find(mesh.indices[i])] += vWeights.empty() ? 1.0 : double{vWeights[mesh.indices[i]]};
        largest = static_cast<std::uint32_t>(std::max_element(vNum.begin(), vNum.end()) - vNum.begin());
    }

    RemovedPieces mark(std::vector<bool>& vDead) {
        RemovedPieces removed;
        if (std::none_of(vNum.begin(), vNum.end(), [&](double num) { return isSmall(num); })) return removed;
        joinNearOnes();
        std::vector<bool> vSeen(mesh.vertices.size());
        vDead.assign(mesh.numTriangles(), false);
        for (std::size_t t = 0; t < vDead.size(); ++t) {
            const std::uint32_t piece = sets.find(mesh.indices[3 * t]);
            if (!isRemoved(piece)) continue;
            vDead[t] = true;
            ++removed.numTriangles;
            if (!vSeen[piece]) ++removed.numPieces;
            vSeen[piece] = true;
        }
        return removed;
    }

private:
    const TriangleMesh& mesh;
    double invSide;
    double minPiece;
    DisjointSets sets;         // vertices; a piece has the number of its lowest one
    std::vector<double> vNum;  // triangles, by piece
    std::uint32_t largest;
    std::vector<double> vNear;  // triangles of the small pieces around, by piece

    bool isSmall(double num) const { return num > 0.0 && num < minPiece; }
    bool isRemoved(std::uint32_t piece) const {
        return isSmall(vNum[piece]) && piece != largest && vNear[piece] < piecesTogether * minPiece;
    }

    // The block of a vertex, in a grid that begins at the lowest one.
    using CodedPiece = std::pair<uint64, std::uint32_t>;
    std::vector<CodedPiece> codeSmallPieces() {
        std::vector<std::uint32_t> vSmall;  // vertices
        for (const std::uint32_t vertex : mesh.indices)
            if (isSmall(vNum[sets.find(vertex)])) vSmall.push_back(vertex);
        Point3 low = mesh.vertices[vSmall.front()];
        for (const std::uint32_t vertex : vSmall) {
            const Point3& p = mesh.vertices[vertex];
            low.set(std::min(low.px, p.px), std::min(low.py, p.py), std::min(low.pz, p.pz));
        }
        std::vector<CodedPiece> vCoded;
        vCoded.reserve(vSmall.size());
        const auto coord = [&](double d) {
            return static_cast<uint64>(std::min(d * invSide, static_cast<double>(coordMask)));
        };
        for (const std::uint32_t vertex : vSmall) {
            const Vector3 v = mesh.vertices[vertex] - low;
            vCoded.emplace_back(packCCD(coord(v.vx), coord(v.vy), coord(v.vz)), sets.find(vertex));
        }
        sortMT(vCoded.begin(), vCoded.end());
        vCoded.erase(std::unique(vCoded.begin(), vCoded.end()), vCoded.end());
        return vCoded;
    }

    void joinNearOnes() {
        const std::vector<CodedPiece> vCoded = codeSmallPieces();
        DisjointSets near(mesh.vertices.size());
        std::vector<uint64> vBlocks;
        std::vector<std::uint32_t> vPieceIn;  // one, of each block
        for (const auto& [code, piece] : vCoded) {
            if (vBlocks.empty() || vBlocks.back() != code) {
                vBlocks.push_back(code);
                vPieceIn.push_back(piece);
            }
            near.join(vPieceIn.back(), piece);
        }
        const CellBlocks_CCD blocks(vBlocks);
        blocks.forEachPair([&](std::uint32_t a, std::uint32_t b) { near.join(vPieceIn[a], vPieceIn[b]); });
        std::vector<double> vSum(mesh.vertices.size());
        for (std::uint32_t piece = 0; piece < vNum.size(); ++piece)
            if (isSmall(vNum[piece])) vSum[near.find(piece)] += vNum[piece];
        vNear.resize(vSum.size());
        for (std::uint32_t piece = 0; piece < vNum.size(); ++piece) vNear[piece] = vSum[near.find(piece)];
    }
};

}  // namespace

RemovedPieces removeLonelyPieces(TriangleMesh& mesh, double cellSize, std::size_t minPiece,
                                 const std::vector<float>& vWeights) {
    if (mesh.indices.empty() || minPiece == 0) return {};
    std::vector<bool> vDead;
    const RemovedPieces removed = PieceSearch(mesh, cellSize, minPiece, vWeights).mark(vDead);
    if (removed.numTriangles == 0) return removed;
    removeTriangles(mesh.indices, vDead);
    renumberVertices(mesh, VertexOrder::MESH);
    return removed;
}

}  // namespace QUOR_ZEF
