#include "bytes/AtomicFile.h"
#include "flat/arrays.h"
#include "frame/Progress.h"
#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "io/STL.h"

namespace QUOR_ZEF {

namespace {

void writeLine(AtomicFile& file, const char* start, double x, double y, double z) {
    constexpr int digits = 10;
    file.write(start);
    file.writeNumber(x, digits);
    file.write(' ');
    file.writeNumber(y, digits);
    file.write(' ');
    file.writeNumber(z, digits);
    file.write('\n');
}

void writeFacet(AtomicFile& file, const Point3& a, const Point3& b, const Point3& c) {
    bool bIgnored = false;
    const Vector3 normal = triNormal(&a, &b, &c, bIgnored);
    writeLine(file, "facet normal ", normal.vx, normal.vy, normal.vz);
    file.write(" outer loop\n");
    for (const Point3* p : {&a, &b, &c}) writeLine(file, "  vertex ", p->px, p->py, p->pz);
    file.write(" endloop\nendfacet\n");
}

}  // namespace

void writeStlText(AtomicFile& file, const TriangleMesh& mesh) {
    file.write("solid - ZEF\n");
    const std::vector<std::uint32_t>& vTriples = mesh.indices;
    RowStage rows("IO_write", mesh.numTriangles());
    for (std::size_t i = 0; i < vTriples.size() && file.isGood(); i += 3, rows.step())
        writeFacet(file, mesh.vertices[vTriples[i]], mesh.vertices[vTriples[i + 1]], mesh.vertices[vTriples[i + 2]]);
    file.write("endsolid - ZEF\n");
    rows.finish();
}

bool writeSTL(const TriangleMesh& mesh, const std::string& name) {
    AtomicFile file(name);
    if (!file.isGood()) {
        showError(where(__PRETTY_FUNCTION__, __LINE__), "Failed to open " + name);
        return false;
    }
    writeStlText(file, mesh);
    if (file.commit()) return true;
    showError(where(__PRETTY_FUNCTION__, __LINE__), "Failed to write " + name + ", " + file.getError());
    return false;
}

}  // namespace QUOR_ZEF
