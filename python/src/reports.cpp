#include "reports.h"

#include <pybind11/stl.h>

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "options.h"

namespace py = pybind11;

namespace zefpy {

namespace {

py::object told(const zef::Point3& p) {
    return py::make_tuple(p.px, p.py, p.pz);
}
py::object told(const zef::Vector3& v) {
    return py::make_tuple(v.vx, v.vy, v.vz);
}
py::object told(const std::optional<zef::Point3>& p) {
    return p ? told(*p) : py::none();
}
py::object told(const zef::DensityReport& density);
py::object told(const zef::ManifoldReport& mended) {
    return reportOf(mended);
}
py::object told(const zef::RefitReport& fitted) {
    return reportOf(fitted);
}
py::object told(const zef::UntangleReport& parted) {
    return reportOf(parted);
}
py::object told(const zef::ClosingReport& closing);
py::object told(const zef::MeshComponent& part);
py::object told(const zef::MeshBorderLoop& loop);
py::object told(const zef::MeshHandle& handle);
py::object told(const zef::ThinPlace& wall);
py::object told(const zef::Deviation& deviation);
py::object told(const zef::Grid& grid);
template <class T>
py::object told(const T& value) {
    return py::cast(value);
}
template <class T>
py::object told(const std::vector<T>& vValues) {
    py::tuple values(vValues.size());
    for (std::size_t i = 0; i < vValues.size(); ++i) values[i] = told(vValues[i]);
    return values;
}

template <class T, std::size_t num>
py::object told(const std::array<T, num>& values) {
    return told(std::vector<T>(values.begin(), values.end()));
}

// Figures under their names.
class Figures {
public:
    template <class T>
    Figures& add(const char* name, const T& value) {
        dict[py::str(pythonName(name))] = told(value);
        return *this;
    }
    py::dict dict;
};

py::object told(const zef::ClosingReport& closing) {
    return Figures()
        .add("numClosedLoops", closing.numClosedLoops)
        .add("numSheets", closing.numSheets)
        .add("numInner", closing.numInner)
        .add("numThickened", closing.numThickened)
        .add("holds", closing.holds)
        .dict;
}

py::object told(const zef::DensityReport& density) {
    return Figures()
        .add("unsupportedShare", density.unsupportedShare)
        .add("uneven", density.uneven)
        .add("levelPoints", density.levelPoints)
        .add("numAddedPoints", density.numAddedPoints)
        .add("numMergedVertices", density.numMergedVertices)
        .add("coarsening", density.coarsening)
        .dict;
}

py::object told(const zef::MeshComponent& part) {
    return Figures()
        .add("numTriangles", part.numTriangles)
        .add("numVertices", part.numVertices)
        .add("numEdges", part.numEdges)
        .add("numBorderEdges", part.numBorderEdges)
        .add("numBorderLoops", part.numBorderLoops)
        .add("closed", part.closed)
        .add("manifold", part.manifold)
        .add("oriented", part.oriented)
        .add("euler", part.euler)
        .add("genus", part.genus)
        .add("area", part.area)
        .add("volume", part.volume)
        .dict;
}

py::object told(const zef::MeshHandle& handle) {
    return Figures().add("length", handle.length).add("place", handle.place).dict;
}

py::object told(const zef::ThinPlace& wall) {
    return Figures()
        .add("thickness", wall.thickness)
        .add("place", wall.place)
        .add("numTriangles", wall.numTriangles)
        .dict;
}

py::object told(const zef::MeshBorderLoop& loop) {
    return Figures()
        .add("numEdges", loop.numEdges)
        .add("length", loop.length)
        .add("low", loop.low)
        .add("high", loop.high)
        .dict;
}

py::object told(const zef::Grid& grid) {
    return Figures()
        .add("low", grid.low)
        .add("spacing", grid.spacing)
        .add("numLevels", grid.numLevels)
        .add("measuredSpacing", grid.measuredSpacing)
        .add("uneven", grid.uneven)
        .add("levels", grid.levels)
        .add("smooth", grid.smooth)
        .add("blockLow", grid.blockLow)
        .add("blockGridSide", grid.blockGridSide)
        .add("blockLevel", grid.blockLevel)
        .add("noise", grid.noise)
        .add("stepAxis", grid.stepAxis)
        .add("stepValues", grid.stepValues)
        .dict;
}

py::object told(const zef::Deviation& deviation) {
    return Figures()
        .add("numSamples", deviation.numSamples)
        .add("mean", deviation.mean)
        .add("rms", deviation.rms)
        .add("max", deviation.max)
        .add("percentiles", deviation.percentiles)
        .add("histogram", deviation.histogram)
        .add("meanAngle", deviation.meanAngle)
        .add("turnedShare", deviation.turnedShare)
        .dict;
}

const char* wordOf(zef::PointFile::Kind kind) {
    if (kind == zef::PointFile::Kind::CORNERS) return "corners";
    return kind == zef::PointFile::Kind::MESH ? "mesh" : "points";
}

}  // namespace

py::dict reportOf(const zef::Reconstruction& made) {
    return Figures()
        .add("numPoints", made.numPoints)
        .add("numStrays", made.numStrays)
        .add("numOutliers", made.numOutliers)
        .add("low", made.low)
        .add("high", made.high)
        .add("measuredSpacing", made.measuredSpacing)
        .add("spacing", made.spacing)
        .add("numCells", made.numCells)
        .add("density", made.density)
        .add("mended", made.mended)
        .add("numRemovedPieces", made.numRemovedPieces)
        .add("numRemovedTriangles", made.numRemovedTriangles)
        .add("numCutHandles", made.numCutHandles)
        .add("thinWalls", made.thinWalls)
        .add("refit", made.refit)
        .add("untangled", made.untangled)
        .add("closing", made.closing)
        .add("sideRule", std::string(zef::wordOf(made.sideRule)))
        .add("numTurnedPieces", made.numTurnedPieces)
        .add("coverage", made.coverage)
        .add("noise", made.noise)
        .dict;
}

py::dict reportOf(const zef::PointStatistics& found) {
    return Figures()
        .add("numFinite", found.numFinite)
        .add("numDuplicates", found.numDuplicates)
        .add("numStrays", found.numStrays)
        .add("numOutliers", found.numOutliers)
        .add("low", found.low)
        .add("high", found.high)
        .add("spacing", found.spacing)
        .add("numCells", found.numCells)
        .add("fault", found.fault)
        .add("unsupportedShare", found.unsupportedShare)
        .add("localSpacing", found.localSpacing)
        .add("noise", found.noise)
        .add("needsDoubles", found.needsDoubles)
        .dict;
}

py::dict reportOf(const zef::ManifoldReport& mended) {
    return Figures()
        .add("numRemovedDuplicates", mended.numRemovedDuplicates)
        .add("numRemovedSheets", mended.numRemovedSheets)
        .add("numRemovedSheetTriangles", mended.numRemovedSheetTriangles)
        .add("numClosedLoops", mended.numClosedLoops)
        .add("numRenewedPlaces", mended.numRenewedPlaces)
        .add("numRenewedTriangles", mended.numRenewedTriangles)
        .add("numAddedTriangles", mended.numAddedTriangles)
        .add("numNonManifoldEdges", mended.numNonManifoldEdges)
        .add("numSeamEdges", mended.numSeamEdges)
        .add("numSplitVertices", mended.numSplitVertices)
        .add("numAddedVertices", mended.numAddedVertices)
        .add("numReversedTriangles", mended.numReversedTriangles)
        .add("numComponents", mended.numComponents)
        .add("numClosedComponents", mended.numClosedComponents)
        .add("untangled", mended.untangled)
        .dict;
}

py::dict reportOf(const zef::UntangleReport& parted) {
    return Figures().add("numPairs", parted.numPairs).add("numPairsLeft", parted.numPairsLeft).dict;
}

py::dict reportOf(const zef::RefitReport& fitted) {
    return Figures()
        .add("noise", fitted.noise)
        .add("radius", fitted.radius)
        .add("numMovedVertices", fitted.numMovedVertices)
        .add("numCreaseVertices", fitted.numCreaseVertices)
        .add("meanMove", fitted.meanMove)
        .add("maxMove", fitted.maxMove)
        .dict;
}

py::dict reportOf(const zef::MeshReport& found) {
    return Figures()
        .add("numVertices", found.numVertices)
        .add("numTriangles", found.numTriangles)
        .add("numEdges", found.numEdges)
        .add("numComponents", found.numComponents)
        .add("numBorderEdges", found.numBorderEdges)
        .add("numBorderLoops", found.numBorderLoops)
        .add("numNonManifoldEdges", found.numNonManifoldEdges)
        .add("numNonManifoldVertices", found.numNonManifoldVertices)
        .add("numOrientationConflicts", found.numOrientationConflicts)
        .add("numDegenerateTriangles", found.numDegenerateTriangles)
        .add("numDuplicateTriangles", found.numDuplicateTriangles)
        .add("euler", found.euler)
        .add("closed", found.closed)
        .add("manifold", found.manifold)
        .add("oriented", found.oriented)
        .add("area", found.area)
        .add("volume", found.volume)
        .add("components", found.components)
        .add("borderLoops", found.borderLoops)
        .dict;
}

py::dict reportOf(const zef::HandleReport& found) {
    return Figures().add("numHandles", found.numHandles).add("shortHandles", found.shortHandles).dict;
}

py::dict reportOf(const zef::ThinReport& found) {
    return Figures().add("limit", found.limit).add("numTriangles", found.numTriangles).add("places", found.places).dict;
}

py::dict reportOf(const zef::Comparison& made) {
    return Figures().add("there", made.there).add("back", made.back).add("limit", made.limit).dict;
}

py::dict reportOf(const zef::WriteResult& written) {
    return Figures().add("doubles", written.doubles).add("offset", written.offset).dict;
}

py::dict reportOf(const zef::FormatInfo& format) {
    return Figures()
        .add("name", format.name)
        .add("endings", format.endings)
        .add("readsPoints", format.readsPoints)
        .add("readsMeshes", format.readsMeshes)
        .add("writesPoints", format.writesPoints)
        .add("writesMeshes", format.writesMeshes)
        .add("keeps", format.keeps)
        .dict;
}

py::dict reportOf(const zef::PointFile& file) {
    return Figures()
        .add("kind", std::string(wordOf(file.kind)))
        .add("format", file.format)
        .add("numPoints", file.points.size())
        .add("numTriangles", file.numTriangles())
        .add("hasColor", file.hasColor)
        .add("hasNormals", !file.normals.empty())
        .add("viewpoint", file.viewpoint)
        .add("numScans", file.numScans)
        .add("projection", file.projection)
        .add("numNotTaken", file.numNotTaken)
        .add("numHeaderLines", file.numHeaderLines)
        .add("numSkippedLines", file.numSkippedLines)
        .add("numPolygons", file.numPolygons)
        .add("numDroppedFaces", file.numDroppedFaces)
        .add("numUnusedVertices", file.numUnusedVertices)
        .add("comments", file.comments)
        .add("notes", file.notes)
        .dict;
}

py::dict reportOf(const zef::TileState& state) {
    return Figures()
        .add("split", state.split)
        .add("settled", state.settled)
        .add("joined", state.joined)
        .add("meshed", state.meshed)
        .add("numTriangles", state.numTriangles)
        .add("numVertices", state.numVertices)
        .add("seconds", state.seconds)
        .dict;
}

py::dict reportOf(const zef::TilePlan& plan) {
    std::vector<std::string> vInputs;
    for (const std::filesystem::path& path : plan.inputs) vInputs.push_back(path.string());
    return Figures()
        .add("inputs", vInputs)
        .add("memory", plan.options.memory)
        .add("halo", plan.options.halo)
        .add("cuts", plan.options.cuts)
        .add("grid", plan.grid)
        .add("low", plan.low)
        .add("high", plan.high)
        .add("numAllPoints", plan.numAllPoints)
        .add("numStrays", plan.numStrays)
        .add("viewpointTold", plan.viewpointTold)
        .dict;
}

}  // namespace zefpy
