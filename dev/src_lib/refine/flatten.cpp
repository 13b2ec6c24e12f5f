#include "refine/flatten.h"

#include "frame/Run.h"
#include "frame/tools.h"
#include "refine/RMesh.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t none = 0xffffffffu;

std::uint32_t append(std::vector<Point3>& vVertices, const Point3& p) {
    vVertices.push_back(p);
    return static_cast<std::uint32_t>(vVertices.size() - 1);
}

// The vertices of a mesh by cell.
class CellVertices {
public:
    // Appends the vertices of all cells with a Bundle, in order of code.
    CellVertices(const CellMap& cells_, std::vector<Point3>& vPointVertex) : cells(cells_) {
        vPointVertex.reserve(cells.size());
        vVertex.resize(cells.getNumNumbers(), none);
        cells.forEachNumber([&](std::uint32_t number) {
            const Bundle* pBundle = cells.getBundle(number);
            pollRun(number);
            if (!pBundle) return;
            const Point3* pVtx = pBundle->pPoint;
            vVertex[number] = append(vPointVertex, *pVtx);
            const Point3* pOwnVtx = &vPointVertex.back();
            ASSEX(*pVtx==*pOwnVtx);
            ++numVertices;
        });
    }
    std::size_t size() const { return numVertices; }
    // end() for a cell without a vertex.
    std::uint32_t find(uint64 ccd) const {
        const std::uint32_t number = cells.getNumber(ccd);
        return number < vVertex.size() ? vVertex[number] : none;
    }
    std::uint32_t end() const { return none; }

private:
    const CellMap& cells;
    std::vector<std::uint32_t> vVertex;  // by number of the cell
    std::size_t numVertices = 0;
};

}  // namespace

TriangleMesh flatten(CMesh& mesh) {
    const CellMap& cells = *mesh.getCCDBundleMap();
    std::vector<CTriangle*> vCT;
    mesh.getAllTriangles(vCT);
    checkMeshSize(cells.size(), vCT.size());
    TriangleMesh flat;
    std::vector<Point3>& vPointVertex = flat.vertices;
    const CellVertices vCCDVertex(cells, vPointVertex);
    ASSEX(vCCDVertex.size()==vPointVertex.size());
    flat.indices.reserve(3 * vCT.size());
    for (const CTriangle* pCT : vCT) {
        pollRun(flat.indices.size() / 3);
        const std::uint32_t it0 = vCCDVertex.find(pCT->getCorner(0));
        const std::uint32_t it1 = vCCDVertex.find(pCT->getCorner(1));
        const std::uint32_t it2 = vCCDVertex.find(pCT->getCorner(2));
        ASSEX(it0!=vCCDVertex.end() && it1!=vCCDVertex.end() && it2!=vCCDVertex.end());
        flat.indices.insert(flat.indices.end(), {it0, it1, it2});
    }
    return flat;
}

TriangleMesh flatten(const RMesh& mesh, VertexOrder order) {
    TriangleMesh flat;
    std::vector<std::uint32_t> vIndex(mesh.getNumVertices(), none);
    if (order == VertexOrder::MESH)
        for (std::uint32_t i = 0; i < mesh.getNumVertices(); ++i)
            if (!mesh.getFan(mesh.getVertex(i)).empty()) vIndex[i] = append(flat.vertices, *mesh.getVertex(i));
    flat.indices.reserve(3 * mesh.getNumLiveTriangles());
    std::vector<RTriangle*> vT;
    mesh.getLiveTriangles(vT);
    for (const RTriangle* pRT : vT) {
        ASSEX(pRT->isAlive());
        for (int ici = 0; ici < 3; ++ici) {
            const Point3* p = pRT->getCorner(ici);
            std::uint32_t& index = vIndex[mesh.getVertexNumber(p)];
            if (index == none) index = append(flat.vertices, *p);
            flat.indices.push_back(index);
        }
    }
    return flat;
}

}  // namespace QUOR_ZEF
