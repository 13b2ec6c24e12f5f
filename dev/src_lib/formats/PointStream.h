#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bytes/InputFile.h"
#include "bytes/LoadError.h"
#include "zef/Point3.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// The files that scanners write, read a part at a time and in the order of the file, in bounded
// memory. Each format has a function that opens it; the rest is common.

// Points of one scan. What the format does not have, or nobody wants, stays empty; else it has
// one entry for each point.
struct PointBlock {
    std::vector<Point3> points;         // in world coordinates, with colour where there is some
    std::vector<Vector3> normals;       // as they stand in the file, turned with the pose
    std::vector<std::uint8_t> classes;  // of LAS: 2 ground, 6 building, 7 noise ...
    std::vector<float> intensities;     // as they stand in the file
    std::optional<Point3> viewpoint;    // where the scanner stood for all these points
};

// What to take; what is left out costs nothing where the format allows that.
struct PointChoice {
    bool bColors = true;
    bool bNormals = true;
    bool bClasses = true;
    bool bIntensities = true;
    std::optional<std::uint32_t> scan;  // only this one of the file, from 0 on
    std::string columns{};              // the names of those of text; empty: the text may tell
};

// What a file says of itself.
struct ScanFacts {
    std::string format;                 // in words, for people: "LAS 1.4, point format 6"
    std::uint64_t numPoints = 0;        // as the header says; of the chosen scans
    std::uint32_t numScans = 1;         // in the file
    std::string projection;             // as far as a record names it; empty if none does
    std::vector<std::string> comments;  // names and descriptions, at most 100
    std::vector<std::string> notes;     // what is odd or left out, a sentence each
};

class PointStream {
public:
    virtual ~PointStream() = default;

    // Of the whole file once next() has said that it ends, since notes may be added.
    virtual const ScanFacts& getFacts() const = 0;

    // Appends the next points, up to about a million, of one scan; false if there are none left.
    // The viewpoint is that of what was appended. LoadError where the file is damaged: what was
    // appended before that is good, also in this call.
    virtual bool next(PointBlock& out) = 0;

    // Bytes of the file that are done, for progress.
    virtual std::uint64_t getPosition() const = 0;
};

// Of a file that must live as long as the stream. Throws a LoadError for what is no such file; null
// for one that has to be read as a whole.
using OpenStream = std::unique_ptr<PointStream> (*)(const InputFile& file, const PointChoice& choice);

}  // namespace QUOR_ZEF
