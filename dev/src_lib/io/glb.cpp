#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "bytes/AtomicFile.h"
#include "bytes/textNumbers.h"
#include "frame/Progress.h"
#include "io/PLY.h"
#include "io/glbNumbers.h"
#include "io/meshFormats.h"
#include "io/vertexNormals.h"

// Binary glTF 2.0: a header of 12 bytes, the description as JSON, and one buffer
// with positions, colours and indices, one after another, all a multiple of 4 bytes.

namespace QUOR_ZEF {

namespace {

constexpr uint64 positionBytes = 12;  // three floats
constexpr uint64 normalBytes = 12;
constexpr uint64 colorBytes = 8;  // four 16 bit numbers
constexpr uint64 tripleBytes = 12;
constexpr int targetVertices = 34962, targetIndices = 34963;

using namespace glb;
using Text = std::string;

Text number(double value) {
    std::array<char, 40> text{};
    return Text(text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr);
}

Text triple(const std::array<double, 3>& values) {
    Text text(1, '[');
    for (const double value : values) text.append(number(value)).append(1, ',');
    text.back() = ']';
    return text;
}

struct Box {
    std::array<double, 3> lower, upper;
};

// Of the coordinates as they stand in the file. glTF knows no infinity and no nan.
Box boxOf(const std::vector<Point3>& vVertices) {
    constexpr double inf = std::numeric_limits<double>::infinity();
    Box box{{inf, inf, inf}, {-inf, -inf, -inf}};
    for (const Point3& p : vVertices) {
        const std::array<double, 3> coords{p.px, p.py, p.pz};
        for (std::size_t i = 0; i < 3; ++i) {
            const double value = narrow(coords[i]);
            if (!std::isfinite(value)) throw SaveError("glTF cannot hold the coordinate " + number(coords[i]));
            box.lower[i] = std::min(box.lower[i], value);
            box.upper[i] = std::max(box.upper[i], value);
        }
    }
    return box;
}

// The parts of the JSON text that describe a mesh of one primitive.
class Description {
public:
    Description(const TriangleMesh& mesh, bool bColor, bool bNormals, const Vector3& offset) {
        const uint64 numVertices = mesh.vertices.size();
        const Box box = boxOf(mesh.vertices);
        add(numVertices * positionBytes, targetVertices, typeFloat, numVertices,
            R"("type":"VEC3","min":)" + triple(box.lower) + R"(,"max":)" + triple(box.upper));
        if (bColor)
            add(numVertices * colorBytes, targetVertices, typeUshort, numVertices,
                R"("type":"VEC4","normalized":true)");
        if (bNormals) add(numVertices * normalBytes, targetVertices, typeFloat, numVertices, R"("type":"VEC3")");
        add(mesh.numTriangles() * tripleBytes, targetIndices, typeUint, 3 * mesh.numTriangles(), R"("type":"SCALAR")");
        if (!offset.isDegenerate()) node = R"(,"translation":)" + triple({offset.vx, offset.vy, offset.vz});
        attributes = R"({"POSITION":0)";
        if (bColor) attributes += R"(,"COLOR_0":1)";
        if (bNormals) attributes += R"(,"NORMAL":)" + std::to_string(numParts - 2);
        attributes += "}";
        indices = std::to_string(numParts - 1);
    }
    uint64 numBytes() const { return size; }
    Text text() const {
        return R"("scenes":[{"nodes":[0]}],"nodes":[{"mesh":0)" + node +
               R"(}],"meshes":[{"primitives":[{"attributes":)" + attributes + R"(,"indices":)" + indices +
               R"(,"material":0}]}],)" +
               // Both sides are seen, since a surface may have borders.
               R"("materials":[{"doubleSided":true,"pbrMetallicRoughness":{"metallicFactor":0}}],)" +
               R"("buffers":[{"byteLength":)" + std::to_string(size) + R"(}],"bufferViews":[)" + views +
               R"(],"accessors":[)" + accessors + "]}";
    }

private:
    void add(uint64 bytes, int target, int type, uint64 count, const Text& more) {
        if (numParts > 0) {
            views += ",";
            accessors += ",";
        }
        views += R"({"buffer":0,"byteOffset":)" + std::to_string(size) + R"(,"byteLength":)" + std::to_string(bytes) +
                 R"(,"target":)" + std::to_string(target) + "}";
        accessors += R"({"bufferView":)" + std::to_string(numParts) + R"(,"componentType":)" + std::to_string(type) +
                     R"(,"count":)" + std::to_string(count) + "," + more + "}";
        size += bytes;
        ++numParts;
    }

    Text views, accessors, attributes, indices, node;
    uint64 size = 0;  // of the buffer
    int numParts = 0;
};

// Bytes of colour are meant for the eye; the format wants amounts of light.
std::array<std::uint16_t, 256> makeLinear() {
    std::array<std::uint16_t, 256> linear{};
    for (std::size_t i = 0; i < linear.size(); ++i) {
        const double c = static_cast<double>(i) / 255.0;
        const double light = c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
        linear[i] = static_cast<std::uint16_t>(std::lround(light * 65535.0));
    }
    return linear;
}

void writeBuffer(AtomicFile& file, const TriangleMesh& mesh, bool bColor, bool bNormals) {
    RowStage rows("IO_write", mesh.vertices.size() + mesh.numTriangles());
    for (const Point3& p : mesh.vertices) {
        file.writeRaw(std::array<float, 3>{narrow(p.px), narrow(p.py), narrow(p.pz)});
        rows.step();
    }
    if (bColor) {
        const std::array<std::uint16_t, 256> linear = makeLinear();
        constexpr std::uint16_t opaque = 65535;
        for (const Point3& p : mesh.vertices)
            file.writeRaw(std::array<std::uint16_t, 4>{linear[p.r], linear[p.g], linear[p.b], opaque});
    }
    if (bNormals)
        for (const std::array<float, 3>& normal : vertexNormals(mesh)) file.writeRaw(normal);
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3, rows.step())
        file.writeRaw(std::array<std::uint32_t, 3>{mesh.indices[i], mesh.indices[i + 1], mesh.indices[i + 2]});
    rows.finish();
}

Text assetText(const Vector3& offset) {
    const Text extras =
        offset.isDegenerate() ? Text() : R"(,"extras":{"offset":)" + triple({offset.vx, offset.vy, offset.vz}) + "}";
    return R"({"asset":{"version":"2.0","generator":"ZEF")" + extras + R"(},"scene":0,)";
}

void writeChunk(AtomicFile& file, uint64 bytes, std::uint32_t type) {
    file.writeRaw(static_cast<std::uint32_t>(bytes));
    file.writeRaw(type);
}

}  // namespace

// Without triangles there is a scene without a mesh, since the format knows no empty arrays.
void writeGlb(const TriangleMesh& mesh, const std::string& path, const WriteOptions& options) {
    const bool bEmpty = mesh.indices.empty();
    const bool bColor = mesh.hasColor();
    Text json = assetText(options.offset);
    uint64 bufferBytes = 0;
    if (bEmpty) {
        json += R"("scenes":[{}]})";
    } else {
        const Description description(mesh, bColor, options.normals, options.offset);
        json += description.text();
        bufferBytes = description.numBytes();
    }
    while (json.size() % 4 != 0) json += ' ';
    const uint64 total = headerBytes + chunkHeaderBytes + json.size() + (bEmpty ? 0 : chunkHeaderBytes + bufferBytes);
    if (total > 0xffffffffu) throw SaveError("the mesh takes more than the 4 GiB of a glTF file");

    AtomicFile file(path);
    file.writeRaw(std::array<std::uint32_t, 3>{magic, version, static_cast<std::uint32_t>(total)});
    writeChunk(file, json.size(), jsonChunk);
    file.write(json);
    if (!bEmpty) {
        writeChunk(file, bufferBytes, binaryChunk);
        writeBuffer(file, mesh, bColor, options.normals);
    }
    if (!file.commit()) throw SaveError(file.getError());
}

}  // namespace QUOR_ZEF
