#include "refit/refitMesh.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "flat/triangleSides.h"
#include "frame/Progress.h"
#include "parallel/parallelTransform.h"
#include "refit/FacePoints.h"
#include "refit/RefitSurface.h"
#include "refit/creaseFlips.h"
#include "refit/fitting.h"
#include "refit/localNoise.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minChunk = RefitSurface::minChunk;
constexpr int numRounds = 3, numSteps = 5;

// By noise in spacings: it levels out by the points within the radius, and by sweeps. Measured
// on samples of known surfaces, without noise, with 0.3 and with 0.8 spacings.
double radiusFor(double noise) {
    constexpr double clean = 1.2, atThird = 4.5, atMost = 5.5;
    constexpr double third = 0.3, most = 0.8;
    if (noise <= third) return clean + (atThird - clean) * std::max(noise, 0.0) / third;
    return atThird + (atMost - atThird) * std::min(noise - third, most - third) / (most - third);
}
double sweepsFor(double noise) {
    constexpr double clean = 2.0, perSpacing = 4.0, most = 5.0;
    return std::min(clean + perSpacing * std::max(noise, 0.0), most);
}

class Refitter {
public:
    Refitter(const TriangleMesh& mesh, const PointSource& points, const RefitOptions& options_)
        : options(options_), surface(mesh), vOld(surface.vPlaces), facePoints(surface, points) {}

    void run(OptionalStage& stage) {
        settleFits();
        stage.tick();
        for (int round = 0; round < numRounds; ++round) {
            flipEdges(round == 0 ? 2 : 1);
            fitOnce(round == 0 ? 0.0 : 0.5);
            stage.tick();
        }
        flipEdges(1);
        stage.tick();
    }

    // Places and triangles; colours if the points have some.
    void writeTo(TriangleMesh& mesh, const PointSource& points) {
        mesh.indices = surface.vTriples;
        const bool bColored = mesh.hasColor();
        if (bColored) facePoints.follow(surface);
        parallelChunks(mesh.vertices.size(), minChunk, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                const Vector3& p = surface.vPlaces[i];
                mesh.vertices[i].set(p.vx, p.vy, p.vz);
                if (bColored) fitColor(mesh.vertices[i], i, points);
            }
        });
    }

    RefitReport makeReport() const {
        RefitReport report;
        if (noise >= 0.0) report.noise = noise / options.spacing;
        report.radius = meanRadius / options.spacing;
        double sum = 0.0;
        for (std::size_t i = 0; i < vOld.size(); ++i) {
            const double move = (surface.vPlaces[i] - vOld[i]).length();
            if (move > 0.0) ++report.numMovedVertices;
            sum += move;
            report.maxMove = std::max(report.maxMove, move);
            if (isAtCrease(i)) ++report.numCreaseVertices;
        }
        report.meanMove = sum / static_cast<double>(vOld.size());
        return report;
    }

private:
    const RefitOptions options;
    RefitSurface surface;
    const std::vector<Vector3> vOld;
    FacePoints facePoints;
    std::vector<FaceFit> vFits;
    double noise = -1.0, meanRadius = 0.0;  // world units

    void settleFits() {
        const LocalNoise local(surface, facePoints);
        noise = local.noise();
        vFits.resize(surface.numTriangles());
        for (std::size_t t = 0; t < vFits.size(); ++t) {
            const double spacing = local.spacingAt(t), relative = local.noiseAt(t) / spacing;
            const double radius =
                options.radius > 0.0 ? options.radius * options.spacing : radiusFor(relative) * spacing;
            vFits[t] = {static_cast<float>(sweepsFor(relative)), static_cast<float>(radius)};
            meanRadius += radius;
        }
        meanRadius /= static_cast<double>(vFits.size());
    }

    void flipEdges(int numPasses) {
        for (int pass = 0; pass < numPasses; ++pass) flipToCreases(surface);
    }

    // Triangles along creases start with normals from both sides and need more sweeps; but noise looks
    // like creases.
    std::vector<FaceFit> sharpenFits() const {
        constexpr float creaseCosine = 0.77F, creaseSweeps = 8.0F, fewSweeps = 2.6F;
        std::vector<FaceFit> vSharp = vFits;
        parallelChunks(vSharp.size(), minChunk, [&](std::size_t begin, std::size_t end) {
            for (std::size_t t = begin; t < end; ++t)
                if (vSharp[t].numSweeps < fewSweeps && surface.bendsBeyond(t, creaseCosine))
                    vSharp[t].numSweeps = creaseSweeps;
        });
        return vSharp;
    }
    void fitOnce(double shareOfOwn) {
        constexpr double sigma = 0.35;
        constexpr double longestMove = 1.5;  // mean edges, in all rounds together
        const std::vector<Vector3> vBefore = surface.vPlaces;
        const std::vector<FaceNormal> vTrue = surface.vNormals;
        filterNormals(surface, sharpenFits(), sigma);
        facePoints.follow(surface);
        moveOntoPlanes(surface, fitOffsets(surface, facePoints, vFits, sigma, shareOfOwn), vOld,
                       longestMove * surface.edge, numSteps);
        takeBackFolds(vBefore, vTrue);
        surface.renewNormals();
    }

    // Where triangles would turn away from the filtered normals, their vertices go back half of
    // the way, then all of it.
    void takeBackFolds(const std::vector<Vector3>& vBefore, const std::vector<FaceNormal>& vTrue) {
        constexpr int numTries = 4;
        for (int attempt = 1; attempt <= numTries; ++attempt) {
            const double share = attempt < numTries ? 0.5 : 0.0;
            std::vector<char> vBack(surface.numVertices());
            bool bAny = false;
            for (const std::uint32_t t : findFolds(vTrue))
                for (std::size_t side = 3 * std::size_t{t}; side < 3 * std::size_t{t} + 3; ++side)
                    vBack[surface.vTriples[side]] = bAny = true;
            if (!bAny) return;
            for (std::size_t i = 0; i < vBack.size(); ++i)
                if (vBack[i]) surface.vPlaces[i] = vBefore[i] + (surface.vPlaces[i] - vBefore[i]) * share;
        }
    }

    std::vector<std::uint32_t> findFolds(const std::vector<FaceNormal>& vTrue) const {
        constexpr float steepest = 0.2F;  // cosine
        std::vector<std::uint32_t> vFolds;
        for (const std::vector<std::uint32_t>&vPart : parallelChunkResults<std::vector<std::uint32_t>>(
                 surface.numTriangles(), minChunk, [&](std::size_t begin, std::size_t end) {
                     std::vector<std::uint32_t> vFound;
                     for (std::size_t t = begin; t < end; ++t) {
                         const FaceNormal& wanted = surface.vNormals[t];
                         const FaceNormal now =
                             normalOf(surface.corner(3 * t), surface.corner(3 * t + 1), surface.corner(3 * t + 2));
                         const float cosine = now * wanted;
                         if (cosine < steepest && cosine < vTrue[t] * wanted)
                             vFound.push_back(static_cast<std::uint32_t>(t));
                     }
                     return vFound;
                 }))
            vFolds.insert(vFolds.end(), vPart.begin(), vPart.end());
        return vFolds;
    }

    // The mean of the points around, by how near they are.
    void fitColor(Point3& vertex, std::size_t number, const PointSource& points) const {
        std::array<double, 4> sums{};
        double total = 0.0;
        for (const std::uint32_t t : surface.fans[number]) {
            const std::span<const Vector3> places = facePoints.of(t);
            const std::span<const std::uint32_t> indices = facePoints.indicesOf(t);
            for (std::size_t i = 0; i < places.size(); ++i) {
                const double q = (places[i] - surface.vPlaces[number]).sqLength() / (surface.edge * surface.edge);
                const Point3 p = points[indices[i]];
                if (q >= 1.0 || !p.hasColor()) continue;
                const double weight = (1.0 - q) * (1.0 - q);
                total += weight;
                sums[0] += weight * p.r;
                sums[1] += weight * p.g;
                sums[2] += weight * p.b;
                sums[3] += weight * p.a;
            }
        }
        if (!(total > 0.0)) return;
        const auto channel = [&](std::size_t i) { return static_cast<std::uint8_t>(sums[i] / total + 0.5); };
        vertex.setColor(channel(0), channel(1), channel(2), channel(3));
    }

    bool isAtCrease(std::size_t vertex) const {
        constexpr float creaseCosine = 0.8F;
        for (const std::uint32_t t : surface.fans[vertex])
            for (std::uint32_t side = 3 * t; side < 3 * t + 3; ++side)
                if (surface.vTriples[side] == vertex && !surface.isBorder(side) &&
                    surface.vNormals[t] * surface.vNormals[surface.vOpposite[side] / 3] < creaseCosine)
                    return true;
        return false;
    }
};

}  // namespace

RefitReport refitMesh(TriangleMesh& mesh, const PointSource& points, const RefitOptions& options) {
    if (mesh.indices.empty() || points.empty()) return {};
    OptionalStage stage("RF_fit", numRounds + 3);
    Refitter refitter(mesh, points, options);
    stage.tick();
    refitter.run(stage);
    refitter.writeTo(mesh, points);
    stage.finish();
    return refitter.makeReport();
}

}  // namespace QUOR_ZEF
