// Draws the figures of docs/pipeline.md, each from the stage that it is about:
//
//   cmake --build --preset release --target figures
//   build/release/docs/figures/figures docs/figures

#include <algorithm>
#include <cmath>
#include <exception>
#include <iostream>
#include <set>
#include <string>

#include "Drawing.h"
#include "cloud/Cloud.h"
#include "field/Component.h"
#include "flat/EdgeTable.h"
#include "gaps/Filler.h"
#include "geometry/Plane.h"
#include "geometry/freeFunctions.h"
#include "grid/CellBlocks.h"
#include "grid/RemoveDecider_RCD.h"
#include "grid/codeSets.h"
#include "mend/Manifold.h"
#include "polygon/Casx.h"
#include "refine/RMesh.h"
#include "refine/flatten.h"
#include "sampling/Smooth.h"
#include "scene.h"
#include "simplify/reduceTo.h"
#include "topology/CPatch.h"
#include "zef/TriangleMesh.h"
#include "zef/meshOperations.h"

using namespace QUOR_ZEF;

namespace figures {

namespace {

const View sideView(-28.0, 34.0);
const View section(0.0, 0.0);
const View patchView(-24.0, 48.0);

// ---- cells

Point3 cornerAt(uint64 rcc, const Calc& calc) {
    const GridCoords c = unpackRCD(rcc);
    return {calc.x0 + static_cast<double>(c.x) * calc.cellX, calc.y0 + static_cast<double>(c.y) * calc.cellY,
            calc.z0 + static_cast<double>(c.z) * calc.cellZ};
}

Point3 upperCornerAt(uint64 rcd, const Calc& calc) {
    return cornerAt(rcd + stepX_RCD + stepY_RCD + stepZ_RCD, calc);
}

uint64 neighbourOf(uint64 rcd, int dir) {
    constexpr uint64 steps[] = {stepX_RCD, stepY_RCD, stepZ_RCD};
    return dir % 2 ? rcd + steps[dir / 2] : rcd - steps[dir / 2];
}

// Cubes for some of the cells; faces between any two of all cells are left out.
void drawCells(Panel& panel, const std::vector<uint64>& vSome, const CellBlocks_RCD& all, const Calc& calc,
               const std::string& style) {
    for (const uint64 rcd : vSome)
        panel.box(cornerAt(rcd, calc), upperCornerAt(rcd, calc), style,
                  [&](int dir) { return !all.contains(neighbourOf(rcd, dir)); });
}

// Squares for the cells of one row in y.
void drawRow(Panel& panel, const std::vector<uint64>& vCells, uint64 y, const Calc& calc, const std::string& style) {
    for (const uint64 rcd : vCells)
        if (unpackRCD(rcd).y == y) panel.face(cornerAt(rcd, calc), upperCornerAt(rcd, calc), 2, style + "z");
}

void drawCloud(Panel& panel, const std::vector<Point3>& vPoints) {
    for (const Point3& p : vPoints) panel.dot(p, "dPoint");
}

// The row of cells at this y.
uint64 rowAt(double y, const Calc& calc) {
    return unpackRCD(calc.getRCD(Point3(calc.x0 + 1.0, y, calc.z0 + 1.0))).y;
}

// ---- triangles

// Whether a triangle lies on the far side of the box.
bool isHidden(const Point3& a, const Point3& b, const Point3& c, const View& view) {
    if (isInSheet(a)) return false;
    Vector3 n = cross(b - a, c - a);
    if (n * (a - middleOfBox) < 0.0) n *= -1.0;
    return !view.faces(n);
}

// Oriented; without the backs of the box.
void drawMesh(Panel& panel, const TriangleMesh& mesh) {
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        const Point3& a = mesh.vertices[mesh.indices[i]];
        const Point3& b = mesh.vertices[mesh.indices[i + 1]];
        const Point3& c = mesh.vertices[mesh.indices[i + 2]];
        const Vector3 normal = cross(b - a, c - a);
        if (isInSheet(a) || panel.getView().faces(normal)) panel.polygon({a, b, c}, shadeOf(normal, panel.getView()));
    }
}

// The sheet, or the box.
TriangleMesh takePart(const TriangleMesh& mesh, bool bSheet) {
    TriangleMesh part{mesh.vertices, {}};
    for (auto it = mesh.indices.begin(); it != mesh.indices.end(); it += 3)
        if (isInSheet(mesh.vertices[*it]) == bSheet) part.indices.insert(part.indices.end(), it, it + 3);
    renumberVertices(part, VertexOrder::MESH);
    return part;
}

// Edges of one triangle, and of more than two, a little nearer to the viewer than the triangles.
void drawOddEdges(Panel& panel, const TriangleMesh& mesh) {
    const EdgeTable edges(mesh.indices, mesh.vertices.size());
    edges.forEachEdge([&](const Edge& edge) {
        if (edge.size() == 2) return;
        panel.line(mesh.vertices[edge.low], mesh.vertices[edge.high()], edge.size() == 1 ? "lBorder" : "lMany", 0.8);
    });
}

// ---- one function a figure

void drawGrid(const std::string& folder, const std::vector<Point3>& vPoints, const Cells& cells) {
    Panel points("Points", sideView), grid("Cells that hold points", sideView);
    drawCloud(points, vPoints);
    std::vector<uint64> vOccupied;
    for (const Point3& p : vPoints) vOccupied.push_back(cells.pCalc->getRCD(p));
    std::sort(vOccupied.begin(), vOccupied.end());
    vOccupied.erase(std::unique(vOccupied.begin(), vOccupied.end()), vOccupied.end());
    drawCells(grid, vOccupied, CellBlocks_RCD(vOccupied), *cells.pCalc, "fCell");
    Figure figure(185.0);
    figure.add(points, 0.5);
    figure.add(grid, 0.5);
    figure.legend("dPoint", "input point");
    figure.legend("fCellz", "occupied cell, 1.45 times the measured spacing wide");
    figure.write(folder + "/grid.svg");
}

void drawSamples(const std::string& folder, const std::vector<Point3>& vInput, const Cells& cells) {
    Calc calc = *cells.pCalc;
    std::vector<Point3> vPoints = vInput;
    Smooth smooth(&vPoints, &calc);
    smooth.run(false);
    const auto inWindow = [](const Point3& p) { return p.px < 11.8; };
    Panel links("Nodes and links around the hole", patchView), planes("Planes and samples in a cut", section);
    for (const Point3& p : vInput)
        if (inWindow(p)) links.dot(p, "dPale");
    for (const SNode& node : smooth.getNodes()) {
        if (!inWindow(node.smoothedPoint)) continue;
        const LinkedNodes vLinked = smooth.getLinkedNodes(node);
        for (std::size_t i = 0; i < vLinked.size(); ++i)
            if (vLinked[i]->id < node.id && inWindow(vLinked[i]->smoothedPoint))
                links.line(node.smoothedPoint, vLinked[i]->smoothedPoint, "lLink");
        links.setLayer(1);
        links.dot(node.smoothedPoint, node.numInputPoints == 0 ? "dAdded" : "dNode");
        links.setLayer(0);
    }

    const uint64 row = rowAt(5.1, calc);
    std::vector<uint64> vBand;
    for (const RCDPoint& cell : cells.vBand)
        if (!isInSheet(cell.second)) vBand.push_back(cell.first);
    drawRow(planes, vBand, row, calc, "fCell");
    for (const Point3& p : vInput)
        if (!isInSheet(p) && unpackRCD(calc.getRCD(p)).y == row) planes.dot(Point3(p.px, 0.0, p.pz), "dPoint");
    planes.setLayer(1);
    for (const SNode& node : smooth.getNodes()) {
        const Point3& p = node.smoothedPoint;
        if (isInSheet(p) || unpackRCD(node.rcd).y != row || !node.bHasPlane) continue;
        const Vector3& n = node.getNNV();
        const Vector3 along = Vector3(n.vz, 0.0, -n.vx) * (0.42 * calc.cellX / std::max(std::hypot(n.vx, n.vz), 0.1));
        planes.line(Point3(p.px, 0.0, p.pz) - along, Point3(p.px, 0.0, p.pz) + along, "lPlane");
    }
    planes.setLayer(2);
    std::set<uint64> sKept;
    for (const SNode& node : smooth.getNodes())
        if (node.bKeepPosition) sKept.insert(calc.getRCD(node.smoothedPoint));
    for (const auto& [rcd, sample] : cells.vBand)
        if (!isInSheet(sample) && unpackRCD(rcd).y == row)
            planes.dot(Point3(sample.px, 0.0, sample.pz), sKept.count(rcd) ? "dKept" : "dSample");
    Figure figure(230.0);
    figure.add(links, 0.5);
    figure.add(planes, 0.5);
    figure.legend("dPoint", "input point");
    figure.legend("dNode", "node");
    figure.legend("dAdded", "node made between others");
    figure.legend("lLink", "link");
    figure.legend("lPlane", "plane");
    figure.legend("dSample", "sample");
    figure.legend("dKept", "sample at a crease, kept where the node is");
    figure.write(folder + "/samples.svg");
}

void drawThinning(const std::string& folder, const Cells& cells) {
    const Calc& calc = *cells.pCalc;
    const std::vector<uint64> vBand = codesOf(cells.vBand), vThin = codesOf(cells.vThin);
    const std::vector<uint64> vDoomed = difference(vBand, vThin);
    Panel whole("The band of cells", sideView), cut("A cut through the box", section);
    const CellBlocks_RCD all(vBand);
    drawCells(whole, vThin, all, calc, "fCell");
    drawCells(whole, vDoomed, all, calc, "fGone");
    const uint64 row = rowAt(5.1, calc);
    for (const auto& [rcd, sample] : cells.vBand) {
        if (isInSheet(sample) || unpackRCD(rcd).y != row) continue;
        cut.face(cornerAt(rcd, calc), upperCornerAt(rcd, calc), 2, containsCode(vThin, rcd) ? "fCellz" : "fGonez");
        cut.setLayer(1);
        cut.dot(sample, "dNode");
        cut.setLayer(0);
    }
    Figure figure(190.0);
    figure.add(whole, 0.5);
    figure.add(cut, 0.5);
    figure.legend("fCellz", "cell that stays");
    figure.legend("fGonez", "doomed cell");
    figure.legend("dNode", "sample");
    figure.write(folder + "/thinning.svg");
}

void drawSides(const std::string& folder, const Cells& cells) {
    const Calc& calc = *cells.pCalc;
    const std::vector<RCDPoint> vSheet = takeSheet(cells.vThin);
    const std::vector<uint64> vThin = codesOf(vSheet);
    std::vector<uint64> vArea, vBorder;
    RemoveDecider_RCD(&vThin, &calc).classify(vArea, vBorder);
    Filler filler(20, vBorder, vArea, vSheet, &calc);
    filler.createComponents();
    Filler::AffiPairs vPairs;
    filler.determineAffiliation(150, vPairs);
    filler.dropStacked(vPairs);
    filler.orient(vPairs);
    Panel pieces("Pieces, their borders and partners", patchView), sides("Sides, and the seam between them", patchView);
    const CellBlocks_RCD all(vThin);
    constexpr const char* styles[] = {"fCell", "fFill", "fLow", "fUp"};
    for (const auto& pComponent : filler.vRawComponents) {
        for (const Facet& facet : pComponent->vVisibleFacets) {
            const Point3 low = cornerAt(facet.rcd, calc), high = upperCornerAt(facet.rcd, calc);
            const char* piece = styles[static_cast<std::size_t>(pComponent->id) % 4];
            const bool bBorder = facet.state == FACET_STATE_BORDER;
            pieces.face(low, high, facet.dir, (bBorder ? "fGone" : std::string(piece)) + "xyz"[facet.dir / 2]);
            const char* side = facet.component == 0 ? "fLow" : facet.component == 1 ? "fUp" : "fSeam";
            sides.face(low, high, facet.dir, side + std::string(1, "xyz"[facet.dir / 2]));
        }
    }
    pieces.setLayer(1);
    for (const auto& [pA, pB] : vPairs)
        pieces.line(findCode(vSheet, pA->rcd)->second, findCode(vSheet, pB->rcd)->second, "lPair");
    Figure figure(215.0);
    figure.add(pieces, 0.5);
    figure.add(sides, 0.5);
    for (std::size_t i = 0; i < std::min<std::size_t>(filler.vRawComponents.size(), 4); ++i)
        figure.legend(styles[i] + std::string("z"), "piece " + std::to_string(i));
    figure.legend("fGonez", "border cell");
    figure.legend("lPair", "partners");
    figure.legend("fLowz", "side 0");
    figure.legend("fUpz", "side 1");
    figure.legend("fSeamz", "seam");
    figure.write(folder + "/sides.svg");
}

// The corners of a row of cells after some steps of growth, and what the field closes there.
Panel drawField(const Cells& cells, int numSteps) {
    const Calc& calc = *cells.pCalc;
    const std::vector<RCDPoint> vSheet = takeSheet(cells.vThin);
    const std::vector<uint64> vThin = codesOf(vSheet);
    std::vector<uint64> vArea, vBorder;
    RemoveDecider_RCD(&vThin, &calc).classify(vArea, vBorder);
    Filler filler(numSteps, vBorder, vArea, vSheet, &calc);
    filler.maxSourceSteps = 4;
    filler.createComponents();
    Filler::AffiPairs vPairs;
    filler.determineAffiliation(150, vPairs);
    filler.orient(vPairs);
    filler.mergeComponents();
    Panel panel("After " + std::to_string(numSteps) + (numSteps == 1 ? " step" : " steps"), section);
    const uint64 row = rowAt(7.0, calc);
    const Point3 low(-0.5, 0.0, -2.5), high(12.0, 0.0, 6.0);
    const auto inWindow = [&](const Point3& p) {
        return low.px < p.px && p.px < high.px && low.pz < p.pz && p.pz < high.pz;
    };
    panel.extend(low);
    panel.extend(high);
    for (const auto& pComponent : filler.vComponents) {
        std::vector<RCDPoint> vZero;
        pComponent->run(vZero);
        for (const bool bOld : {true, false})
            for (const auto& [rcd, sample] : bOld ? vSheet : vZero)
                if (unpackRCD(rcd).y == row && inWindow(sample))
                    panel.face(cornerAt(rcd, calc), upperCornerAt(rcd, calc), 2, bOld ? "fCellz" : "fFillz");
        panel.setLayer(1);
        for (const Corner* pCorner : pComponent->cornerStore.vCorners) {
            const uint64 rcc = pComponent->cornerStore.rccOf(*pCorner);
            const Point3 p = cornerAt(rcc, calc);
            if (unpackRCD(rcc).y != row || !inWindow(p)) continue;
            const double cellsOff = std::abs(static_cast<double>(pCorner->val)) / calc.cellX;
            const std::string far = cellsOff < 0.5 ? "0" : cellsOff < 1.5 ? "1" : "2";
            panel.dot(p, (pCorner->val < 0.0F ? "dLow" : "dUp") + far);
        }
    }
    return panel;
}

void drawFields(const std::string& folder, const Cells& cells) {
    Figure figure(150.0);
    figure.add(drawField(cells, 1), 1.0 / 3.0);
    figure.add(drawField(cells, 3), 1.0 / 3.0);
    figure.add(drawField(cells, 8), 1.0 / 3.0);
    figure.legend("fCellz", "cell of the cloud");
    figure.legend("fFillz", "cell that the zero level crosses");
    figure.legend("dLow0", "corner, distance below 0");
    figure.legend("dUp0", "corner, distance above 0; paler: farther");
    figure.write(folder + "/field.svg");
}

void drawFilling(const std::string& folder, const Cells& cells) {
    constexpr int numSteps = 3;  // enough for the hole and the crack
    const Calc& calc = *cells.pCalc;
    const std::vector<RCDPoint> vSheet = takeSheet(cells.vThin);
    const std::vector<uint64> vThin = codesOf(vSheet), vRaw = codesOf(fillAll(vSheet, calc, numSteps));
    const std::vector<uint64> vNow = codesOf(fillGaps(vSheet, calc, numSteps));
    Panel raw("All that the field closes", patchView), kept("What stays where borders are kept", patchView);
    const CellBlocks_RCD allRaw(unionOf(vThin, vRaw)), allNow(vNow);
    drawCells(raw, vThin, allRaw, calc, "fCell");
    drawCells(raw, vRaw, allRaw, calc, "fGone");
    drawCells(kept, intersection(vNow, vThin), allNow, calc, "fCell");
    drawCells(kept, difference(vNow, vThin), allNow, calc, "fFill");
    Figure figure(220.0);
    figure.add(raw, 0.5);
    figure.add(kept, 0.5);
    figure.legend("fCellz", "cell of the cloud");
    figure.legend("fGonez", "filling, after 3 steps");
    figure.legend("fFillz", "filling that stays");
    figure.write(folder + "/filling.svg");
}

// The eight cells around a corner, and the triangles of the table.
void drawCase(Panel& panel, const Casx& casx, int config, double x, double z) {
    const auto at = [&](std::size_t cell) {
        const casx::StepDown& s = casx::stepDown[cell];
        return Point3(x + 1.0 - s.x, 1.0 - s.y, z + 1.0 - s.z);
    };
    for (std::size_t a = 0; a < 8; ++a) {
        panel.setLayer(2);
        panel.dot(at(a), config >> a & 1 ? "dCell" : "dNoCell");
        panel.setLayer(0);
        for (std::size_t b = 0; b < a; ++b)
            if ((at(b) - at(a)).length() < 1.1) panel.line(at(a), at(b), "lBlock");
    }
    panel.setLayer(1);
    for (int slot = 0; slot < casx::slotsPerRow && casx.getMask(config, slot) < 256; ++slot) {
        if (casx.getUse(config, slot) != TUT) continue;
        std::vector<Point3> vCorners;
        for (std::size_t cell = 0; cell < 8; ++cell)
            if (casx.getMask(config, slot) >> cell & 1) vCorners.push_back(at(cell));
        panel.polygon(vCorners, "fTri");
    }
    panel.label(Point3(x + 0.5, 0.5, z - 0.62), std::to_string(config));
}

void drawPolygons(const std::string& folder, const Cells& cells) {
    const Calc& calc = *cells.pCalc;
    Panel cases("Rows of the case table", View(-22.0, 20.0)), patch("Triangles between cells", patchView);
    const Casx casx(TM_FAT, false);
    constexpr int configs[] = {7, 15, 23, 29, 31, 60, 63, 127};
    for (int i = 0; i < 8; ++i) drawCase(cases, casx, configs[i], i % 4 * 2.1, -i / 4 * 2.3);
    const auto inWindow = [](const Point3& p) { return p.px > 3.0 && p.px < 11.0 && p.py > 4.0 && p.py < 10.5; };
    std::vector<RCDPoint> vHere;
    for (const RCDPoint& cell : cells.vFilled)
        if (inWindow(cell.second)) vHere.push_back(cell);
    const std::vector<uint64> vCells = codesOf(vHere);
    drawCells(patch, vCells, CellBlocks_RCD(vCells), calc, "fCell");
    CellMesh mesh(vHere, calc);
    const TriangleMesh flat = flatten(mesh.get());
    patch.setLayer(1);
    for (std::size_t i = 0; i < flat.indices.size(); i += 3)
        patch.polygon(
            {flat.vertices[flat.indices[i]], flat.vertices[flat.indices[i + 1]], flat.vertices[flat.indices[i + 2]]},
            "fMesh");
    patch.setLayer(2);
    for (const Point3& p : flat.vertices) patch.dot(p, "dNode");
    Figure figure(225.0);
    figure.add(cases, 0.52);
    figure.add(patch, 0.48);
    figure.legend("dCell", "cell of the surface");
    figure.legend("dNoCell", "empty cell");
    figure.legend("fTri", "triangle");
    figure.legend("dNode", "sample");
    figure.write(folder + "/triangles.svg");
}

// Each patch with a colour, and the edges of degree other than 2.
void drawPatches(Panel& panel, CMesh& mesh) {
    std::vector<CPatch*> vPatches;
    mesh.createPatches(vPatches);
    std::stable_sort(vPatches.begin(), vPatches.end(),
                     [](const CPatch* a, const CPatch* b) { return a->getSize() > b->getSize(); });
    for (std::size_t i = 0; i < vPatches.size(); ++i)
        for (const CTriangle* pT : vPatches[i]->vT) {
            const Point3 a = *mesh.getVtx(pT->getCorner(0)), b = *mesh.getVtx(pT->getCorner(1)),
                         c = *mesh.getVtx(pT->getCorner(2));
            if (!isHidden(a, b, c, panel.getView()))
                panel.polygon({a, b, c}, "fP" + std::to_string(i < 2 ? i : 2 + i % 6));
        }
    drawOddEdges(panel, flatten(mesh));
}

void drawRepair(const std::string& folder, const Cells& cells) {
    CellMesh mesh(cells.vFilled, *cells.pCalc);
    Panel before("Before", sideView), after("After", sideView);
    drawPatches(before, mesh.get());
    mesh.repair();
    drawPatches(after, mesh.get());
    Figure figure(190.0);
    figure.add(before, 0.5);
    figure.add(after, 0.5);
    figure.legend("fP0", "patches, each in a colour");
    figure.legend("lBorder", "edge of one triangle");
    figure.legend("lMany", "edge of three triangles or more");
    figure.write(folder + "/repair.svg");
}

void drawPositions(const std::string& folder, CellMesh& repaired) {
    RMesh mesh(&repaired.get());
    mesh.finishMesh();
    Panel front("From above", View(-28.0, 34.0)), back("The sheet from below", View(-28.0, -40.0));
    const TriangleMesh flat = flatten(mesh, VertexOrder::MESH);
    drawMesh(front, flat);
    drawOddEdges(front, flat);
    const TriangleMesh sheet = takePart(flat, true);
    drawMesh(back, sheet);
    drawOddEdges(back, sheet);
    Figure figure(190.0);
    figure.add(front, 0.56);
    figure.add(back, 0.44);
    figure.legend("fA4", "front of a triangle");
    figure.legend("fB4", "back of a triangle");
    figure.legend("lBorder", "border");
    figure.write(folder + "/positions.svg");
}

// Two boxes with an edge in common, and a fin on one of them.
TriangleMesh makeFaultyMesh() {
    TriangleMesh mesh;
    mesh.vertices = {{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}, {0, 0, 2}, {2, 0, 2}, {2, 2, 2},      {0, 2, 2},
                     {4, 2, 0}, {4, 4, 0}, {2, 4, 0}, {4, 2, 2}, {4, 4, 2}, {2, 4, 2}, {1.0, 1.0, 3.4}};
    const auto quad = [&](std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
        for (const std::uint32_t i : {a, b, c, a, c, d}) mesh.indices.push_back(i);
    };
    quad(0, 3, 2, 1);
    quad(4, 5, 6, 7);
    quad(0, 1, 5, 4);
    quad(1, 2, 6, 5);
    quad(2, 3, 7, 6);
    quad(3, 0, 4, 7);
    quad(2, 10, 9, 8);
    quad(6, 11, 12, 13);
    quad(2, 6, 11, 8);  // turned against the others
    quad(8, 9, 12, 11);
    quad(9, 10, 13, 12);
    quad(6, 13, 10, 2);
    for (const std::uint32_t i : {4u, 6u, 14u}) mesh.indices.push_back(i);
    return mesh;
}

void drawMending(const std::string& folder) {
    const View view(-20.0, 28.0);
    TriangleMesh mesh = makeFaultyMesh();
    Panel before("Before", view), after("After, its pieces moved apart", view);
    drawMesh(before, mesh);
    drawOddEdges(before, mesh);
    ManifoldReport report;
    makeManifold(mesh, {}, report);
    std::cout << "mending: " << report.numSplitVertices << " split, " << report.numRemovedSheets << " sheets, "
              << report.numReversedTriangles << " reversed, " << report.numComponents << " components\n";
    // Copies of vertices lie on one another, so the second body is moved to be seen.
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        double x = 0.0, y = 0.0, z = 0.0;
        for (std::size_t k = 0; k < 3; ++k) mesh.vertices[mesh.indices[i + k]].addOwnCoords(x, y, z);
        const Vector3 shift = std::max(x, y) > 6.5 ? Vector3(1.5, -0.3, 0.0) : Vector3();
        const Point3 a = mesh.vertices[mesh.indices[i]] + shift, b = mesh.vertices[mesh.indices[i + 1]] + shift,
                     c = mesh.vertices[mesh.indices[i + 2]] + shift;
        after.polygon({a, b, c}, shadeOf(cross(b - a, c - a), view));
    }
    Figure figure(180.0);
    figure.add(before, 0.5);
    figure.add(after, 0.5);
    figure.legend("fA4", "front");
    figure.legend("fB4", "back");
    figure.legend("lBorder", "edge of one triangle");
    figure.legend("lMany", "edge of three triangles or more");
    figure.write(folder + "/mending.svg");
}

void drawRefinement(const std::string& folder, CellMesh& repaired) {
    TriangleMesh box = takePart(flatten(repaired.get()), false);
    ManifoldReport report;
    makeManifold(box, {}, report);
    const double cellSize = repaired.getCalc().getCellSize();
    Figure figure(165.0);
    const auto add = [&](const std::string& title, const TriangleMesh& mesh) {
        Panel panel(title + " (" + std::to_string(mesh.numTriangles()) + ")", View(-22.0, 30.0));
        drawMesh(panel, mesh);
        figure.add(panel, 0.25);
    };
    add("As made", box);
    RMesh flipped(box.vertices, box.indices, cellSize);
    flipped.edgeFlips();
    const TriangleMesh flat = flatten(flipped, VertexOrder::MESH);
    add("Flipped", flat);
    TriangleMesh reduced = flat;
    reduceTo(reduced, {100, 1e9, 32.0});
    add("Reduced", reduced);
    RMesh smoothed(flat.vertices, flat.indices, cellSize);
    smoothed.laplacianSmoothing({3, true, 0.5, -0.526});
    add("Smoothed", flatten(smoothed, VertexOrder::MESH));
    figure.legend("fA4", "triangle, shaded by its direction; in brackets: how many");
    figure.write(folder + "/refinement.svg");
}

void drawMelt(const std::string& folder) {
    const std::vector<Point3> vCorners = makeHouse();
    const View view(-30.0, 26.0);
    Panel soup("Triangles", view), samples("Samples", view), mesh("The melted mesh", view);
    const auto isFar = [&](const Point3& a, const Point3& b, const Point3& c) {
        Vector3 n = cross(b - a, c - a);
        if (n * (a - middleOfHouse) < 0.0) n *= -1.0;
        return !view.faces(n);
    };
    std::vector<Plane> vSeenPlanes;
    for (std::size_t i = 0; i < vCorners.size(); i += 3) {
        if (isFar(vCorners[i], vCorners[i + 1], vCorners[i + 2])) continue;
        soup.polygon({vCorners[i], vCorners[i + 1], vCorners[i + 2]}, "fSoup");
        vSeenPlanes.emplace_back(vCorners[i], vCorners[i + 1], vCorners[i + 2]);
    }
    // The house is convex.
    const auto isSeen = [&](const Point3& p) {
        return std::any_of(vSeenPlanes.begin(), vSeenPlanes.end(),
                           [&](const Plane& plane) { return (plane.projection(p) - p).length() < 0.01; });
    };
    Cloud cloud("figures", 0.7, -1.0, true, -1);
    cloud.setPoints(vCorners);
    cloud.preparePixelsAndFeatures(30.0);
    std::set<uint64> sFeature;
    for (const auto& [a, b] : cloud.vFeatureEdges) {
        sFeature.insert(a);
        sFeature.insert(b);
    }
    std::vector<RCDPoint> vCells;
    for (const Bundle* pBundle : cloud.vBundles) {
        vCells.emplace_back(cloud.pCalc->ccdToRcd(pBundle->ccd), *pBundle->pPoint);
        if (isSeen(*pBundle->pPoint))
            samples.dot(*pBundle->pPoint, sFeature.count(pBundle->ccd) ? "dFeature" : "dArea");
    }
    std::sort(vCells.begin(), vCells.end(), [](const RCDPoint& a, const RCDPoint& b) { return a.first < b.first; });
    CellMesh cellMesh(vCells, *cloud.pCalc);
    cellMesh.repairMelt();
    RMesh positions(&cellMesh.get());
    positions.finishMesh();
    TriangleMesh flat = flatten(positions, VertexOrder::MESH);
    ManifoldReport report;
    makeManifold(flat, {true, true}, report);
    for (std::size_t i = 0; i < flat.indices.size(); i += 3) {
        const Point3& a = flat.vertices[flat.indices[i]];
        const Point3& b = flat.vertices[flat.indices[i + 1]];
        const Point3& c = flat.vertices[flat.indices[i + 2]];
        const Vector3 n = cross(b - a, c - a);
        if (view.faces(n)) mesh.polygon({a, b, c}, shadeOf(n, view));
    }
    Figure figure(170.0);
    figure.add(soup, 1.0 / 3.0);
    figure.add(samples, 1.0 / 3.0);
    figure.add(mesh, 1.0 / 3.0);
    figure.legend("fSoup", "triangle of the input");
    figure.legend("dFeature", "sample on a sharp edge");
    figure.legend("dArea", "other sample");
    figure.write(folder + "/melt.svg");
}

void drawAll(const std::string& folder) {
    planStages();
    const std::vector<Point3> vPoints = makeCloud();
    const Cells cells = runCellStages(vPoints);
    std::cout << vPoints.size() << " points, spacing " << cells.measuredSpacing << ", cells " << cells.vBand.size()
              << " " << cells.vThin.size() << " " << cells.vFilled.size() << '\n';
    drawGrid(folder, vPoints, cells);
    drawSamples(folder, vPoints, cells);
    drawThinning(folder, cells);
    drawSides(folder, cells);
    drawFields(folder, cells);
    drawFilling(folder, cells);
    drawPolygons(folder, cells);
    drawRepair(folder, cells);
    CellMesh mesh(cells.vFilled, *cells.pCalc);
    mesh.repair();
    drawPositions(folder, mesh);
    drawRefinement(folder, mesh);
    drawMending(folder);
    drawMelt(folder);
}

}  // namespace

}  // namespace figures

int main(int argc, char** argv) {
    try {
        figures::drawAll(argc > 1 ? argv[1] : ".");
        return 0;
    } catch (const std::exception& e) {
        std::cerr << e.what() << '\n';
        return 1;
    }
}
