#include "io/meshFormats.h"
#include "bytes/textNumbers.h"

#include <array>

#include "bytes/AtomicFile.h"
#include "bytes/FileBytes.h"
#include "flat/arrays.h"
#include "frame/Progress.h"
#include "frame/Run.h"
#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "io/STL.h"
#include "io/loadCloud.h"
#include "io/plyMesh.h"
#include "io/precision.h"
#include "io/vertexNormals.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint8_t grey = 204;  // of a vertex without colour among coloured ones

void writeCoordinate(AtomicFile& file, double coord, bool bDouble) {
    if (bDouble) {
        file.writeShortest(coord);
    } else {
        file.writeShortest(narrow(coord));
    }
}

void writePosition(AtomicFile& file, const Point3& p, bool bDouble) {
    writeCoordinate(file, p.px, bDouble);
    file.write(' ');
    writeCoordinate(file, p.py, bDouble);
    file.write(' ');
    writeCoordinate(file, p.pz, bDouble);
}

// Red, green and blue, each after a blank. Six digits tell all bytes apart.
void writeColor(AtomicFile& file, const Point3& p) {
    constexpr int digits = 6;
    for (const std::uint8_t channel : {p.r, p.g, p.b}) {
        file.write(' ');
        file.writeNumber(channel / 255.0, digits);
    }
}

// firstIndex: the number of the first vertex in the format. bNormals: that of the corner's normal stands
// behind it, as OBJ has it.
void writeTriples(AtomicFile& file, const char* start, const TriangleMesh& mesh, int64 firstIndex, RowStage& rows,
                  bool bNormals = false) {
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3, rows.step()) {
        file.write(start);
        for (std::size_t k = i; k < i + 3; ++k) {
            file.write(' ');
            file.writeInteger(mesh.indices[k] + firstIndex);
            if (!bNormals) continue;
            file.write("//");
            file.writeInteger(mesh.indices[k] + firstIndex);
        }
        file.write('\n');
    }
}

RowStage rowsOf(const TriangleMesh& mesh) {
    return {"IO_write", mesh.vertices.size() + mesh.numTriangles()};
}

void writeComments(AtomicFile& file, const WriteOptions& options) {
    for (std::string comment : commentsOf(options)) {
        for (char& c : comment)
            if (c == '\n' || c == '\r') c = ' ';
        file.write("# " + comment + "\n");
    }
}

void finish(AtomicFile& file) {
    if (!file.commit()) throw SaveError(file.getError());
}

// All is told before the file appears: whoever ends the call then has none.
void finish(AtomicFile& file, RowStage& rows) {
    rows.finish();
    finish(file);
}

// With large pages, since it cannot be cancelled meanwhile.
TriangleMesh copyOf(const TriangleMesh& mesh) {
    TriangleMesh copy;
    reserveMore(copy.vertices, mesh.vertices.size());
    copy.vertices = mesh.vertices;
    copy.indices.reserve(mesh.indices.size());
    adviseHugePages(copy.indices.data(), mesh.indices.size() * sizeof(std::uint32_t));
    copy.indices = mesh.indices;
    return copy;
}

// The mesh as it stands in files.
void prepare(TriangleMesh& mesh, const Vector3& offset) {
    const bool bColor = mesh.hasColor();
    std::size_t num = 0;
    for (Point3& p : mesh.vertices) {
        pollRun(num++);
        p.set(p - offset);
        if (bColor && !p.hasColor()) p.setColor(grey, grey, grey, 255);
    }
}

bool isDouble(const WriteOptions& options) {
    return options.precision == Precision::DOUBLE;
}

void writePlyWithOptions(const TriangleMesh& mesh, const std::string& path, const WriteOptions& options) {
    PLY::MeshLayout layout;
    if (options.text) layout.format = PLY::Format::ASCII;
    layout.bDouble = isDouble(options);
    layout.digits = PLY::shortest;
    layout.bColor = mesh.hasColor();
    layout.bNormals = options.normals;
    layout.vComments = commentsOf(options);
    PLY::writePlyMesh(mesh, path, layout);
}

}  // namespace

std::vector<std::string> commentsOf(const WriteOptions& options) {
    std::vector<std::string> vComments;
    if (!options.offset.isDegenerate()) vComments.push_back("offset " + offsetText(options.offset));
    vComments.insert(vComments.end(), options.comments.begin(), options.comments.end());
    return vComments;
}

namespace {

void writeObjNormals(AtomicFile& file, const TriangleMesh& mesh) {
    for (const std::array<float, 3>& normal : vertexNormals(mesh)) {
        file.write("vn");
        for (const float coord : normal) {
            file.write(' ');
            file.writeShortest(coord);
        }
        file.write('\n');
    }
}

}  // namespace

void writeObj(const TriangleMesh& mesh, const std::string& path, const WriteOptions& options) {
    AtomicFile file(path);
    writeComments(file, options);
    const bool bColor = mesh.hasColor();
    RowStage rows = rowsOf(mesh);
    for (const Point3& p : mesh.vertices) {
        rows.step();
        file.write("v ");
        writePosition(file, p, isDouble(options));
        if (bColor) writeColor(file, p);
        file.write('\n');
    }
    if (options.normals) writeObjNormals(file, mesh);
    writeTriples(file, "f", mesh, 1, rows, options.normals);
    finish(file, rows);
}

void writeOff(const TriangleMesh& mesh, const std::string& path, const WriteOptions& options) {
    AtomicFile file(path);
    const bool bColor = mesh.hasColor();
    file.write(bColor ? "COFF\n" : "OFF\n");
    writeComments(file, options);
    file.write(std::to_string(mesh.vertices.size()) + " " + std::to_string(mesh.numTriangles()) + " 0\n");
    RowStage rows = rowsOf(mesh);
    for (const Point3& p : mesh.vertices) {
        rows.step();
        writePosition(file, p, isDouble(options));
        if (bColor) {
            writeColor(file, p);
            file.write(" 1");  // opaque
        }
        file.write('\n');
    }
    writeTriples(file, "3", mesh, 0, rows);
    finish(file, rows);
}

// 80 bytes of text, the count, then 50 bytes a triangle: normal, corners, no attributes.
void writeBinaryStl(const TriangleMesh& mesh, const std::string& path) {
    if (mesh.numTriangles() > 0xffffffffu) throw SaveError("binary STL holds at most 2^32 - 1 triangles");
    AtomicFile file(path);
    // Readers take a file that starts with "solid" for text.
    std::array<char, 80> title{"ZEF, binary STL"};
    file.writeRaw(title);
    file.writeRaw(static_cast<std::uint32_t>(mesh.numTriangles()));
    RowStage rows("IO_write", mesh.numTriangles());
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3, rows.step()) {
        const Point3& a = mesh.vertices[mesh.indices[i]];
        const Point3& b = mesh.vertices[mesh.indices[i + 1]];
        const Point3& c = mesh.vertices[mesh.indices[i + 2]];
        bool bIgnored = false;
        const Vector3 n = triNormal(&a, &b, &c, bIgnored);
        std::array<float, 12> record{narrow(n.vx), narrow(n.vy), narrow(n.vz)};
        std::size_t at = 3;
        for (const Point3* p : {&a, &b, &c})
            for (const double coord : {p->px, p->py, p->pz}) record[at++] = narrow(coord);
        file.writeRaw(record);
        file.writeRaw(std::uint16_t{0});
    }
    finish(file, rows);
}

namespace {

void writeFormat(const std::string& path, const std::string& ending, const TriangleMesh& mesh,
                 const WriteOptions& options) {
    if (ending == ".ply") return writePlyWithOptions(mesh, path, options);
    if (ending == ".obj") return writeObj(mesh, path, options);
    if (ending == ".off") return writeOff(mesh, path, options);
    if (ending == ".glb") return writeGlb(mesh, path, options);
    if (!options.text) return writeBinaryStl(mesh, path);
    AtomicFile file(path);
    writeStlText(file, mesh);
    finish(file);
}

}  // namespace

bool isMeshFormat(const std::string& ending) {
    return ending == ".ply" || ending == ".obj" || ending == ".off" || ending == ".stl" || ending == ".glb";
}

bool hasNormals(const std::string& ending) {
    return ending == ".ply" || ending == ".obj" || ending == ".glb";
}

bool hasDoubles(const std::string& ending) {
    return ending == ".ply" || ending == ".obj" || ending == ".off";
}

WriteResult writeMeshFile(const std::string& path, const TriangleMesh& mesh, const WriteOptions& options) {
    const std::string ending = endingOf(path);
    if (!isMeshFormat(ending))
        throw ArgumentError(path + ": unknown ending \"" + ending + "\"; known are .ply .obj .stl .off .glb");
    if (isDouble(options) && !hasDoubles(ending) && !(options.text && ending == ".stl"))
        throw ArgumentError(path + ": the format holds floats only; write .ply, .obj or .off, or subtract an offset");
    if (options.normals && !hasNormals(ending))
        throw ArgumentError(path + ": the format holds no normals; write .ply, .obj or .glb");
    TriangleMesh out = copyOf(mesh);
    renumberVertices(out, VertexOrder::FIRST_USE);
    const double spacing = options.spacing > 0.0 ? options.spacing : meanSideLength(out);
    CoordinatePlan plan = planCoordinates(out.vertices, spacing, hasDoubles(ending), options);
    if (ending == ".stl" && !plan.offset.isDegenerate() && options.offset.isDegenerate())
        plan.warning += "; STL has no place to tell it";
    prepare(out, plan.offset);
    try {
        writeFormat(path, ending, out, settled(options, plan));
    } catch (const SaveError& error) {
        throw FileError(path + ": " + error.what());
    } catch (const PLY::PlyError& error) {
        throw FileError(path + ": " + error.what());
    }
    if (!plan.warning.empty()) showWarning("write", path + ": " + plan.warning);
    return {plan.bDouble && hasDoubles(ending), plan.offset};
}

}  // namespace QUOR_ZEF
