#include <algorithm>
#include <optional>
#include <utility>

#include "bytes/textNumbers.h"
#include "formats/LineBlocks.h"
#include "frame/Run.h"
#include "io/cloudLoaders.h"
#include "io/plyVertices.h"
#include "io/streams.h"

namespace QUOR_ZEF {

namespace {

using PLY::PlyElement;
using PLY::PlyError;
using PLY::PlyFile;

// A header of vertices as those of a file, but of so many.
std::string headerOf(const PlyFile& ply, const PlyElement& vertex, uint64 num) {
    const char* const words[] = {"ascii", "binary_little_endian", "binary_big_endian"};
    std::string text = std::string("ply\nformat ") + words[static_cast<std::size_t>(ply.getFormat())] +
                       " 1.0\nelement vertex " + std::to_string(num) + "\n";
    for (const PLY::PlyProperty& property : vertex.vProperties)
        text.append("property ").append(PLY::getName(property.type)).append(" " + property.name + "\n");
    return text + "end_header\n";
}

bool hasLists(const PlyElement& element) {
    return std::any_of(element.vProperties.begin(), element.vProperties.end(),
                       [](const PLY::PlyProperty& property) { return property.isList(); });
}

uint64 rowBytesOf(const PlyElement& element) {
    uint64 num = 0;
    for (const PLY::PlyProperty& property : element.vProperties) num += PLY::getWidth(property.type);
    return num;
}

std::string missingText(uint64 num) {
    return std::to_string(num) + (num == 1 ? " vertex is missing" : " vertices are missing");
}

// Neighbouring vertices as they stand in the file.
struct VertexRows {
    uint64 num = 0;
    std::string_view bytes;
    uint64 lineNumber = 0;  // of the first, in text
};

// Rows of vertices, some MiB at a time.
class VertexRowSource {
public:
    virtual ~VertexRowSource() = default;
    // None at the end. A LoadError where vertices are missing.
    virtual VertexRows next() = 0;
    virtual uint64 getPosition() const = 0;
};

class BinaryRows : public VertexRowSource {
public:
    BinaryRows(const InputFile& source, uint64 firstPlace, uint64 numRows, uint64 rowBytes)
        : file(source), place(firstPlace), numLeft(numRows), width(rowBytes) {}

    VertexRows next() override {
        constexpr uint64 maxBytes = uint64{1} << 22;
        if (numLeft == 0) return {};
        const uint64 numThere = (file.getSize() - std::min(place, file.getSize())) / width;
        const uint64 num = std::min({numLeft, numThere, std::max<uint64>(maxBytes / width, 1)});
        if (num == 0)
            throw LoadError("byte " + std::to_string(file.getSize()) + ": " + missingText(numLeft) +
                            "; the file is cut short, copy it anew");
        bytes.resize(static_cast<std::size_t>(num * width));
        file.read(place, bytes);
        place += bytes.size();
        numLeft -= num;
        return {num, bytes, 0};
    }
    uint64 getPosition() const override { return place; }

private:
    const InputFile& file;
    std::string bytes;
    uint64 place, numLeft, width;
};

// Takes up to num lines that are not blank off the text, and counts num down; returns how many
// lines that were with the blank ones.
uint64 dropLines(uint64& num, std::string_view& text) {
    uint64 numLines = 0;
    for (; num > 0 && !text.empty(); ++numLines) {
        const std::string_view line = takeLine(text);
        const char* const pEnd = line.data() + line.size();
        if (skipBlanks(line.data(), pEnd) != pEnd) --num;
    }
    return numLines;
}

class TextRowLines : public VertexRowSource {
public:
    // numBefore: lines of other elements, first.
    TextRowLines(const InputFile& source, uint64 place, uint64 firstLine, uint64 numBefore, uint64 numRows)
        : blocks(source, place, firstLine), numSkipped(numBefore), numLeft(numRows) {}

    VertexRows next() override {
        while (numLeft > 0) {
            uint64 lineNumber = blocks.getLineNumber();
            std::string_view lines = blocks.next();
            if (lines.empty())
                throw LoadError("line " + std::to_string(lineNumber) + ": " + missingText(numLeft) +
                                ", each on a line of its own; the file is cut short");
            lineNumber += dropLines(numSkipped, lines);
            std::string_view rest = lines;
            const uint64 before = numLeft;
            dropLines(numLeft, rest);
            if (numLeft < before) return {before - numLeft, lines.substr(0, lines.size() - rest.size()), lineNumber};
        }
        return {};
    }
    uint64 getPosition() const override { return blocks.getPosition(); }

private:
    LineBlocks blocks;
    uint64 numSkipped, numLeft;
};

// The lines up to the middle one of those that are not blank, and what follows.
std::pair<VertexRows, VertexRows> halves(const VertexRows& rows) {
    uint64 numFirst = rows.num / 2;
    std::string_view rest = rows.bytes;
    const uint64 numLines = dropLines(numFirst, rest);
    return {{rows.num / 2, rows.bytes.substr(0, rows.bytes.size() - rest.size()), rows.lineNumber},
            {rows.num - rows.num / 2, rest, rows.lineNumber + numLines}};
}

// The start of a file, with its header.
struct Head {
    std::string bytes;
    PlyFile ply;

    explicit Head(const InputFile& file) {
        constexpr uint64 numLooked = uint64{1} << 18;
        bytes.resize(static_cast<std::size_t>(std::min(numLooked, file.getSize())));
        file.read(0, bytes);
        ply.parseHeader(bytes, PLY::HeaderRule::STRICT);
    }
    // Whether the vertices stand in rows of one size, at a place that can be told.
    bool hasVertexRows() const {
        for (const PlyElement& element : ply.getElements()) {
            if (hasLists(element)) return false;
            if (element.name == "vertex") return true;
        }
        return false;
    }
};

class PlyStream : public PointStream {
public:
    PlyStream(const InputFile& source, std::unique_ptr<Head> pHeadOfFile, const PointChoice& choice)
        : file(source),
          pHead(std::move(pHeadOfFile)),
          head(pHead->ply),
          vertex(*head.findElement("vertex")),
          pRows(openRows()) {
        if (choice.scan.value_or(0) > 0) throw LoadError(oneScanOnly);
        PointFile told;
        takePlyHeader(head, told);
        facts.format = told.format;
        facts.numPoints = vertex.count;
        facts.comments = told.comments;
        facts.notes = told.notes;
        viewpoint = told.viewpoint;
        if (const PlyElement* const pFaces = head.findElement("face"); pFaces && pFaces->count > 0)
            facts.notes.emplace_back(noTrianglesNote);
        lookAtAll();
    }

    const ScanFacts& getFacts() const override { return facts; }
    std::uint64_t getPosition() const override { return pRows->getPosition(); }

    bool next(PointBlock& out) override {
        const VertexRows rows = pRows->next();
        out.viewpoint = viewpoint;
        if (rows.num > 0) take(rows, out);
        return rows.num > 0;
    }

private:
    const InputFile& file;
    std::unique_ptr<Head> pHead;
    const PlyFile& head;
    const PlyElement& vertex;
    std::unique_ptr<VertexRowSource> pRows;
    PlyBrightness brightness;
    std::optional<Point3> viewpoint;
    ScanFacts facts;
    std::string piece;  // a PLY file of some rows

    std::unique_ptr<VertexRowSource> openRows() const {
        const uint64 body = head.getBodyPlace();
        uint64 numBytes = 0, numRows = 0;
        for (const PlyElement* p = head.getElements().data(); p != &vertex; ++p) {
            const uint64 width = std::max<uint64>(rowBytesOf(*p), 1);
            numRows += std::min(p->count, file.getSize());
            numBytes += std::min(p->count, file.getSize() / width + 1) * width;
        }
        if (head.getFormat() != PLY::Format::ASCII)
            return std::make_unique<BinaryRows>(file, body + numBytes, vertex.count, rowBytesOf(vertex));
        const auto numLines = static_cast<uint64>(std::count(pHead->bytes.data(), pHead->bytes.data() + body, '\n'));
        return std::make_unique<TextRowLines>(file, body, numLines + 1, numRows, vertex.count);
    }

    // Calls fn with the vertices of the rows. Throws a PlyError, and does nothing, if they are damaged.
    template <class Fn>
    void parse(const VertexRows& rows, const Fn& fn) {
        piece = headerOf(head, vertex, rows.num);
        piece += rows.bytes;
        PlyFile ply;
        ply.parseHeader(piece, PLY::HeaderRule::STRICT);
        PlyVertices vertices;
        vertices.request(ply);
        ply.read();
        fn(vertices);
    }

    // Up to a fault, which next() will meet. Bytes need no look.
    void lookAtAll() {
        const auto needsLook = [](const std::shared_ptr<PLY::PlyData>& pData) {
            return pData && PLY::getWidth(pData->type) > 1;
        };
        bool bLook = false;
        parse({}, [&](const PlyVertices& vertices) { bLook = needsLook(vertices.pRGB) || needsLook(vertices.pAlpha); });
        if (!bLook) return;
        const std::unique_ptr<VertexRowSource> pAll = openRows();
        try {
            for (VertexRows rows = pAll->next(); rows.num > 0; rows = pAll->next()) {
                parse(rows, [&](const PlyVertices& vertices) { brightness.widen(vertices); });
                pollRun(0);
            }
        } catch (const LoadError&) {
            return;
        } catch (const PlyError&) {
            return;
        }
    }

    // Of damaged lines, those before the first one that is.
    void take(const VertexRows& rows, PointBlock& out) {
        try {
            parse(rows, [&](const PlyVertices& vertices) {
                PointFile part;
                vertices.take(brightness, part);
                out.points.insert(out.points.end(), part.points.begin(), part.points.end());
                out.normals.insert(out.normals.end(), part.normals.begin(), part.normals.end());
            });
        } catch (const PlyError& error) {
            if (rows.num == 1) throw LoadError("line " + std::to_string(rows.lineNumber) + ": " + error.what());
            const auto [first, second] = halves(rows);
            take(first, out);
            take(second, out);
        }
    }
};

}  // namespace

std::unique_ptr<PointStream> openPly(const InputFile& file, const PointChoice& choice) try {
    auto pHead = std::make_unique<Head>(file);
    if (!pHead->hasVertexRows()) return nullptr;
    return std::make_unique<PlyStream>(file, std::move(pHead), choice);
} catch (const PlyError& error) {
    throw loadErrorOf(error);
}

}  // namespace QUOR_ZEF
