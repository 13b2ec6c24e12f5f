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
#include "frame/Run.h"
#include "parallel/parallelTransform.h"
#include "refit/CoordinateSteps.h"
#include "refit/FacePoints.h"
#include "refit/RefitSurface.h"
#include "refit/corners.h"
#include "refit/creaseFlips.h"
#include "refit/fitting.h"
#include "refit/localNoise.h"

namespace QUOR_ZEF {

namespace {

constexpr int mostRounds = 3, numSteps = 5;
constexpr float creaseCosine = 0.77F;
// Mean edges, in all rounds together. The tip of a corner may be farther than others from the nearest cell with points.
constexpr double longestMove = 1.5, longestMoveOfCorners = 2.0;

// By noise in spacings: it levels out by the points within the radius, and by sweeps. Measured
// on samples of known surfaces, without noise, with 0.3 and with 0.8 spacings.
double radiusFor(double noise) {
    constexpr double clean = 1.2, atThird = 4.5, atMost = 6.2;
    constexpr double third = 0.3, most = 0.8;
    if (noise <= third) return clean + (atThird - clean) * std::max(noise, 0.0) / third;
    return atThird + (atMost - atThird) * std::min(noise - third, most - third) / (most - third);
}
double sweepsFor(double noise) {
    constexpr double clean = 2.0, perSpacing = 4.0, most = 5.0;
    return std::min(clean + perSpacing * std::max(noise, 0.0), most);
}

// Of a point's distance from its own triangle; see fitOffsets(). The more noise, the less the mesh
// is to be trusted.
double shareOfOwn(double noise) {
    constexpr double most = 0.5, least = 0.2, third = 0.3, perSpacing = 0.6;
    return std::clamp(most - perSpacing * (noise - third), least, most);
}
// What is clean keeps gaining, and much noise is left after two rounds; in between a third
// changes less than a hundredth of the error.
bool needsThirdRound(double noise) {
    constexpr double least = 0.15, most = 0.45;
    return noise <= least || noise >= most;
}

// In thousandths.
constexpr uint64 timeOfSetUp = 90, timeOfNoise = 40, timeOfRounds = 540, timeOfCreases = 330;
constexpr uint64 numParts = 3;  // of a round: flips, normals, places

class Refitter {
public:
    Refitter(const TriangleMesh& mesh, const PointSource& points, const RefitOptions& options_, const RefitScale& scale)
        : options(options_), surface(mesh, scale.edge), vOld(surface.vPlaces), facePoints(surface, points) {}

    void run(OptionalStage& stage, const PointSource& points, const RefitScale& scale) {
        settleFits(scale.steps ? *scale.steps : CoordinateSteps(points, options.spacing), scale.points);
        flattenSpikes();
        stage.tick(timeOfNoise);
        const RefitPart whole = surface.getWhole();
        const RefitPart third = surface.partOf(facesOfThirdRound(true)),
                        others = surface.partOf(facesOfThirdRound(false));
        const int numRounds = third.vFaces.empty() ? mostRounds - 1 : mostRounds;
        const uint64 time = timeOfRounds + (bStepped ? timeOfCreases : 0);
        for (int round = 0; round < numRounds; ++round) {
            const RefitPart& part = round + 1 < mostRounds ? whole : third;
            flipToCreases(surface, part, round == 0 ? 2 : 1);
            if (round == 1) flipToCreases(surface, others, 1);
            stage.tick(time / static_cast<uint64>(numRounds) / numParts);
            fitOnce(part, round, [&] { stage.tick(time / static_cast<uint64>(numRounds) / numParts); });
        }
        // Risers are no creases.
        if (!bStepped) fitCreases(stage);
        bringBackLost();
        flipToCreases(surface, whole, 1);
    }

    // Places and triangles; colours if the points have some.
    void writeTo(TriangleMesh& mesh, const PointSource& points) {
        mesh.indices = surface.vTriples;
        const bool bColored = mesh.hasColor();
        if (bColored) {
            const RefitPart whole = surface.getWhole();
            surface.listRings(whole, rings);
            facePoints.follow(surface, whole, rings);
        }
        parallelChunks(mesh.vertices.size(), RefitSurface::minChunk, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                const Vector3& p = surface.vPlaces[i];
                mesh.vertices[i].set(p.vx, p.vy, p.vz);
                if (bColored) fitColor(mesh.vertices[i], i, points);
            }
        });
    }

    // Of what is large, one after the other: freeing all of it takes long.
    void letGo() {
        rings = {};
        pollRun(0);
        facePoints = {};
        pollRun(0);
        surface.fans = {};
        vFits = {};
    }

    RefitReport makeReport() const {
        RefitReport report;
        if (noise >= 0.0) report.noise = noise / options.spacing;
        report.radius = meanRadius / options.spacing;
        double sum = 0.0;
        for (std::size_t i = 0; i < vOld.size(); ++i) {
            pollRun(i);
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
    FaceRings rings;  // kept for its memory
    std::vector<FaceFit> vFits;
    double noise = -1.0, meanRadius = 0.0;  // world units
    bool bStepped = false;                  // points lie in steps of one coordinate
    std::vector<std::uint32_t> vCorners;    // vertices that were put there, at last ascending
    std::vector<bool> vThird;               // by triangle: a third round is worth it

    void settleFits(const CoordinateSteps& steps, const std::optional<PointScale>& fallback) {
        const LocalNoise local(surface, facePoints, fallback);
        noise = local.noise();
        vFits.resize(surface.numTriangles());
        vThird.resize(vFits.size());
        for (std::size_t t = 0; t < vFits.size(); ++t) {
            const double spacing = local.at(t).spacing;
            const double deviation =
                std::max(local.at(t).noise, steps.deviationAt(surface.vCentres[t], surface.vNormals[t]));
            const double relative = deviation / spacing;
            const double radius =
                options.radius > 0.0 ? options.radius * options.spacing : radiusFor(relative) * spacing;
            vFits[t] = {static_cast<float>(sweepsFor(relative)), static_cast<float>(radius),
                        static_cast<float>(shareOfOwn(relative))};
            vThird[t] = needsThirdRound(relative);
            meanRadius += radius;
        }
        meanRadius /= static_cast<double>(vFits.size());
        bStepped = steps.isFound();
    }

    void fitCreases(OptionalStage& stage) {
        narrowRadii();
        const RefitPart creases = surface.getCreases();
        if (creases.vFaces.empty()) return;
        for (int round = 0; round < mostRounds; ++round) {
            flipToCreases(surface, creases, 1);
            fitOnce(creases, mostRounds + round, [] {});
            stage.tick(timeOfCreases / (mostRounds + 1));
        }
        sharpenCorners(creases);
        flipToCreases(surface, creases, 1);
        sharpenCorners(creases);
        std::sort(vCorners.begin(), vCorners.end());
    }

    std::vector<std::uint32_t> facesOfThirdRound(bool bWanted) const {
        std::vector<std::uint32_t> vFaces;
        for (std::uint32_t t = 0; t < vThird.size(); ++t)
            if (vThird[t] == bWanted) vFaces.push_back(t);
        return vFaces;
    }

    void sharpenCorners(const RefitPart& creases) {
        const std::vector<Vector3> vBefore = surface.vPlaces;
        const std::vector<FaceNormal> vTrue = surface.vNormals;
        const Corners corners = findCorners(surface, creases, vFits, vOld, longestMoveOfCorners * surface.edge);
        for (std::size_t k = 0; k < corners.vVertices.size(); ++k)
            surface.vPlaces[corners.vVertices[k]] = corners.vPlaces[k];
        takeBackFolds(creases, vBefore, vTrue);
        vCorners.insert(vCorners.end(), corners.vVertices.begin(), corners.vVertices.end());
    }

    // What bends as much as a crease would shrink over many rounds.
    void narrowRadii() {
        constexpr float share = 0.65F;
        for (FaceFit& fit : vFits) fit.radius *= share;
    }

    // A vertex that stands out alone where no point is goes among its neighbours: a cell that meshing
    // closed off wrongly.
    void flattenSpikes() {
        std::vector<Vector3> vPlaces = surface.vPlaces;
        parallelChunks(vPlaces.size(), RefitSurface::minChunk, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i)
                if (isSpike(i)) vPlaces[i] = meanAround(i);
        });
        surface.vPlaces = std::move(vPlaces);
        surface.renewNormals();
    }

    bool isSpike(std::size_t vertex) const {
        constexpr std::size_t mostTriangles = 5;
        constexpr double leastDistance = 0.8;  // mean edges, to the next point
        const std::span<const std::uint32_t> fan = surface.fans[vertex];
        if (fan.size() > mostTriangles) return false;
        bool bFolded = false;
        for (const std::uint32_t t : fan)
            for (const std::uint32_t u : fan) bFolded = bFolded || surface.vNormals[t] * surface.vNormals[u] < 0.0F;
        if (!bFolded) return false;
        const double sqDistance = leastDistance * leastDistance * surface.edge * surface.edge;
        for (const std::uint32_t t : fan) {
            std::uint32_t side = 3 * t;
            while (surface.vTriples[side] != vertex) ++side;
            if (surface.isBorder(side) || surface.isBorder(previousSide(side))) return false;
            for (const Vector3& p : facePoints.of(t))
                if ((p - surface.vPlaces[vertex]).sqLength() < sqDistance) return false;
        }
        return true;
    }

    // Vertices that fitting has led away from all points return, halfway if that suffices.
    void bringBackLost() {
        constexpr double farthest = 0.75, farthestOfTips = 1.5;  // mean edges
        parallelChunks(vOld.size(), RefitSurface::minChunk, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                if (!isLost(i, surface.vPlaces[i], farthest) || isLost(i, vOld[i], farthest)) continue;
                const bool bTip = std::binary_search(vCorners.begin(), vCorners.end(), i);
                if (bTip && !isLost(i, surface.vPlaces[i], farthestOfTips)) continue;
                const Vector3 halfway = (vOld[i] + surface.vPlaces[i]) * 0.5;
                surface.vPlaces[i] = isLost(i, halfway, farthest) ? vOld[i] : halfway;
            }
        });
        surface.renewNormals();
    }

    // Whether no point of the triangles around is nearer than so many mean edges.
    bool isLost(std::size_t vertex, const Vector3& place, double farthest) const {
        const double sqFarthest = farthest * farthest * surface.edge * surface.edge;
        const auto hasNear = [&](std::uint32_t t) {
            for (const Vector3& p : facePoints.of(t))
                if ((p - place).sqLength() < sqFarthest) return true;
            return false;
        };
        const std::span<const std::uint32_t> fan = surface.fans[vertex];
        if (std::any_of(fan.begin(), fan.end(), hasNear)) return false;
        for (const std::uint32_t t : fan)
            for (std::size_t side = 3 * std::size_t{t}; side < 3 * std::size_t{t} + 3; ++side)
                for (const std::uint32_t u : surface.fans[surface.vTriples[side]])
                    if (hasNear(u)) return false;
        return true;
    }

    // Each neighbour counts twice in a closed fan.
    Vector3 meanAround(std::size_t vertex) const {
        Vector3 sum;
        const std::span<const std::uint32_t> fan = surface.fans[vertex];
        for (const std::uint32_t t : fan)
            for (const std::uint32_t corner : surface.sortedCorners(t))
                if (corner != vertex) sum += surface.vPlaces[corner];
        return sum / (2.0 * static_cast<double>(fan.size()));
    }

    // Triangles along creases start with normals from both sides and need more sweeps; but much noise
    // looks like creases in the first round.
    // By position in the part.
    std::vector<float> countSweeps(const RefitPart& part, bool bFirst) const {
        constexpr float cleanSweeps = 8.0F, noisySweeps = 5.0F;
        constexpr float few = 2.6F;  // sweeps of a clean place
        std::vector<float> vNumSweeps(part.vFaces.size());
        forEachBelow(vNumSweeps.size(), [&](std::size_t k) {
            const std::size_t t = part.vFaces[k];
            const float usual = vFits[t].numSweeps;
            const float wanted = usual < few ? cleanSweeps : bFirst ? 0.0F : noisySweeps;
            vNumSweeps[k] = usual < wanted && surface.bendsBeyond(t, rings[k], creaseCosine) ? wanted : usual;
        });
        return vNumSweeps;
    }

    // Calls tick() after each part but the first one of a round, see numParts.
    template <class Tick>
    void fitOnce(const RefitPart& part, int round, const Tick& tick) {
        constexpr double sigma = 0.35;
        const std::vector<Vector3> vBefore = surface.vPlaces;
        const std::vector<FaceNormal> vTrue = surface.vNormals;
        surface.listRings(part, rings);
        filterNormals(surface, part, rings, countSweeps(part, round == 0), sigma);
        tick();
        facePoints.follow(surface, part, rings);
        moveOntoPlanes(surface, part, fitOffsets(surface, part, rings, facePoints, vFits, sigma, round > 0), vOld,
                       longestMove * surface.edge, numSteps);
        tick();
        takeBackFolds(part, vBefore, vTrue);
    }

    // Where triangles would turn away from the filtered normals, their vertices go back half of
    // the way, then all of it. Leaves the true normals.
    void takeBackFolds(const RefitPart& part, const std::vector<Vector3>& vBefore,
                       const std::vector<FaceNormal>& vTrue) {
        constexpr int numTries = 4;
        const std::vector<FaceNormal> vWanted = surface.vNormals;
        surface.renewNormals(surface.facesAround(part));
        std::vector<std::uint32_t> vFolds = findFolds(part.vFaces, vWanted, vTrue);
        for (int attempt = 1; attempt <= numTries && !vFolds.empty(); ++attempt) {
            const double share = attempt < numTries ? 0.5 : 0.0;
            const std::vector<std::uint32_t> vBack = surface.cornersOf(vFolds);
            for (const std::uint32_t i : vBack)
                surface.vPlaces[i] = vBefore[i] + (surface.vPlaces[i] - vBefore[i]) * share;
            const std::vector<std::uint32_t> vMoved = surface.facesAt(vBack);
            surface.renewNormals(vMoved);
            if (attempt < numTries) vFolds = findFolds(vMoved, vWanted, vTrue);
        }
    }

    std::vector<std::uint32_t> findFolds(const std::vector<std::uint32_t>& vFaces,
                                         const std::vector<FaceNormal>& vWanted,
                                         const std::vector<FaceNormal>& vTrue) const {
        constexpr float steepest = 0.2F;  // cosine
        const auto vParts = parallelChunkResults<std::vector<std::uint32_t>>(
            vFaces.size(), RefitSurface::minChunk, [&](std::size_t begin, std::size_t end) {
                std::vector<std::uint32_t> v;
                for (std::size_t i = begin; i < end; ++i) {
                    const std::uint32_t t = vFaces[i];
                    const float cosine = surface.vNormals[t] * vWanted[t];
                    if (cosine < steepest && cosine < vTrue[t] * vWanted[t]) v.push_back(t);
                }
                return v;
            });
        std::vector<std::uint32_t> vFolds;
        for (const std::vector<std::uint32_t>& v : vParts) vFolds.insert(vFolds.end(), v.begin(), v.end());
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
        for (const std::uint32_t t : surface.fans[vertex])
            for (std::uint32_t side = 3 * t; side < 3 * t + 3; ++side)
                if (surface.vTriples[side] == vertex && !surface.isBorder(side) &&
                    surface.vNormals[t] * surface.vNormals[surface.vOpposite[side] / 3] < creaseCosine)
                    return true;
        return false;
    }
};

}  // namespace

RefitReport refitMesh(TriangleMesh& mesh, const PointSource& points, const RefitOptions& options,
                      const RefitScale& scale) {
    if (mesh.indices.empty() || points.empty()) return {};
    OptionalStage stage("RF_fit", timeOfSetUp + timeOfNoise + timeOfRounds + timeOfCreases);
    Refitter refitter(mesh, points, options, scale);
    stage.tick(timeOfSetUp);
    refitter.run(stage, points, scale);
    refitter.writeTo(mesh, points);
    const RefitReport report = refitter.makeReport();
    refitter.letGo();
    stage.finish();
    return report;
}

}  // namespace QUOR_ZEF
