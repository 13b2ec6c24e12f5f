#include "files/ScanFile.h"

#include <algorithm>
#include <utility>

#include "bytes/FileBytes.h"
#include "bytes/gzip.h"
#include "frame/Run.h"
#include "io/loadCloud.h"
#include "io/meshFormats.h"
#include "io/streams.h"

namespace QUOR_ZEF {

namespace {

InputFile openFile(const std::string& path) try { return InputFile(path); } catch (const LoadError& error) {
    throw FileError(path + ": " + error.what());
}

// Points of a cloud, or the corners of triangles.
PointBlock blockOf(PointFile& file) {
    PointBlock block;
    block.points = std::move(file.points);
    block.normals = std::move(file.normals);
    block.intensities = std::move(file.intensities);
    block.viewpoint = file.viewpoint;
    return block;
}

bool isChoosing(const ReadOptions& options) {
    return options.box || options.every > 1 || options.grid > 0.0;
}

void takeFacts(const ScanFacts& facts, PointFile& out) {
    out.format = facts.format;
    out.numScans = facts.numScans;
    out.projection = facts.projection;
    out.comments.insert(out.comments.end(), facts.comments.begin(), facts.comments.end());
    out.notes.insert(out.notes.end(), facts.notes.begin(), facts.notes.end());
}

}  // namespace

// What goes wrong with a file tells its name.
template <class Fn>
auto ScanFile::named(const Fn& fn) const {
    try {
        return fn();
    } catch (const LoadError& error) {
        throw FileError(path + ": " + error.what());
    }
}

ScanFile::ScanFile(const std::string& name) : path(name), file(openFile(name)), ending(readEndingOf(name)) {
    named([this] { detect(); });
}

void ScanFile::detect() {
    constexpr uint64 numLooked = 1024;
    std::string start(static_cast<std::size_t>(std::min(numLooked, file.getSize())), '\0');
    file.read(0, start);
    bPacked = isGzip(start);
    const Format* const pByEnding = formatOfEnding(ending);
    pFormat = formatOfContent(start);
    if (!pFormat || (pByEnding && pByEnding->open == pFormat->open && pFormat->open)) {
        if (!pByEnding) throw LoadError("unknown ending \"" + ending + "\"; known are " + readableEndings(false));
        pFormat = pByEnding;
        return;
    }
    if (pFormat == pByEnding) return;
    ending = pFormat->vEndings.front();
    oddity = std::string("The content is ") + pFormat->name + ", whatever the ending says; it is read as that.";
}

PointFile ScanFile::loadWhole(const ReadOptions& options) {
    if (options.scan.value_or(0) > 0) throw LoadError(oneScanOnly);
    PointFile out = loadCloud(file, {ending, options.columns, options.partial});
    if (!oddity.empty()) out.notes.push_back(oddity);
    return out;
}

TriangleMesh ScanFile::loadMesh(const ReadMeshOptions& options) {
    return named([&] {
        if (!pFormat->bMeshes)
            throw LoadError("unknown ending \"" + endingOf(path) + "\"; known are " + readableEndings(true));
        return meshOf(loadWhole({}), path, options);
    });
}

// Whether what is wanted is better read a part at a time.
bool ScanFile::hasParts(const ReadOptions& options, bool bPreferred) const {
    return isStream() || (pFormat->open && !bPacked && (bPreferred || options.partial || isChoosing(options)));
}

// Null for what has to be read as a whole.
std::unique_ptr<PointStream> ScanFile::open(const ReadOptions& options, bool bPreferred) const {
    if (!hasParts(options, bPreferred)) return nullptr;
    PointChoice choice;
    choice.scan = options.scan;
    choice.columns = options.columns;
    return pFormat->open(file, choice);
}

bool ScanFile::drain(PointStream& stream, bool bPartial, PointCollector& collector, OptionalStage& stage,
                     PointFile& out, const std::function<void()>& onPart) {
    if (!onPart)
        collector.expect(std::min<uint64>(stream.getFacts().numPoints, memoryLimit(file.getSize()) / sizeof(Point3)));
    PointBlock block;
    const uint64 numBefore = collector.getNumTaken();
    uint64 position = 0;
    bool bWhole = true;
    try {
        while (stream.next(block)) {
            collector.add(block);
            if (onPart) onPart();
            const uint64 now = std::min(stream.getPosition(), file.getSize());
            stage.tick(now - std::min(now, position));
            pollRun(0);
            position = std::max(now, position);
        }
    } catch (const LoadError& error) {
        collector.add(block);
        if (onPart) onPart();
        const uint64 numGood = collector.getNumTaken() - numBefore;
        if (!bPartial || numGood == 0) throw;
        out.notes.push_back(partialNote(error, numGood));
        bWhole = false;
    }
    stage.tick(file.getSize() - position);
    takeFacts(stream.getFacts(), out);
    return bWhole;
}

void ScanFile::takeWhole(const ReadOptions& options, PointCollector& collector, OptionalStage& stage, PointFile& out) {
    out = loadWhole(options);
    PointBlock block = blockOf(out);
    if (out.kind != PointFile::Kind::POINTS) out.notes.emplace_back(noTrianglesNote);
    out.kind = PointFile::Kind::POINTS;
    out.indices = {};
    collector.add(block);
    stage.tick(file.getSize());
}

PointFile ScanFile::load(const ReadOptions& options) {
    std::string fault;
    if (!isStream() && !isChoosing(options)) {
        try {
            return loadWhole(options);
        } catch (const LoadError& error) {
            fault = error.what();
            if (!hasParts(options)) throw FileError(path + ": " + fault);  // else there may be points before it
        }
    }
    PointFile out;
    PointCollector collector(options);
    OptionalStage stage("IO_files", file.getSize());
    const bool bWhole = collect(options, collector, stage, out);
    collector.finish(out);
    if (bWhole && !fault.empty()) out.notes.insert(out.notes.begin(), fault + "; all points stand before that.");
    out.hasColor = std::any_of(out.points.begin(), out.points.end(), [](const Point3& p) { return p.hasColor(); });
    return out;
}

bool ScanFile::collect(const ReadOptions& options, PointCollector& collector, OptionalStage& stage, PointFile& out,
                       const std::function<void()>& onPart) {
    return named([&] {
        const std::unique_ptr<PointStream> pStream = open(options, static_cast<bool>(onPart));
        if (!pStream) {
            takeWhole(options, collector, stage, out);
            if (onPart) onPart();
            return true;
        }
        if (!oddity.empty()) out.notes.push_back(oddity);
        return drain(*pStream, options.partial, collector, stage, out, onPart);
    });
}

}  // namespace QUOR_ZEF
