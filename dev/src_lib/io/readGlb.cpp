#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "bytes/FileBytes.h"
#include "bytes/quoted.h"
#include "frame/Progress.h"
#include "geometry/freeFunctions.h"
#include "io/cloudLoaders.h"
#include "io/glbNumbers.h"

// glTF 2.0: a description as JSON, in whose buffers lie the numbers of vertices and indices. Nodes
// place meshes; accessors say where and how the numbers of a mesh lie.

namespace QUOR_ZEF {

namespace {

using nlohmann::json;
using namespace glb;

constexpr int maxJsonDepth = 200;
constexpr std::size_t maxNodeDepth = 1000;

[[noreturn]] void failDamaged(const std::string& fault) {
    throw LoadError(fault + "; the file is damaged, export it anew");
}

// What may still be taken of the memory that reading a file may cost. A few bytes ask for much, where
// nodes show a mesh again and again.
class Budget {
public:
    explicit Budget(uint64 fileSize) : left(memoryLimit(fileSize) - fileSize) {}
    void take(uint64 bytes) {
        if (bytes > left)
            throw LoadError("the scene takes more memory than 16 times the size of the file; export it as one mesh");
        left -= bytes;
    }

private:
    uint64 left;
};

// ---- the description ----

struct List {
    const char* name;
    const char* entry;  // what one of it is called
};
constexpr List sceneList{"scenes", "scene"}, nodeList{"nodes", "node"}, meshList{"meshes", "mesh"},
    accessorList{"accessors", "accessor"}, viewList{"bufferViews", "bufferView"}, bufferList{"buffers", "buffer"};

// An object of the description, and what it is called in messages.
struct Item {
    const char* kind;
    uint64 index;
    const json* pData;

    [[noreturn]] void fail(const std::string& fault) const {
        failDamaged(std::string(kind) + " " + std::to_string(index) + ": " + fault);
    }
    // Null if there is none.
    const json* find(const char* key) const {
        const auto found = pData->find(key);
        return found == pData->end() ? nullptr : &*found;
    }
    uint64 toNumber(const char* key, const json* pValue) const {
        if (!pValue || !pValue->is_number_unsigned()) fail(std::string("\"") + key + "\" is no whole number");
        return pValue->get<uint64>();
    }
    uint64 number(const char* key) const { return toNumber(key, find(key)); }
    uint64 number(const char* key, uint64 otherwise) const {
        const json* const pValue = find(key);
        return pValue ? toNumber(key, pValue) : otherwise;
    }
    // Null if there is none.
    const json* list(const char* key) const {
        const json* const pList = find(key);
        if (pList && !pList->is_array()) fail(std::string("\"") + key + "\" is no list");
        return pList;
    }
    // False, and values as they were, if there is none.
    template <std::size_t N>
    bool numbers(const char* key, std::array<double, N>& values) const {
        const json* const pList = list(key);
        if (!pList) return false;
        const bool bNumbers = std::all_of(pList->begin(), pList->end(), [](const json& v) { return v.is_number(); });
        if (pList->size() != N || !bNumbers)
            fail(std::string("\"") + key + "\" is no list of " + std::to_string(N) + " numbers");
        for (std::size_t i = 0; i < N; ++i) values[i] = (*pList)[i].get<double>();
        return true;
    }
};

// What a value costs in memory, roughly.
void takeValue(Budget& budget, json::parse_event_t event, const json& value) {
    constexpr uint64 valueBytes = 32, memberBytes = 96;
    constexpr uint64 numCopies = 3;  // the value, and what the parser gathers it in
    const bool bKey = event == json::parse_event_t::key;
    if (event == json::parse_event_t::object_end || event == json::parse_event_t::array_end) return;
    budget.take((bKey ? memberBytes : valueBytes) +
                (value.is_string() ? numCopies * value.get_ref<const std::string&>().size() : 0));
}

// place: of the text in the file.
json parseDescription(std::string_view text, std::size_t place, Budget& budget) {
    const auto take = [&](int depth, json::parse_event_t event, const json& value) {
        if (depth > maxJsonDepth) failDamaged("the description is nested too deep");
        takeValue(budget, event, value);
        return true;
    };
    json root;
    try {
        root = json::parse(text.begin(), text.end(), take);
    } catch (const json::parse_error& error) {
        failDamaged("byte " + std::to_string(place + error.byte) + ": the description is no valid JSON");
    } catch (const json::exception&) {
        failDamaged("the description holds a number that is too large");
    }
    if (!root.is_object()) failDamaged("the description is no object of JSON");
    return root;
}

// ---- buffers ----

// Stops at the first character that is none of base64.
std::string fromBase64(std::string_view text) {
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::array<std::int8_t, 256> valueOf{};
    valueOf.fill(-1);
    for (std::size_t i = 0; i < digits.size(); ++i)
        valueOf[static_cast<unsigned char>(digits[i])] = static_cast<std::int8_t>(i);
    std::string bytes;
    bytes.reserve(text.size() / 4 * 3 + 3);
    std::uint32_t bits = 0;
    int numBits = 0;
    for (const char c : text) {
        const std::int8_t value = valueOf[static_cast<unsigned char>(c)];
        if (value < 0) break;
        bits = (bits << 6 | static_cast<std::uint32_t>(value)) & 0xffffu;
        numBits += 6;
        if (numBits < 8) continue;
        numBits -= 8;
        bytes += static_cast<char>(bits >> numBits & 0xffu);
    }
    return bytes;
}

// Where the numbers of an accessor lie, all of them within the file.
struct Column {
    const char* pFirst = nullptr;  // null: there is no such accessor
    uint64 count = 0;
    std::size_t stride = 0;
    uint64 type = 0;
    std::size_t numParts = 0;  // 1, or more for vectors

    const char* at(uint64 i) const { return pFirst + i * stride; }
};

std::size_t sizeOfType(uint64 type) {
    if (type == typeUbyte) return 1;
    if (type == typeUshort) return 2;
    return type == typeUint || type == typeFloat ? 4 : 0;
}

std::size_t numPartsOf(const json* pType) {
    if (pType && *pType == "SCALAR") return 1;
    if (pType && *pType == "VEC3") return 3;
    return pType && *pType == "VEC4" ? 4 : 0;
}

class Document {
public:
    Document(std::string_view bytes, Budget& memory) : budget(memory) {
        std::string_view text = bytes;
        if (bytes.starts_with("glTF")) text = takeChunks(bytes);
        root = parseDescription(text, static_cast<std::size_t>(text.data() - bytes.data()), budget);
        checkKind();
        vDecoded.resize(numOf(bufferList));
    }

    bool isBinary() const { return bBinary; }
    Item getTop() const { return {"the description, version", 2, &root}; }
    uint64 numOf(const List& list) const {
        const json* const pList = getTop().list(list.name);
        return pList ? pList->size() : 0;
    }
    Item get(const List& list, uint64 index) const {
        const uint64 num = numOf(list);
        if (index >= num)
            failDamaged(std::string(list.entry) + " " + std::to_string(index) + " is asked for, but there are " +
                        std::to_string(num));
        const Item item{list.entry, index, &root[list.name][static_cast<std::size_t>(index)]};
        if (!item.pData->is_object()) item.fail("it is no object");
        return item;
    }
    Column column(uint64 accessor);

private:
    Budget& budget;
    json root;
    bool bBinary = false;
    std::string_view binary;            // the chunk beside the description
    std::vector<std::string> vDecoded;  // of buffers, once they are asked for

    std::string_view takeChunks(std::string_view bytes);
    void checkKind() const;
    std::string_view buffer(uint64 index);
    std::string_view view(const Item& item);
};

// The text of the description.
std::string_view Document::takeChunks(std::string_view bytes) {
    bBinary = true;
    const auto failShort = [&] {
        throw LoadError("byte " + std::to_string(bytes.size()) +
                        ": the file ends here, before what its headers announce; it is cut short, copy it anew");
    };
    if (bytes.size() < headerBytes + chunkHeaderBytes) failShort();
    const auto version = loadValue<std::uint32_t>(bytes.data() + 4);
    if (version != 2)
        throw LoadError("byte 4: glTF of version " + std::to_string(version) + " is not read; export it as version 2");
    const auto total = loadValue<std::uint32_t>(bytes.data() + 8);
    if (total > bytes.size()) failShort();
    std::string_view text;
    for (std::size_t place = headerBytes; total >= place + chunkHeaderBytes;) {
        const auto size = loadValue<std::uint32_t>(bytes.data() + place);
        const auto type = loadValue<std::uint32_t>(bytes.data() + place + 4);
        place += chunkHeaderBytes;
        if (size > total - place) failDamaged("byte " + std::to_string(place) + ": the part is longer than the file");
        if (type == jsonChunk && text.empty()) text = bytes.substr(place, size);
        if (type == binaryChunk && !binary.data()) binary = bytes.substr(place, size);
        place += size;
    }
    if (text.empty()) failDamaged("byte 12: there is no description");
    return text;
}

void Document::checkKind() const {
    const json* const pAsset = getTop().find("asset");
    const auto isText = [](const json* p) { return p && p->is_string(); };
    const json* const pVersion = pAsset && pAsset->is_object() ? Item{"asset", 0, pAsset}.find("version") : nullptr;
    if (!isText(pVersion)) throw LoadError("\"asset\" names no version; is it a glTF file?");
    if (const auto& version = pVersion->get_ref<const std::string&>(); !version.starts_with("2."))
        throw LoadError("glTF of version " + QUOR_ZEF::quoted(version) + " is not read; export it as version 2");
    const json* const pRequired = getTop().list("extensionsRequired");
    if (!pRequired) return;
    for (const char* const name : {"KHR_draco_mesh_compression", "EXT_meshopt_compression", "KHR_meshopt_compression",
                                   "EXT_mesh_gpu_instancing"})
        if (std::find(pRequired->begin(), pRequired->end(), name) != pRequired->end())
            throw LoadError(std::string("the file uses ") + name + ", which is not read; export it without that");
}

std::string_view Document::buffer(uint64 index) {
    const Item item = get(bufferList, index);
    const json* const pUri = item.find("uri");
    if (!pUri) {
        if (index != 0 || !binary.data()) item.fail("its bytes are not in the file");
        return binary;
    }
    if (!pUri->is_string()) item.fail("\"uri\" is no text");
    const std::string& uri = pUri->get_ref<const std::string&>();
    if (!uri.starts_with("data:"))
        throw LoadError("buffer " + std::to_string(index) + " lies in the file " + QUOR_ZEF::quoted(uri) +
                        " beside it, which is not read; export it as .glb");
    const std::size_t comma = uri.find(',');
    if (comma == std::string::npos || !std::string_view(uri).substr(0, comma).ends_with(";base64"))
        item.fail("its data are not in base64");
    std::string& decoded = vDecoded[static_cast<std::size_t>(index)];
    if (decoded.empty()) {
        budget.take(uri.size());
        decoded = fromBase64(std::string_view(uri).substr(comma + 1));
    }
    return decoded;
}

std::string_view Document::view(const Item& item) {
    const std::string_view bytes = buffer(item.number("buffer"));
    const uint64 offset = item.number("byteOffset", 0), length = item.number("byteLength");
    if (offset > bytes.size() || length > bytes.size() - offset)
        item.fail("it goes beyond the " + std::to_string(bytes.size()) + " bytes of its buffer");
    return bytes.substr(static_cast<std::size_t>(offset), static_cast<std::size_t>(length));
}

Column Document::column(uint64 accessor) {
    const Item item = get(accessorList, accessor);
    if (item.find("sparse"))
        throw LoadError("accessor " + std::to_string(accessor) +
                        " is sparse, which is not read; export it without sparse accessors");
    if (!item.find("bufferView")) item.fail("it has no bytes");
    Column column;
    column.count = item.number("count");
    column.type = item.number("componentType");
    column.numParts = numPartsOf(item.find("type"));
    const std::size_t size = sizeOfType(column.type) * column.numParts;
    if (size == 0) item.fail("numbers of this type do not belong here");
    const Item viewItem = get(viewList, item.number("bufferView"));
    const std::string_view bytes = view(viewItem);
    const uint64 stride = viewItem.number("byteStride", size), offset = item.number("byteOffset", 0);
    if (stride < size || stride > std::max<uint64>(size, 252)) viewItem.fail("\"byteStride\" does not fit");
    if (column.count > 0 && (offset > bytes.size() || size > bytes.size() - offset ||
                             column.count - 1 > (bytes.size() - offset - size) / stride))
        item.fail("its " + std::to_string(column.count) + " entries go beyond the " + std::to_string(bytes.size()) +
                  " bytes of bufferView " + std::to_string(viewItem.index));
    column.stride = static_cast<std::size_t>(stride);
    column.pFirst = column.count > 0 ? bytes.data() + offset : bytes.data();
    return column;
}

// ---- nodes ----

struct Pose {
    std::array<Vector3, 3> axes = {Vector3(1, 0, 0), Vector3(0, 1, 0), Vector3(0, 0, 1)};  // what x, y and z become
    Vector3 shift;

    Vector3 turned(const Vector3& v) const { return axes[0] * v.vx + axes[1] * v.vy + axes[2] * v.vz; }
    Vector3 placed(const Vector3& v) const { return turned(v) + shift; }
};

Pose operator*(const Pose& outer, const Pose& inner) {
    return {{outer.turned(inner.axes[0]), outer.turned(inner.axes[1]), outer.turned(inner.axes[2])},
            outer.placed(inner.shift)};
}

std::array<Vector3, 3> axesOfQuaternion(const std::array<double, 4>& q) {
    const auto [x, y, z, w] = q;
    const double square = x * x + y * y + z * z + w * w;
    const double s = square > 0.0 ? 2.0 / square : 0.0;
    return {Vector3(1.0 - s * (y * y + z * z), s * (x * y + z * w), s * (x * z - y * w)),
            Vector3(s * (x * y - z * w), 1.0 - s * (x * x + z * z), s * (y * z + x * w)),
            Vector3(s * (x * z + y * w), s * (y * z - x * w), 1.0 - s * (x * x + y * y))};
}

Pose poseOf(const Item& node) {
    std::array<double, 16> m{};
    if (node.numbers("matrix", m))  // column by column
        return {{Vector3(m[0], m[1], m[2]), Vector3(m[4], m[5], m[6]), Vector3(m[8], m[9], m[10])},
                Vector3(m[12], m[13], m[14])};
    std::array<double, 4> rotation{0, 0, 0, 1};
    std::array<double, 3> scale{1, 1, 1}, shift{};
    node.numbers("rotation", rotation);
    node.numbers("scale", scale);
    node.numbers("translation", shift);
    Pose pose{axesOfQuaternion(rotation), Vector3(shift[0], shift[1], shift[2])};
    for (std::size_t i = 0; i < 3; ++i) pose.axes[i] *= scale[i];
    return pose;
}

// The nodes of the default scene; of all scenes if there is none; without scenes, of all that are
// no child.
class NodeWalk {
public:
    explicit NodeWalk(const Document& document)
        : doc(document), vScene(static_cast<std::size_t>(doc.numOf(nodeList)), 0) {}

    // fn(mesh, pose) of each node with a mesh, parents before children.
    template <class Fn>
    void forEachMesh(const Fn& fn) {
        if (const json* const pDefault = doc.getTop().find("scene"))
            return walkScene(doc.get(sceneList, doc.getTop().toNumber("scene", pDefault)), fn);
        for (uint64 i = 0; i < doc.numOf(sceneList); ++i) walkScene(doc.get(sceneList, i), fn);
        if (doc.numOf(sceneList) == 0) walkRoots(fn);
    }

private:
    struct Frame {
        Item node;
        Pose pose;
        std::size_t numDone;  // of its children
    };
    const Document& doc;
    std::vector<std::uint32_t> vScene;  // of each node, in which it was met, from 1 on
    std::vector<Frame> vFrames;         // from the root down
    std::uint32_t currentScene = 0;

    template <class Fn>
    void walkScene(const Item& scene, const Fn& fn) {
        ++currentScene;
        const json* const pRoots = scene.list("nodes");
        for (std::size_t i = 0; pRoots && i < pRoots->size(); ++i) descend(scene.toNumber("nodes", &(*pRoots)[i]), fn);
    }

    template <class Fn>
    void walkRoots(const Fn& fn) {
        ++currentScene;
        std::vector<bool> vChild(vScene.size());
        for (uint64 i = 0; i < vScene.size(); ++i) {
            const Item node = doc.get(nodeList, i);
            const json* const pChildren = node.list("children");
            for (std::size_t k = 0; pChildren && k < pChildren->size(); ++k)
                vChild[static_cast<std::size_t>(doc.get(nodeList, node.toNumber("children", &(*pChildren)[k])).index)] =
                    true;
        }
        for (std::size_t i = 0; i < vScene.size(); ++i)
            if (!vChild[i]) descend(i, fn);
    }

    template <class Fn>
    void descend(uint64 root, const Fn& fn) {
        enter(root, Pose(), fn);
        while (!vFrames.empty()) {
            Frame& frame = vFrames.back();
            const json* const pChildren = frame.node.list("children");
            if (!pChildren || frame.numDone == pChildren->size()) {
                vFrames.pop_back();
                continue;
            }
            const json& child = (*pChildren)[frame.numDone++];
            enter(frame.node.toNumber("children", &child), Pose(frame.pose), fn);
        }
    }

    template <class Fn>
    void enter(uint64 index, const Pose& parent, const Fn& fn) {
        const Item node = doc.get(nodeList, index);
        std::uint32_t& scene = vScene[static_cast<std::size_t>(index)];
        if (scene == currentScene) node.fail("it comes twice in its scene, so that the nodes are no tree");
        if (scene != 0) return;
        scene = currentScene;
        if (vFrames.size() == maxNodeDepth) node.fail("the nodes are nested too deep");
        const Pose pose = parent * poseOf(node);
        if (node.find("mesh")) fn(doc.get(meshList, node.number("mesh")), pose);
        vFrames.push_back({node, pose, 0});
    }
};

// ---- meshes ----

struct Primitive {
    uint64 mode = modeTriangles;
    Column positions, normals, colors, indices;

    uint64 numCorners() const { return indices.pFirst ? indices.count : positions.count; }
    uint64 numTriangles() const {
        if (mode == modePoints) return 0;
        return mode == modeTriangles ? numCorners() / 3 : std::max<uint64>(numCorners(), 2) - 2;
    }
    uint64 numVertices() const { return mode == modePoints ? numCorners() : positions.count; }
    bool hasVerticesOf(const Primitive& other) const {
        return mode != modePoints && other.mode != modePoints && positions.pFirst == other.positions.pFirst &&
               positions.count == other.positions.count && positions.stride == other.positions.stride &&
               normals.pFirst == other.normals.pFirst && colors.pFirst == other.colors.pFirst;
    }
};

std::uint32_t indexAt(const Column& indices, uint64 i) {
    const char* const p = indices.at(i);
    if (indices.type == typeUbyte) return loadValue<std::uint8_t>(p);
    return indices.type == typeUshort ? loadValue<std::uint16_t>(p) : loadValue<std::uint32_t>(p);
}

// From light in parts of 65535 to bytes for the eye.
std::vector<std::uint8_t> makeVisible() {
    std::vector<std::uint8_t> visible(65536);
    for (std::size_t i = 0; i < visible.size(); ++i) {
        const double light = static_cast<double>(i) / 65535.0;
        const double c = light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1.0 / 2.4) - 0.055;
        visible[i] = static_cast<std::uint8_t>(std::lround(c * 255.0));
    }
    return visible;
}

// In parts of 65535.
std::uint16_t lightAt(const char* p, uint64 type) {
    if (type == typeUbyte) return static_cast<std::uint16_t>(loadValue<std::uint8_t>(p) * 257);
    if (type == typeUshort) return loadValue<std::uint16_t>(p);
    const float value = loadValue<float>(p);
    if (!(value > 0.f)) return 0;
    return value >= 1.f ? std::uint16_t{65535} : static_cast<std::uint16_t>(std::lround(value * 65535.f));
}

Vector3 vectorAt(const Column& column, uint64 i) {
    const auto v = loadValue<std::array<float, 3>>(column.at(i));
    return {v[0], v[1], v[2]};
}

// Normals stay square to surfaces that are scaled or sheared, and keep their lengths.
class NormalTurn {
public:
    explicit NormalTurn(const Pose& pose) {
        const auto& [x, y, z] = pose.axes;
        cofactors.axes = {cross(y, z), cross(z, x), cross(x, y)};
        bMirror = x * cofactors.axes[0] < 0.0;
    }
    bool isMirror() const { return bMirror; }
    Vector3 operator()(const Vector3& normal) const {
        Vector3 turned = cofactors.turned(normal);
        const double length = turned.length();
        if (!(length > 0.0)) return {};
        turned *= (bMirror ? -1.0 : 1.0) * normal.length() / length;
        return turned;
    }

private:
    Pose cofactors;
    bool bMirror = false;
};

class GltfLoader {
public:
    GltfLoader(std::string_view bytes, PointFile& cloud) : budget(bytes.size()), doc(bytes, budget), out(cloud) {
        out.format = doc.isBinary() ? "glTF 2.0, binary" : "glTF 2.0, text";
    }

    void load() {
        forEachPrimitive([&](const Primitive& primitive, const Pose&) { count(primitive); });
        if (numVertices == 0) throw LoadError("the scene has no points and no triangles; export it with a mesh");
        if (numLines > 0) out.notes.push_back(std::to_string(numLines) + " primitives of lines are left out.");
        reserveMore(out.points, static_cast<std::size_t>(numVertices));
        out.indices.reserve(static_cast<std::size_t>(3 * numTriangles));
        if (bNormals) out.normals.reserve(static_cast<std::size_t>(numVertices));
        if (bColors) vVisible = makeVisible();
        RowStage rows("IO_read", numVertices + numTriangles);
        forEachPrimitive([&](const Primitive& primitive, const Pose& pose) { add(primitive, pose, rows); });
        if (numTriangles > 0) out.kind = PointFile::Kind::MESH;
    }

private:
    Budget budget;
    Document doc;
    PointFile& out;
    uint64 numVertices = 0, numTriangles = 0, numLines = 0;
    bool bNormals = false, bColors = false;
    std::vector<std::uint8_t> vVisible;
    // Of this mesh the last one, whose vertices the next one may share.
    Primitive last;
    std::size_t firstOfLast = 0;

    // Billed so that empty primitives, shown again and again, cannot take forever.
    static constexpr uint64 primitiveBytes = 32;

    template <class Fn>
    void forEachPrimitive(const Fn& fn) {
        numLines = 0;
        NodeWalk(doc).forEachMesh([&](const Item& mesh, const Pose& pose) {
            last = {};
            const json* const pPrimitives = mesh.list("primitives");
            for (std::size_t i = 0; pPrimitives && i < pPrimitives->size(); ++i) {
                budget.take(primitiveBytes);
                const Primitive primitive = primitiveOf(mesh, (*pPrimitives)[i]);
                if (primitive.positions.count == 0) continue;
                fn(primitive, pose);
                last = primitive;
            }
        });
    }

    // Without positions: nothing to take.
    Primitive primitiveOf(const Item& mesh, const json& data) {
        const Item item{"a primitive of mesh", mesh.index, &data};
        if (!data.is_object()) item.fail("it is no object");
        const json* const pAttributes = item.find("attributes");
        if (!pAttributes || !pAttributes->is_object()) item.fail("it has no \"attributes\"");
        Primitive primitive;
        primitive.mode = item.number("mode", modeTriangles);
        if (primitive.mode > modeFan) item.fail("\"mode\" is none of 0 to 6");
        if (primitive.mode != modePoints && primitive.mode < modeTriangles) {
            ++numLines;
            return {};
        }
        const Item attributes{item.kind, item.index, pAttributes};
        const auto columnOf = [&](const Item& place, const char* key) {
            return place.find(key) ? doc.column(place.number(key)) : Column();
        };
        primitive.positions = columnOf(attributes, "POSITION");
        primitive.normals = columnOf(attributes, "NORMAL");
        primitive.colors = columnOf(attributes, "COLOR_0");
        primitive.indices = columnOf(item, "indices");
        check(item, primitive);
        return primitive;
    }

    static void check(const Item& item, const Primitive& primitive) {
        const auto isTriple = [](const Column& c) { return c.type == typeFloat && c.numParts == 3; };
        const auto& [mode, positions, normals, colors, indices] = primitive;
        if (positions.pFirst && !isTriple(positions))
            throw LoadError("the positions of mesh " + std::to_string(item.index) +
                            " are no floats, which is not read; export it without quantization");
        if (normals.pFirst && (!isTriple(normals) || normals.count != positions.count))
            item.fail("its normals are no floats, one for each position");
        if (colors.pFirst && (colors.numParts < 3 || colors.type == typeUint || colors.count != positions.count))
            item.fail("its colours are no three or four numbers for each position");
        if (indices.pFirst && (indices.numParts != 1 || indices.type == typeFloat))
            item.fail("its indices are no whole numbers");
    }

    void count(const Primitive& primitive) {
        bNormals = bNormals || primitive.normals.pFirst;
        bColors = bColors || primitive.colors.pFirst;
        const uint64 numNew = primitive.hasVerticesOf(last) ? 0 : primitive.numVertices();
        budget.take(numNew * (sizeof(Point3) + (primitive.normals.pFirst ? sizeof(Vector3) : 0)));
        budget.take(3 * primitive.numTriangles() * sizeof(std::uint32_t));
        numVertices += numNew;
        numTriangles += primitive.numTriangles();
        if (numVertices > std::numeric_limits<std::uint32_t>::max())
            throw LoadError("too many vertices; cut the mesh into parts");
    }

    void add(const Primitive& primitive, const Pose& pose, RowStage& rows) {
        const NormalTurn turn(pose);
        if (!primitive.hasVerticesOf(last)) {
            firstOfLast = out.points.size();
            for (uint64 i = 0; i < primitive.numVertices(); ++i, rows.step())
                addVertex(primitive, primitive.mode == modePoints ? vertexOf(primitive, i) : i, pose, turn);
        }
        for (uint64 i = 0; i < primitive.numTriangles(); ++i, rows.step()) addTriangle(primitive, i, turn.isMirror());
    }

    static uint64 vertexOf(const Primitive& primitive, uint64 corner) {
        if (!primitive.indices.pFirst) return corner;
        const std::uint32_t index = indexAt(primitive.indices, corner);
        if (index >= primitive.positions.count)
            failDamaged("index " + std::to_string(index) + " of a mesh with " +
                        std::to_string(primitive.positions.count) + " vertices");
        return index;
    }

    void addVertex(const Primitive& primitive, uint64 i, const Pose& pose, const NormalTurn& turn) {
        const Vector3 place = pose.placed(vectorAt(primitive.positions, i));
        Point3& point = out.points.emplace_back(place.vx, place.vy, place.vz);
        if (bNormals)
            addNormal(primitive.normals.pFirst ? turn(vectorAt(primitive.normals, i)) : Vector3(), out.normals);
        if (!primitive.colors.pFirst) return;
        const auto light = [&](std::size_t k) {
            const std::size_t size = sizeOfType(primitive.colors.type);
            return lightAt(primitive.colors.at(i) + k * size, primitive.colors.type);
        };
        const auto alpha = primitive.colors.numParts == 4 ? (light(3) + 128) / 257 : 255;
        point.setColor(vVisible[light(0)], vVisible[light(1)], vVisible[light(2)], static_cast<std::uint8_t>(alpha));
    }

    void addTriangle(const Primitive& primitive, uint64 i, bool bMirror) {
        std::array<uint64, 3> corners{3 * i, 3 * i + 1, 3 * i + 2};
        if (primitive.mode == modeStrip) corners = {i, i + 1 + i % 2, i + 2 - i % 2};
        if (primitive.mode == modeFan) corners = {i + 1, i + 2, 0};
        if (bMirror) std::swap(corners[1], corners[2]);
        for (const uint64 corner : corners)
            out.indices.push_back(static_cast<std::uint32_t>(firstOfLast + vertexOf(primitive, corner)));
    }
};

}  // namespace

void loadGltfCloud(std::string_view bytes, PointFile& out) {
    GltfLoader(bytes, out).load();
}

}  // namespace QUOR_ZEF
