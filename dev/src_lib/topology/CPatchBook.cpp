#include "topology/CPatchBook.h"

#include <algorithm>
#include <utility>

#include "frame/Run.h"
#include "frame/tools.h"
#include "store/DisjointSets.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

namespace {

// The finaliser of splitmix64: sums of such values tell sets of numbers apart.
uint64 hashOf(std::uint32_t number) {
    uint64 x = (number + uint64{1}) * 0x9e3779b97f4a7c15u;
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9u;
    x = (x ^ (x >> 27)) * 0x94d049bb133111ebu;
    return x ^ (x >> 31);
}

}  // namespace

// Patches are found edge by edge, since the records of neighbours lie near each
// other and a flood would jump between them.
CPatchBook::CPatchBook(const CMesh* pMesh_)
    : pMesh(pMesh_), vPatchOf(pMesh->getNumTriangles(), none), vNext(pMesh->getNumTriangles(), none) {
    DisjointSets sets(pMesh->getNumTriangles());
    for (std::uint32_t number = 0; number < pMesh->getNumEdges(); ++number) {
        pollRun(number + 1);
        const auto view = pMesh->getEdge(number)->triangles();
        if (view.size() == 2)
            sets.join(view[0]->getNumber(), view[1]->getNumber());
        else if (!view.empty())
            vSeams.push_back(pMesh->getEdge(number));
    }
    pMesh->forEachTriangle([&](const CTriangle* pT) {
        pollRun(pT->getNumber());
        Patch& patch = vPatchOf[sets.find(pT->getNumber())];
        if (patch == none) {
            patch = static_cast<Patch>(vRecords.size());
            vRecords.emplace_back(pT->getNumber());
        }
        vPatchOf[pT->getNumber()] = patch;
        append(vRecords[patch], pT->getNumber());
    });
    for (const CEdge* pCE : vSeams)
        for (const CTriangle* pT : pCE->triangles())
            if (const Patch patch = vPatchOf[pT->getNumber()]; countMembers(patch, pCE) == 1)
                addToBoundary(vRecords[patch], pCE);
}

// To the ring.
void CPatchBook::append(Record& record, std::uint32_t number) {
    vNext[number] = record.size == 0 ? number : std::exchange(vNext[record.last], number);
    record.last = number;
    ++record.size;
}

std::vector<CPatchBook::Patch> CPatchBook::getPatches() const {
    std::vector<Patch> vPatches;
    for (Patch patch = 0; patch < vRecords.size(); ++patch)
        if (vRecords[patch].size != 0) vPatches.push_back(patch);
    return vPatches;
}

// In the order of CMesh::createPatches().
template <class OnTriangle, class OnSeam>
void CPatchBook::flood(CTriangle* pSeed, Patch from, Patch to, OnTriangle&& onTriangle, OnSeam&& onSeam) {
    vPatchOf[pSeed->getNumber()] = to;
    vStack.assign(1, pSeed);
    std::size_t num = 0;
    while (!vStack.empty()) {
        pollRun(++num);
        CTriangle* pT = vStack.back();
        vStack.pop_back();
        onTriangle(pT);
        for (int i = 0; i < 3; ++i) {
            const CEdge* pCE = pT->getCEdge(i);
            if (pCE->getDegree() != 2) {
                onSeam(pCE);
                continue;
            }
            CTriangle* pNeigT = pCE->triangles()[pCE->triangles()[0] == pT];
            Patch& neig = vPatchOf[pNeigT->getNumber()];
            if (neig == from) {
                neig = to;
                vStack.push_back(pNeigT);
            } else if (neig != to) {
                onSeam(pCE);
            }
        }
    }
}

void CPatchBook::makePatch(CTriangle* pFirst) {
    const auto patch = static_cast<Patch>(vRecords.size());
    Record& record = vRecords.emplace_back(pFirst->getNumber());
    vSeams.clear();
    flood(
        pFirst, none, patch, [&](const CTriangle* pT) { append(record, pT->getNumber()); },
        [&](const CEdge* pCE) { vSeams.push_back(pCE); });
    for (const CEdge* pCE : vSeams)
        if (countMembers(patch, pCE) == 1) addToBoundary(record, pCE);
}

int CPatchBook::countMembers(Patch patch, const CEdge* pCE) const {
    const auto view = pCE->triangles();
    return static_cast<int>(std::count_if(view.begin(), view.end(),
                                          [&](const CTriangle* pT) { return vPatchOf[pT->getNumber()] == patch; }));
}

void CPatchBook::addToBoundary(Record& record, const CEdge* pCE) {
    ++record.numBoundary;
    record.boundaryHash += hashOf(pCE->getNumber());
    ASSEX(vCandidates.size()<none);
    const auto place = static_cast<std::uint32_t>(vCandidates.size());
    vCandidates.push_back({pCE->getNumber(), std::exchange(record.candidates, place)});
}

// It stays among the candidates.
void CPatchBook::removeFromBoundary(Record& record, const CEdge* pCE) {
    --record.numBoundary;
    record.boundaryHash -= hashOf(pCE->getNumber());
}

template <class F>
void CPatchBook::forEachMember(Patch patch, F&& f) const {
    const Record& record = vRecords[patch];
    std::uint32_t number = record.last;
    for (std::uint32_t i = 0; i < record.size; ++i) {
        number = vNext[number];
        f(pMesh->getTriangle(number));
    }
}

void CPatchBook::renew(const std::vector<CTriangle*>& vDead, std::vector<Patch>& vTouched) {
    if (totalArea)
        for (const CTriangle* pT : vDead) *totalArea -= vAreas[pT->getNumber()];
    std::vector<CTriangle*> vOpen;
    for (const CTriangle* pT : vDead) dissolve(vPatchOf[pT->getNumber()], vOpen);
    std::sort(vOpen.begin(), vOpen.end(),
              [&](const CTriangle* a, const CTriangle* b) { return pMesh->isBefore(a, b); });
    for (CTriangle* pT : vOpen)
        if (vPatchOf[pT->getNumber()] == none) makePatch(pT);

    const auto forEachEdgeOfTheDead = [&](auto&& f) {
        for (const CTriangle* pT : vDead)
            for (int i = 0; i < 3; ++i) f(pT->getCEdge(i)->triangles());
    };
    forEachEdgeOfTheDead([&](auto view) {
        if (view.size() == 2) merge(vPatchOf[view[0]->getNumber()], vPatchOf[view[1]->getNumber()]);
    });
    vTouched.clear();
    forEachEdgeOfTheDead([&](auto view) {
        for (const CTriangle* pT : view) vTouched.push_back(vPatchOf[pT->getNumber()]);
    });
    std::sort(vTouched.begin(), vTouched.end());
    vTouched.erase(std::unique(vTouched.begin(), vTouched.end()), vTouched.end());
}

// Ends the patch; appends what is alive of it, which then is in no patch.
void CPatchBook::dissolve(Patch patch, std::vector<CTriangle*>& vOpen) {
    if (patch == none) return;
    forEachMember(patch, [&](CTriangle* pT) {
        vPatchOf[pT->getNumber()] = none;
        if (pT->isAlive()) vOpen.push_back(pT);
    });
    vRecords[patch].size = 0;
}

// What a triangle is in doubles each time that it changes hands.
void CPatchBook::merge(Patch a, Patch b) {
    if (a == b) return;
    if (vRecords[a].size < vRecords[b].size) std::swap(a, b);
    Record &large = vRecords[a], &small = vRecords[b];
    if (large.area) *large.area += getArea(b);
    forEachMember(b, [&](const CTriangle* pT) {
        for (int i = 0; i < 3; ++i) {
            const CEdge* pCE = pT->getCEdge(i);
            const int num = countMembers(a, pCE);
            if (num == 0) addToBoundary(large, pCE);
            if (num == 1) removeFromBoundary(large, pCE);
        }
        vPatchOf[pT->getNumber()] = a;
    });
    std::swap(vNext[large.last], vNext[small.last]);
    if (isBefore(b, a)) large.first = small.first;
    large.size += small.size;
    small.size = 0;
}

bool CPatchBook::isBefore(Patch a, Patch b) const {
    return pMesh->isBefore(pMesh->getTriangle(vRecords[a].first), pMesh->getTriangle(vRecords[b].first));
}

void CPatchBook::computeAreas() {
    if (vAreas.empty()) vAreas = pMesh->getAreas();
}

double CPatchBook::getTotalArea() {
    computeAreas();
    if (!totalArea) {
        totalArea = 0.0;
        pMesh->forEachTriangle([&](const CTriangle* pT) { *totalArea += vAreas[pT->getNumber()]; });
    }
    return *totalArea;
}

double CPatchBook::getArea(Patch patch) {
    computeAreas();
    std::optional<double>& area = vRecords[patch].area;
    if (!area) {
        double sum = 0.0;
        forEachMember(patch, [&](const CTriangle* pT) { sum += vAreas[pT->getNumber()]; });
        area = sum;
    }
    return *area;
}

void CPatchBook::getTriangles(Patch patch, std::vector<CTriangle*>& vT) {
    flood(
        pMesh->getTriangle(vRecords[patch].first), patch, none, [&](CTriangle* pT) { vT.push_back(pT); },
        [](const CEdge*) {});
    forEachMember(patch, [&](const CTriangle* pT) { vPatchOf[pT->getNumber()] = patch; });
}

void CPatchBook::getBoundary(Patch patch, std::vector<CEdge*>& vEdges) const {
    const auto numBefore = static_cast<std::ptrdiff_t>(vEdges.size());
    forEachMember(patch, [&](const CTriangle* pT) {
        for (int i = 0; i < 3; ++i)
            if (countMembers(patch, pT->getCEdge(i)) == 1) vEdges.push_back(pT->getCEdge(i));
    });
    std::sort(vEdges.begin() + numBefore, vEdges.end(), edgeLess);
}

bool CPatchBook::isBoundary(Patch patch, const std::vector<CEdge*>& vEdges) const {
    return vEdges.size() == vRecords[patch].numBoundary &&
           std::all_of(vEdges.begin(), vEdges.end(), [&](const CEdge* pCE) { return countMembers(patch, pCE) == 1; });
}

// Candidates that are out of date go.
const CEdge* CPatchBook::findBoundaryEdge(Patch patch) {
    for (std::uint32_t& place = vRecords[patch].candidates; place != none; place = vCandidates[place].next) {
        const CEdge* pCE = pMesh->getEdge(vCandidates[place].edge);
        if (countMembers(patch, pCE) == 1) return pCE;
    }
    return nullptr;
}

void CPatchBook::getSameBoundary(Patch patch, std::vector<Patch>& vSame) {
    vSame.clear();
    const Record& record = vRecords[patch];
    if (record.numBoundary == 0) return;
    const CEdge* pCE = findBoundaryEdge(patch);
    ASSEX(pCE!=0);
    for (const CTriangle* pT : pCE->triangles()) {
        const Patch other = vPatchOf[pT->getNumber()];
        const Record& otherRecord = vRecords[other];
        if (otherRecord.boundaryHash == record.boundaryHash && otherRecord.numBoundary == record.numBoundary &&
            countMembers(other, pCE) == 1)
            vSame.push_back(other);
    }
    std::sort(vSame.begin(), vSame.end(), [&](Patch a, Patch b) { return isBefore(a, b); });
}

}  // namespace QUOR_ZEF
