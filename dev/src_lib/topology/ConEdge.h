#pragma once

#include <array>
#include <cstddef>

namespace QUOR_ZEF {

class CEdge;
class CMesh;
class CPatch;
class CTriangle;

// An edge under consideration while a thin closed patch is separated into its
// two sheets, with a score that says how well a sheet continues across it; the
// lowest score is the safest decision. Needs a patch that is closed.
class ConEdge {
public:
    // The triangles of the edge that take part: their count, and the first two.
    class Members {
    public:
        void push_back(CTriangle* pT) {
            if (num < aFirst.size()) aFirst[num] = pT;
            ++num;
        }
        std::size_t size() const { return num; }
        CTriangle* operator[](std::size_t i) const { return aFirst[i]; }

    private:
        std::array<CTriangle*, 2> aFirst = {nullptr, nullptr};
        std::size_t num = 0;
    };

    CEdge* pCE;
    int degree;      // of the edge at construction
    double score;    // degrees; 0 is a smooth continuation or a sharp fold, 90 if a
                     // triangle has no normal, 181 if more than two take part
    bool bSameSide;  // the two triangles lie on one sheet; otherwise on opposite ones
    Members vMemT;

    // A border edge, or a seam with fewer than two members, fails an ASSEX.
    ConEdge(const CMesh* pMesh, CEdge* pEdge, const CPatch* pPatch);
};

}  // namespace QUOR_ZEF
