#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "bytes/AtomicFile.h"
#include "frame/types.h"
#include "zef/tiles.h"

namespace QUOR_ZEF {

// The files of a job and the records of what is done, see zef/tiles.h. All throw FileErrors with the name of the file.

std::filesystem::path planPath(const std::filesystem::path& job);
std::filesystem::path pointsPath(const std::filesystem::path& job, std::uint32_t tile);
std::filesystem::path tilePath(const std::filesystem::path& job, std::uint32_t tile);  // its mesh
std::filesystem::path seamsPath(const std::filesystem::path& job);
std::filesystem::path meshPath(const std::filesystem::path& job);  // that of all

// The folders that all of these lie in; makes those that are missing.
void makeFolders(const std::filesystem::path& job);

// Ends the writing of a file; throws if any of it has failed.
void commitFile(AtomicFile& file, const std::filesystem::path& path);

void writePlan(const std::filesystem::path& job, const TilePlan& plan);
// Throws if there is no plan, or it is damaged.
TilePlan readPlan(const std::filesystem::path& job);
bool hasPlan(const std::filesystem::path& job);

// What a record stands for.
enum class StepKind : std::uint8_t {
    POINTS,  // of one tile: points/N.points
    SPLIT,   // those of all tiles, of which each has its own record
    MESH,    // of one tile: meshes/N.tile
    SETTLE,  // seams.bin
    JOIN,    // mesh.ply
};
struct Step {
    StepKind kind = StepKind::SPLIT;
    std::uint32_t tile = 0;  // of POINTS and MESH

    std::string name() const;  // "mesh-0007"
};

// The size of a file and the CRC-32C of its bytes.
struct FileSum {
    uint64 numBytes = 0;
    std::uint32_t crc = 0;
    bool operator==(const FileSum&) const = default;
};
// Reads the file once.
FileSum sumOf(const std::filesystem::path& path);

// Runs from its making on.
class Stopwatch {
public:
    double seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(); }

private:
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

struct StepRecord {
    FileSum sum;  // of the file that the step wrote; zeros for SPLIT, which has none
    // Each as far as the step has some.
    uint64 numPoints = 0;
    uint64 numTriangles = 0;
    uint64 numVertices = 0;
    double seconds = 0.0;
};

// To be written last: the file must be there as a whole. digest: of the plan, see digestOf().
void writeRecord(const std::filesystem::path& job, uint64 digest, const Step& step, const StepRecord& record);

// Of a step that is done: its record is there, of this plan, and its file has the size, and if it is to be checked also
// the checksum, that stands there. What cannot be read was not done.
std::optional<StepRecord> findRecord(const std::filesystem::path& job, uint64 digest, const Step& step,
                                     bool bCheck = false);
inline bool isDone(const std::filesystem::path& job, uint64 digest, const Step& step, bool bCheck = false) {
    return findRecord(job, digest, step, bCheck).has_value();
}

}  // namespace QUOR_ZEF
