#pragma once

#include <functional>
#include <string>

#include "bytes/InputFile.h"
#include "files/PointCollector.h"
#include "files/formatTable.h"
#include "frame/Progress.h"
#include "zef/files.h"

namespace QUOR_ZEF {

// A file whose format is known, by its content or else by its ending.
class ScanFile {
public:
    // Throws a FileError for a file that cannot be opened, and for one of no known format.
    explicit ScanFile(const std::string& name);

    // Always read a part at a time: then "IO_files" is its stage, else "IO_load" and "IO_read" are.
    bool isStream() const { return !pFormat->bWhole; }
    // Corners of triangles, of which equal ones become one vertex.
    bool hasCorners() const { return ending == ".stl"; }

    // All of it, as it stands there. Throws a FileError.
    PointFile load(const ReadOptions& options);
    // A file of triangles. Throws a FileError.
    TriangleMesh loadMesh(const ReadMeshOptions& options);

    // Gives the collector its points, and out the rest of what it tells. stage: gets the size of
    // the file in ticks. False if there was a fault, which out tells. Throws a FileError.
    // onPart: called after each part, and no room is made for more; a format that can is read in parts then.
    bool collect(const ReadOptions& options, PointCollector& collector, OptionalStage& stage, PointFile& out,
                 const std::function<void()>& onPart = {});

private:
    std::string path;
    InputFile file;
    const Format* pFormat = nullptr;
    std::string ending;  // of the format
    std::string oddity;  // a sentence, if the ending is not that of the content
    bool bPacked = false;

    void detect();
    PointFile loadWhole(const ReadOptions& options);
    bool hasParts(const ReadOptions& options, bool bPreferred = false) const;
    std::unique_ptr<PointStream> open(const ReadOptions& options, bool bPreferred) const;
    bool drain(PointStream& stream, bool bPartial, PointCollector& collector, OptionalStage& stage, PointFile& out,
               const std::function<void()>& onPart);
    void takeWhole(const ReadOptions& options, PointCollector& collector, OptionalStage& stage, PointFile& out);
    template <class Fn>
    auto named(const Fn& fn) const;
};

}  // namespace QUOR_ZEF
