#include "bytes/Visualizer3.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <numeric>
#include <tuple>

#include "bytes/AtomicFile.h"
#include "frame/tools.h"
#include "zef/errors.h"

namespace QUOR_ZEF {

namespace {

std::vector<Point3> copyOf(const std::vector<Point3*>& vPointers) {
    std::vector<Point3> vPoints;
    vPoints.reserve(vPointers.size());
    for (const Point3* p : vPointers) vPoints.push_back(*p);
    return vPoints;
}

// By bits, so that a corner that is no number has its place in the order too.
auto sortKey(const Point3& p) {
    return std::tuple(std::bit_cast<uint64>(p.px), std::bit_cast<uint64>(p.py), std::bit_cast<uint64>(p.pz),
                      p.bHasColor, p.r, p.g, p.b, p.a);
}

// vVertices: the different ones among vCorners, by first use; the result: the
// index of each corner among them.
std::vector<std::uint32_t> mergeCorners(const std::vector<Point3>& vCorners, std::vector<Point3>& vVertices) {
    std::vector<std::uint32_t> vOrder(vCorners.size());
    std::iota(vOrder.begin(), vOrder.end(), 0u);
    std::sort(vOrder.begin(), vOrder.end(), [&](std::uint32_t i, std::uint32_t k) {
        const auto keyI = sortKey(vCorners[i]), keyK = sortKey(vCorners[k]);
        return keyI != keyK ? keyI < keyK : i < k;
    });
    // The first of each run of equal corners is the one with the lowest index.
    std::vector<std::uint32_t> vFirst(vCorners.size());
    for (std::size_t i = 0; i < vOrder.size(); ++i) {
        const bool bSame = i > 0 && sortKey(vCorners[vOrder[i]]) == sortKey(vCorners[vOrder[i - 1]]);
        vFirst[vOrder[i]] = bSame ? vFirst[vOrder[i - 1]] : vOrder[i];
    }
    std::vector<std::uint32_t> vIndices(vCorners.size());
    for (std::size_t i = 0; i < vCorners.size(); ++i) {
        if (vFirst[i] == i) {
            vIndices[i] = static_cast<std::uint32_t>(vVertices.size());
            vVertices.push_back(vCorners[i]);
        } else {
            vIndices[i] = vIndices[vFirst[i]];
        }
    }
    return vIndices;
}

void writePosition(AtomicFile& file, const Point3& p) {
    file.writeShortest(p.px);
    file.write(' ');
    file.writeShortest(p.py);
    file.write(' ');
    file.writeShortest(p.pz);
}

void writeColor(AtomicFile& file, float red, float green, float blue) {
    constexpr int digits = 6;
    for (const float channel : {red, green, blue}) {
        file.write(' ');
        file.writeNumber(channel, digits);
    }
    file.write(" 1");  // opaque
}

void writeCount(AtomicFile& file, std::size_t num) {
    file.writeInteger(static_cast<int64>(num));
    file.write(' ');
}

float share(std::uint8_t channel) {
    return static_cast<float>(channel / 255.0);
}

}  // namespace

void Visualizer3::addPoints(const std::vector<Point3>& vPoints, Color color) {
    if (!vPoints.empty()) vObjects.push_back({Kind::POINTS, color, vPoints, {}, 0});
}

void Visualizer3::addEdges(const std::vector<std::pair<Point3, Point3>>& vEdges, Color color) {
    if (vEdges.empty()) return;
    Object object{Kind::LINES, color, {}, {}, 0};
    object.vVertices.reserve(2 * vEdges.size());
    for (const auto& [from, to] : vEdges) {
        object.vVertices.push_back(from);
        object.vVertices.push_back(to);
    }
    vObjects.push_back(std::move(object));
}

void Visualizer3::addTriangles(const std::vector<Point3>& vCorners) {
    ASSEX(vCorners.size()%3==0);
    ASSEX(vCorners.size()<std::numeric_limits<Index>::max());
    if (vCorners.empty()) return;
    const bool bColored = std::any_of(vCorners.begin(), vCorners.end(), [](const Point3& p) { return p.hasColor(); });
    Object object{bColored ? Kind::COLORED_POLYGONS : Kind::POLYGONS, defaultColor, {}, {}, 3};
    object.vIndices = mergeCorners(vCorners, object.vVertices);
    vObjects.push_back(std::move(object));
}

void Visualizer3::addTriangles(const std::vector<Point3*>& vCorners) {
    addTriangles(copyOf(vCorners));
}

// Corner i of the box: bit 0 of i chooses x, bit 1 y, bit 2 z.
void Visualizer3::addCube(const Point3& lower, const Point3& upper) {
    Object object{Kind::POLYGONS, defaultColor, {}, {}, 4};
    for (int i = 0; i < 8; ++i)
        object.vVertices.emplace_back(i & 1 ? upper.px : lower.px, i & 2 ? upper.py : lower.py,
                                      i & 4 ? upper.pz : lower.pz);
    // Seen from outside, each face runs counter-clockwise.
    object.vIndices = {0, 2, 3, 1, 4, 5, 7, 6, 0, 1, 5, 4, 2, 6, 7, 3, 0, 4, 6, 2, 1, 3, 7, 5};
    vObjects.push_back(std::move(object));
}

void Visualizer3::writePolygons(AtomicFile& file, const Object& object) {
    const bool bColored = object.kind == Kind::COLORED_POLYGONS;
    file.write(bColored ? "{ COFF\n" : "{ OFF\n");
    writeCount(file, object.vVertices.size());
    writeCount(file, object.vIndices.size() / object.cornersPerFace);
    file.write("0\n");
    for (const Point3& p : object.vVertices) {
        writePosition(file, p);
        if (bColored && p.hasColor()) {
            writeColor(file, share(p.r), share(p.g), share(p.b));
        } else if (bColored) {
            writeColor(file, object.color.red, object.color.green, object.color.blue);
        }
        file.write('\n');
    }
    for (std::size_t i = 0; i < object.vIndices.size(); i += object.cornersPerFace) {
        file.writeInteger(object.cornersPerFace);
        for (std::size_t k = 0; k < object.cornersPerFace; ++k) {
            file.write(' ');
            file.writeInteger(object.vIndices[i + k]);
        }
        file.write('\n');
    }
    file.write("}\n");
}

// A point is a line of one vertex. The first line names the colour, and the
// others, with none of their own, go on with it.
void Visualizer3::writeLines(AtomicFile& file, const Object& object) {
    const std::size_t length = object.kind == Kind::POINTS ? 1 : 2;
    const std::size_t numLines = object.vVertices.size() / length;
    file.write("{ VECT\n");
    writeCount(file, numLines);
    writeCount(file, object.vVertices.size());
    file.write("1\n");
    for (std::size_t i = 0; i < numLines; ++i) writeCount(file, length);
    file.write("\n1");
    for (std::size_t i = 1; i < numLines; ++i) file.write(" 0");
    file.write('\n');
    for (const Point3& p : object.vVertices) {
        writePosition(file, p);
        file.write('\n');
    }
    writeColor(file, object.color.red, object.color.green, object.color.blue);
    file.write("\n}\n");
}

std::string Visualizer3::tryWrite(const std::string& name) const {
    AtomicFile file(name);
    file.write("LIST\n");
    for (const Object& object : vObjects) {
        if (!file.isGood()) break;
        if (object.kind == Kind::POINTS || object.kind == Kind::LINES) {
            writeLines(file, object);
        } else {
            writePolygons(file, object);
        }
    }
    return file.commit() ? "" : file.getError();
}

bool Visualizer3::write(const std::string& name) const {
    const std::string error = tryWrite(name);
    if (!error.empty()) showWarning("Visualizer3", name + " can't be written, " + error);
    return error.empty();
}

void Visualizer3::save(const std::string& name) const {
    const std::string error = tryWrite(name);
    if (!error.empty()) throw FileError(name + ": " + error);
}

}  // namespace QUOR_ZEF
