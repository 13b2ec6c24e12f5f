#include <algorithm>
#include <utility>

#include "bytes/FileBytes.h"
#include "formats/LineBlocks.h"
#include "frame/Progress.h"
#include "frame/Run.h"
#include "io/TextReader.h"
#include "io/cloudLoaders.h"

namespace QUOR_ZEF {

namespace {

void takeRows(TextRows&& rows, const TextReader& reader, PointFile& out) {
    reader.settle(rows);
    out.points = std::move(rows.points);
    out.normals = std::move(rows.normals);
    out.intensities = std::move(rows.intensities);
    out.comments = reader.getComments();
    out.notes = reader.getNotes();
    out.numHeaderLines = reader.getNumHeaderLines();
    out.numSkippedLines = reader.getNumSkippedLines();
}

// Room for all points, if the rest of the file is like its first lines.
void reserveRows(std::string_view lines, uint64 fileSize, TextRows& rows) {
    constexpr double margin = 1.02, leastBytes = 6.0;  // of a point
    const auto numLines = static_cast<double>(std::count(lines.begin(), lines.end(), '\n') + 1);
    const double share = static_cast<double>(lines.size()) / static_cast<double>(fileSize);
    const double most = static_cast<double>(fileSize) / leastBytes + 1.0;
    rows.points.reserve(static_cast<std::size_t>(std::min(share < 1.0 ? margin * numLines / share : numLines, most)));
}

void readRows(const InputFile& file, TextReader& reader, TextRows& rows) {
    LineBlocks blocks(file, 0, 1);
    OptionalStage("IO_load", 1).finish();  // lines are parsed as they come
    OptionalStage stage("IO_read", file.getSize());
    for (uint64 lineNumber = 1;; lineNumber = blocks.getLineNumber()) {
        const std::string_view lines = blocks.next();
        if (lines.empty()) break;
        if (lineNumber == 1) reserveRows(lines, file.getSize(), rows);
        reader.take(lines, lineNumber, rows);
        stage.tick(lines.size());
        pollRun(0);
    }
    if (rows.points.empty()) throw LoadError(noPointLine);
}

}  // namespace

void loadTextCloud(const InputFile& file, const std::string& names, bool bPts, PointFile& out) {
    out.format = "text, a point a line";
    TextReader reader(names, bPts);
    TextRows rows;
    try {
        readRows(file, reader, rows);
    } catch (const LoadError&) {
        takeRows(std::move(rows), reader, out);  // what stands before the fault
        throw;
    }
    takeRows(std::move(rows), reader, out);
}

void loadBinCloud(std::string_view bytes, PointFile& out) {
    constexpr std::size_t headerBytes = 12;
    if (bytes.size() < headerBytes) throw LoadError("the file is shorter than the header of a binary list");
    const auto type = loadValue<std::int32_t>(bytes.data());
    const auto count = loadValue<std::int64_t>(bytes.data() + 4);
    if (type != 30 && type != 20)
        throw LoadError("byte 0: type " + std::to_string(type) + ", expected 30 or 20; is it a binary list of points?");
    const std::size_t numCoords = type == 30 ? 3 : 2;
    const std::size_t numThere = (bytes.size() - headerBytes) / (numCoords * sizeof(double));
    if (count < 0 || static_cast<uint64>(count) > numThere)
        throw LoadError("byte 4: " + std::to_string(count) + " points announced, but there are bytes for " +
                        std::to_string(numThere) + "; the file is cut short");
    out.format = "binary list of points";
    reserveMore(out.points, static_cast<std::size_t>(count));
    RowStage rows("IO_read", static_cast<uint64>(count));
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        rows.step();
        const char* p = bytes.data() + headerBytes + i * numCoords * sizeof(double);
        out.points.emplace_back(loadValue<double>(p), loadValue<double>(p + 8),
                                numCoords == 3 ? loadValue<double>(p + 16) : 0.0);
    }
}

}  // namespace QUOR_ZEF
