#include "sides/ViewSearch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "parallel/parallelTransform.h"
#include "sides/Picture.h"
#include "sides/Vote.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t maxSamples = 4000;
constexpr std::size_t minStride = 6;  // else the search would tell in runs on small clouds
constexpr double inf = std::numeric_limits<double>::infinity();

constexpr double maxHeight = 0.25;  // spread of the heights of terrain, over that of the horizontal
constexpr double maxBeneath = 0.3;  // share of its area beneath something else
constexpr double beneathBy = 0.04;  // so much deeper, in diagonals of the box
constexpr double hiddenBy = 0.08;   // so much farther; grazing surface spreads that far in a bin
constexpr double noise = 1e-9;      // of scores: what differs by less is as good
constexpr std::size_t numRefined = 6;
constexpr int numRounds = 2;
constexpr double numBins = 40.0;      // across the sheets, in a picture of them
constexpr double clearCosine = 0.1;   // what shows a side at less than that counts in part
constexpr double bulgeWeight = 0.03;  // of the bulging, beside shares of area

}  // namespace

ViewSearch::ViewSearch(const TriangleMesh& mesh, const std::vector<std::uint32_t>& vPiece,
                       const std::vector<Sheet>& vSheet_)
    : vSheet(vSheet_) {
    std::size_t num = 0;
    for (const std::uint32_t piece : vPiece) num += vSheet[piece] != Sheet::OTHER ? 1 : 0;
    const std::size_t stride = std::max(num / maxSamples + 1, minStride);
    vSamples.reserve(num / stride + 1);
    for (std::size_t t = 0, i = 0; t < vPiece.size(); ++t) {
        const Sheet sheet = vSheet[vPiece[t]];
        if (sheet == Sheet::OTHER || i++ % stride != 0) continue;
        const Vector3 area = doubleArea(mesh, t) * (sheet == Sheet::TURNED ? -1.0 : 1.0);
        vSamples.push_back({middleOf(mesh, t), area, area.length(), vPiece[t]});
    }
    measure();
}

void ViewSearch::measure() {
    low.set(inf, inf, inf);
    high.set(-inf, -inf, -inf);
    for (const Sample& sample : vSamples) {
        const Point3& p = sample.middle;
        low.set(std::min(low.px, p.px), std::min(low.py, p.py), std::min(low.pz, p.pz));
        high.set(std::max(high.px, p.px), std::max(high.py, p.py), std::max(high.pz, p.pz));
    }
    centre = low + (high - low) * 0.5;
    diagonal = (high - low).length();
    Vector3 sum, squares;
    for (const Sample& sample : vSamples) {
        const Vector3 d = sample.middle - centre;
        sum += d * sample.size;
        squares += Vector3(d.vx * d.vx, d.vy * d.vy, d.vz * d.vz) * sample.size;
        totalSize += sample.size;
    }
    const Vector3 shift = sum / totalSize;
    mean = centre + shift;
    variance = squares / totalSize;
    variance -= Vector3(shift.vx * shift.vx, shift.vy * shift.vy, shift.vz * shift.vz);
    for (const Sample& sample : vSamples) totalReach += sample.size * (sample.middle - mean).length();
}

bool ViewSearch::isTerrain() const {
    if (!(variance.vz < maxHeight * maxHeight * (variance.vx + variance.vy))) return false;
    const double binSize = std::max(high.px - low.px, high.py - low.py) / numBins;
    const auto numPerRow = static_cast<std::size_t>(numBins) + 1;
    const auto columnOf = [&](const Sample& sample) {
        const Vector3 d = (sample.middle - low) / binSize;
        return static_cast<std::size_t>(d.vy) * numPerRow + static_cast<std::size_t>(d.vx);
    };
    std::vector<double> vTop(numPerRow * numPerRow, -inf);
    for (const Sample& sample : vSamples) {
        double& top = vTop[columnOf(sample)];
        top = std::max(top, sample.middle.pz);
    }
    double beneath = 0.0;
    for (const Sample& sample : vSamples)
        if (sample.middle.pz < vTop[columnOf(sample)] - beneathBy * diagonal) beneath += sample.size;
    return beneath <= maxBeneath * totalSize;
}

Point3 ViewSearch::findViewpoint() const {
    std::vector<Place> vPlaces = places();
    setScores(vPlaces);
    const auto isBetter = [](const Place& a, const Place& b) { return a.score > b.score; };
    std::stable_sort(vPlaces.begin(), vPlaces.end(), isBetter);
    vPlaces.resize(numRefined);
    double step = diagonal / 8.0;
    for (int i = 0; i < numRounds; ++i, step *= 0.5) refine(vPlaces, step);
    return std::min_element(vPlaces.begin(), vPlaces.end(), isBetter)->at;
}

std::vector<ViewSearch::Place> ViewSearch::places() const {
    std::vector<Place> vPlaces;
    for (const double z : {1.0, 0.0, -1.0})
        for (const double y : {1.0, 0.0, -1.0})
            for (const double x : {1.0, 0.0, -1.0}) {
                const Vector3 direction = normalize(Vector3(x, y, z));
                if (direction.isDegenerate()) continue;
                for (const double reach : {0.25, 0.5, 1.0, 2.0})
                    vPlaces.push_back({centre + direction * (reach * diagonal)});
            }
    return vPlaces;
}

// Each place goes to the best one of its neighbours, if that is better.
void ViewSearch::refine(std::vector<Place>& vPlaces, double step) const {
    const std::array<Vector3, 6> ways = {Vector3(0, 0, step),  Vector3(0, step, 0),  Vector3(step, 0, 0),
                                         Vector3(0, 0, -step), Vector3(0, -step, 0), Vector3(-step, 0, 0)};
    std::vector<Place> vAround;
    for (const Place& place : vPlaces)
        for (const Vector3& way : ways) vAround.push_back({place.at + way});
    setScores(vAround);
    for (std::size_t i = 0; i < vAround.size(); ++i) {
        Place& place = vPlaces[i / ways.size()];
        if (vAround[i].score > place.score) place = vAround[i];
    }
}

void ViewSearch::setScores(std::vector<Place>& vPlaces) const {
    parallelChunks(vPlaces.size(), 1, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) vPlaces[i].score = std::round(scoreOf(vPlaces[i].at) / noise);
    });
}

// 1 for all area in sight and on one side, and less.
double ViewSearch::scoreOf(const Point3& place) const {
    struct Piece {
        double clear = 0.0, toward = 0.0, bulge = 0.0;
    };
    std::vector<Piece> vPieces(vSheet.size());
    for (const Sample& sample : vSamples) {
        const Vector3 way = place - sample.middle;
        const double length = way.length();
        if (!(length > 0.0)) continue;
        const double toward = sample.area * way / length;
        Piece& piece = vPieces[sample.piece];
        piece.toward += toward;
        piece.clear += std::clamp(toward / clearCosine, -sample.size, sample.size);
        piece.bulge += sample.area * (sample.middle - mean);
    }
    double clear = 0.0, bulge = 0.0;
    for (std::size_t i = 0; i < vPieces.size(); ++i) {
        const bool bFree = vSheet[i] == Sheet::FREE, bAway = bFree && vPieces[i].toward < 0.0;
        clear += bFree ? std::abs(vPieces[i].clear) : vPieces[i].clear;
        bulge += bAway ? -vPieces[i].bulge : vPieces[i].bulge;
    }
    return clear / totalSize - lossOf(place) + (totalReach > 0.0 ? bulgeWeight * bulge / totalReach : 0.0);
}

// What is hidden, as a share of the area, and the gaps, as one of the picture.
double ViewSearch::lossOf(const Point3& place) const {
    // From half a diagonal the sheets fill about a face of the cube, from farther less.
    const double scale = std::max(1.0, 2.0 * (place - centre).length() / diagonal);
    Picture picture(static_cast<std::size_t>(numBins * scale));
    std::vector<std::pair<std::size_t, double>> vSeen;  // bin and distance, by sample
    vSeen.reserve(vSamples.size());
    for (const Sample& sample : vSamples) {
        const Vector3 way = sample.middle - place;
        const double distance = std::max(way.length(), std::numeric_limits<double>::min());
        vSeen.emplace_back(picture.add(way, distance), distance);
    }
    double hidden = 0.0;
    for (std::size_t i = 0; i < vSeen.size(); ++i)
        if (picture.isHidden(vSeen[i].first, vSeen[i].second - hiddenBy * diagonal)) hidden += vSamples[i].size;
    return hidden / totalSize + picture.shareOfGaps();
}

}  // namespace QUOR_ZEF
