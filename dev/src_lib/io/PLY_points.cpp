#include <iostream>

#include "bytes/AtomicFile.h"
#include "bytes/FileBytes.h"
#include "bytes/textNumbers.h"
#include "frame/tools.h"
#include "io/PLY.h"
#include "io/vtxColors.h"
#include "zef/pointFiles.h"

namespace QUOR_ZEF {

namespace {

using PLY::PlyData;
using PLY::PlyError;
using PLY::PlyFile;
using PLY::Type;
using PLY::VtxColor;
using Data = std::shared_ptr<PlyData>;

// A property whose type this reader does not take.
struct UnsupportedType {};

struct Requests {
    Data pXYZ, pRGB, pAlpha, pFaces;  // null: not there
};

// Null if the file has no such properties.
Data requestIfThere(PlyFile& ply, const char* element, const std::vector<std::string>& vKeys, std::size_t hint = 0) {
    try {
        return ply.requestProperties(element, vKeys, hint);
    } catch (const PlyError&) {
        return nullptr;
    }
}

Requests requestAll(PlyFile& ply, bool bPointsOnly) {
    Requests found;
    found.pXYZ = ply.requestProperties("vertex", {"x", "y", "z"});
    found.pRGB = requestIfThere(ply, "vertex", {"red", "green", "blue"});
    found.pAlpha = requestIfThere(ply, "vertex", {"alpha"});
    if (!found.pAlpha) found.pAlpha = requestIfThere(ply, "vertex", {"scalar_Intensity"});
    if (!bPointsOnly) found.pFaces = requestIfThere(ply, "face", {"vertex_indices"}, 3);
    return found;
}

bool areSingleValues(const Data& pData) {
    return !pData || !pData->bList;
}

// Calls f(position of row i) with the reading that belongs to the type.
template <class F>
void withPositions(const PlyData& xyz, F&& f) {
    const auto at = [&xyz](auto example) {
        using T = decltype(example);
        return [&xyz](std::size_t i) {
            const char* p = xyz.row(i);
            return Point3(loadValue<T>(p), loadValue<T>(p + sizeof(T)), loadValue<T>(p + 2 * sizeof(T)));
        };
    };
    switch (xyz.type) {
        // Taken as unsigned: negative coordinates come out large, and are meant so.
        case Type::INT:
            return f(at(std::uint32_t{}));
        case Type::FLOAT:
            return f(at(float{}));
        case Type::DOUBLE:
            return f(at(double{}));
        default:
            throw UnsupportedType();
    }
}

void takePoints(const PlyData& xyz, std::vector<Point3>& vPoints) {
    withPositions(xyz, [&](auto position) {
        reserveMore(vPoints, xyz.count);
        for (std::size_t i = 0; i < xyz.count; ++i) vPoints.push_back(position(i));
    });
}

// Where a face has more than three corners, a fan from its first one.
std::size_t countCorners(const PlyData& faces) {
    std::size_t num = 0;
    for (std::size_t i = 0; i < faces.count; ++i)
        if (faces.rowLength(i) >= 3) num += 3 * (faces.rowLength(i) - 2);
    return num;
}

template <class T>
std::size_t cornerIndex(const char* pIndex, std::size_t numVertices, std::size_t face) {
    const T value = loadValue<T>(pIndex);
    if (!(value >= T{0}) || !(static_cast<double>(value) < static_cast<double>(numVertices)))
        throw PlyError("face " + std::to_string(face + 1) + " has vertex " + std::to_string(value) + " of " +
                       std::to_string(numVertices));
    return static_cast<std::size_t>(value);
}

template <class T, class Position>
void takeCorners(const PlyData& faces, std::size_t numVertices, Position position, std::vector<Point3>& vPoints) {
    const char* pFace = faces.pFirst;
    for (std::size_t i = 0; i < faces.count; ++i) {
        const std::size_t length = faces.rowLength(i);
        for (std::size_t k = 2; k < length; ++k)
            for (const std::size_t corner : {std::size_t{0}, k - 1, k})
                vPoints.push_back(position(cornerIndex<T>(pFace + corner * sizeof(T), numVertices, i)));
        pFace += length * sizeof(T);
    }
}

void takeSoup(const Requests& found, std::size_t fileSize, std::vector<Point3>& vPoints) {
    if (!found.pFaces) return;
    const PlyData& faces = *found.pFaces;
    const std::size_t numCorners = countCorners(faces);
    if (numCorners > memoryLimit(fileSize) / sizeof(Point3)) throw PlyError("too many corners for a file of this size");
    reserveMore(vPoints, numCorners);
    withPositions(*found.pXYZ, [&](auto position) {
        PLY::visitType(faces.type, [&](auto example) {
            takeCorners<decltype(example)>(faces, found.pXYZ->count, position, vPoints);
        });
    });
}

// Calls f with a value of the C++ type in which colours of that type are read.
template <class Int, class F>
void visitColorType(Type type, F&& f) {
    switch (type) {
        case Type::UCHAR:
            return f(std::uint8_t{});
        case Type::INT:
            return f(Int{});
        case Type::FLOAT:
            return f(float{});
        case Type::DOUBLE:
            return f(double{});
        default:
            throw UnsupportedType();
    }
}

void takeColors(const PlyData& rgb, std::vector<VtxColor>& vColors) {
    visitColorType<std::int32_t>(rgb.type, [&](auto example) {
        using T = decltype(example);
        const auto channel = [](const char* p) { return static_cast<float>(PLY::lowByte(loadValue<T>(p))); };
        for (std::size_t i = 0; i < rgb.count; ++i) {
            const char* p = rgb.row(i);
            vColors[i] = {channel(p), channel(p + sizeof(T)), channel(p + 2 * sizeof(T)), 0.f};
        }
    });
}

void takeAlpha(const PlyData& alpha, std::vector<VtxColor>& vColors) {
    // Integers are taken as unsigned, those of the colours are not.
    visitColorType<std::uint32_t>(alpha.type, [&](auto example) {
        using T = decltype(example);
        for (std::size_t i = 0; i < alpha.count; ++i)
            vColors[i].alpha = narrow(static_cast<double>(loadValue<T>(alpha.row(i))));
    });
}

// Colours the points from position first on. Red, green and blue without alpha
// or intensity are dropped; their type is looked at all the same.
void takeAllColors(const Requests& found, std::size_t first, std::vector<Point3>& vPoints) {
    if (!found.pRGB || found.pRGB->count == 0) return;
    std::vector<VtxColor> vColors(found.pRGB->count);
    takeColors(*found.pRGB, vColors);
    if (!found.pAlpha) return;
    takeAlpha(*found.pAlpha, vColors);
    const std::size_t numPoints = vPoints.size() - first;
    if (vColors.size() != numPoints) {
        showWarning("readPly", "numPoints=" + std::to_string(numPoints) +
                                   ", numColors=" + std::to_string(vColors.size()) + " colors not used");
        return;
    }
    PLY::adaptTo255(vColors);
    for (std::size_t i = 0; i < numPoints; ++i) {
        const VtxColor& color = vColors[i];
        vPoints[first + i].setColor(PLY::lowByte(color.red), PLY::lowByte(color.green), PLY::lowByte(color.blue),
                                    PLY::lowByte(color.alpha));
    }
}

void readInto(std::string_view bytes, bool bPointsOnly, std::vector<Point3>& vPoints) {
    PlyFile ply;
    ply.parseHeader(bytes, PLY::HeaderRule::LENIENT);
    const Requests found = requestAll(ply, bPointsOnly);
    if (!areSingleValues(found.pXYZ) || !areSingleValues(found.pRGB) || !areSingleValues(found.pAlpha))
        throw UnsupportedType();
    if (found.pFaces && !found.pFaces->bList) throw UnsupportedType();
    ply.read();
    const std::size_t first = vPoints.size();
    if (bPointsOnly) {
        takePoints(*found.pXYZ, vPoints);
    } else {
        takeSoup(found, bytes.size(), vPoints);
    }
    takeAllColors(found, first, vPoints);
}

}  // namespace

bool readPly(const char* name, bool bPointsOnly, std::vector<Point3>& vPoints) {
    const std::size_t first = vPoints.size();
    try {
        FileBytes file;
        if (!file.load(name)) throw std::runtime_error(file.getError());
        readInto(file.view(), bPointsOnly, vPoints);
        return true;
    } catch (const PlyError& error) {
        std::cerr << std::string("tinyply exception: ") + error.what() + "\n";
    } catch (const UnsupportedType&) {
        showError("readPly", std::string("unsupported type in ") + name);
    } catch (const std::exception&) {
        showError("readPly", std::string(name) + " not read");
    }
    vPoints.resize(first);
    return false;
}

bool writePointsPly(const std::string& name, std::vector<Point3>& vPoints, bool bAscii) {
    std::cout << "writePointsPly, received " + std::to_string(vPoints.size()) + " points\n";
    std::vector<float> vCoords;
    vCoords.reserve(3 * vPoints.size());
    for (const Point3& p : vPoints)
        for (const double value : {p.px, p.py, p.pz}) vCoords.push_back(narrow(value));
    AtomicFile file(name);
    PlyFile ply;
    ply.addProperties("vertex", {"x", "y", "z"}, Type::FLOAT, vPoints.size(), vCoords.data());
    if (file.isGood()) ply.write(file, bAscii ? PLY::Format::ASCII : PLY::Format::LITTLE_ENDIAN_BINARY);
    if (file.commit()) return true;
    std::cerr << "Can't write " + name + "\n";
    return false;
}

}  // namespace QUOR_ZEF
