#include "sides/ViewSearch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "parallel/parallelTransform.h"
#include "sides/Vote.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t maxSamples = 6000;
constexpr std::size_t minStride = 4;  // else the search would tell in runs on small clouds
constexpr double infinity = std::numeric_limits<double>::infinity();

constexpr double maxHeight = 0.25;  // spread of the heights of terrain, over that of the horizontal
constexpr double maxBeneath = 0.3;  // share of its area beneath something else
constexpr double beneathBy = 0.04;  // so much deeper, in diagonals of the box
constexpr double hiddenBy = 0.08;   // so much farther; grazing surface spreads that far in a bin
constexpr double noise = 1e-9;      // of scores: what differs by less is as good
constexpr std::size_t numRefined = 6;
constexpr int numRounds = 2;
constexpr double numBins = 48.0;      // across the sheets, in a picture of them
constexpr double clearCosine = 0.1;   // what shows a side at less than that counts in part
constexpr double bulgeWeight = 0.05;  // of the bulging, beside shares of area

// Of a direction, on the faces of a cube around its start.
std::size_t binOf(const Vector3& way, std::size_t numPerFace) {
    const int axis = way.getMaxAbsIndex();
    const std::array<double, 3> c = {way.vx, way.vy, way.vz};
    const auto at = [&](std::size_t i) { return c[i % 3]; };
    const auto first = static_cast<std::size_t>(axis);
    const auto num = static_cast<double>(numPerFace);
    const auto indexOf = [&](double value) {
        const double scaled = (value / std::abs(at(first)) + 1.0) * 0.5 * num;
        return static_cast<std::size_t>(std::clamp(scaled, 0.0, num - 1.0));
    };
    const std::size_t face = 2 * first + (at(first) < 0.0 ? 1 : 0);
    return (face * numPerFace + indexOf(at(first + 1))) * numPerFace + indexOf(at(first + 2));
}

// Whether what lies in the bin at a distance is behind something there, and around too: at
// the outline of what is in front, a bin holds some of both.
bool isHidden(const std::vector<double>& vNearest, std::size_t numPerFace, std::size_t bin, double before) {
    if (vNearest[bin] >= before) return false;
    const auto isInSight = [&](std::size_t other) { return vNearest[other] >= before && vNearest[other] < infinity; };
    const std::size_t x = bin % numPerFace, y = bin / numPerFace % numPerFace;
    return !(x > 0 && isInSight(bin - 1)) && !(x + 1 < numPerFace && isInSight(bin + 1)) &&
           !(y > 0 && isInSight(bin - numPerFace)) && !(y + 1 < numPerFace && isInSight(bin + numPerFace));
}

// The share of a picture that is empty between what is filled, both along its rows and
// along its columns. vNearest: of its bins, infinity for empty ones.
double gapsIn(const std::vector<double>& vNearest, std::size_t numPerFace) {
    const std::size_t num = numPerFace / 2;  // sparse samples leave single bins empty
    std::vector<std::uint8_t> vFilled(num * num), vBetween(num * num);
    double numFilled = 0.0, numGaps = 0.0;
    const auto markBetween = [&](std::size_t start, std::size_t step) {
        std::size_t first = num, last = 0;
        for (std::size_t i = 0; i < num; ++i) {
            if (!vFilled[start + i * step]) continue;
            first = std::min(first, i);
            last = i;
        }
        for (std::size_t i = first; i < last; ++i) ++vBetween[start + i * step];
    };
    for (std::size_t face = 0; face < 6; ++face) {
        std::fill(vFilled.begin(), vFilled.end(), std::uint8_t{0});
        std::fill(vBetween.begin(), vBetween.end(), std::uint8_t{0});
        const double* const pFace = vNearest.data() + face * numPerFace * numPerFace;
        for (std::size_t y = 0; y < 2 * num; ++y)
            for (std::size_t x = 0; x < 2 * num; ++x)
                if (pFace[y * numPerFace + x] < infinity) vFilled[y / 2 * num + x / 2] = 1;
        for (std::size_t i = 0; i < num; ++i) {
            markBetween(i * num, 1);
            markBetween(i, num);
        }
        for (std::size_t i = 0; i < vFilled.size(); ++i) {
            numFilled += vFilled[i];
            numGaps += !vFilled[i] && vBetween[i] == 2 ? 1.0 : 0.0;
        }
    }
    return numGaps / (numFilled + numGaps);
}

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
    low.set(infinity, infinity, infinity);
    high.set(-infinity, -infinity, -infinity);
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
    std::vector<double> vTop(numPerRow * numPerRow, -infinity);
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
                for (const double reach : {0.25, 0.5, 1.0})
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

double ViewSearch::lossOf(const Point3& place) const {
    // From two half diagonals the sheets fill about a face of the cube, from farther less.
    const auto numPerFace =
        static_cast<std::size_t>(numBins * std::max(1.0, 2.0 * (place - centre).length() / diagonal));
    std::vector<double> vNearest(6 * numPerFace * numPerFace, infinity);
    std::vector<std::pair<std::size_t, double>> vSeen;  // bin and distance, by sample
    vSeen.reserve(vSamples.size());
    for (const Sample& sample : vSamples) {
        const Vector3 way = sample.middle - place;
        const double distance = way.length();
        vSeen.emplace_back(distance > 0.0 ? binOf(way, numPerFace) : 0, distance);
        double& nearest = vNearest[vSeen.back().first];
        nearest = std::min(nearest, distance);
    }
    double hidden = 0.0;
    for (std::size_t i = 0; i < vSeen.size(); ++i)
        if (isHidden(vNearest, numPerFace, vSeen[i].first, vSeen[i].second - hiddenBy * diagonal))
            hidden += vSamples[i].size;
    return hidden / totalSize + gapsIn(vNearest, numPerFace);
}

}  // namespace QUOR_ZEF
