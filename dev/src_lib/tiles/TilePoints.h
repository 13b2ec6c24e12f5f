#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "frame/types.h"
#include "tiles/jobFiles.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// The points of one tile, see pointsPath(), in the order of the inputs. Throws a FileError for a file that is missing,
// cut short, changed, or of another plan or tile; takes no more memory than the points that are there. digest: see
// digestOf().
std::vector<Point3> readTilePoints(const std::filesystem::path& job, uint64 digest, std::uint32_t tile);

// Writes the points of many tiles at once, whose files are appended to when their buffers are full. What is written
// lies in a folder of its own until finish(); the destructor removes it, and the next writer what others have left
// that were killed. FileErrors tell what the system says.
class TilePointWriter {
public:
    // tiles: ascending. numBytes: for all buffers together; each takes a few kB at least.
    TilePointWriter(const std::filesystem::path& job, uint64 digest, std::vector<std::uint32_t> tiles,
                    std::size_t numBytes = defaultBytes);
    ~TilePointWriter();
    TilePointWriter(const TilePointWriter&) = delete;
    TilePointWriter& operator=(const TilePointWriter&) = delete;

    static constexpr std::size_t defaultBytes = std::size_t{64} << 20;

    // k: the position in the list of tiles.
    void add(std::size_t k, const Point3& point);

    // Gives all files their names, with a record each. seconds: told by the records, of all together.
    void finish(double seconds);

    uint64 numPoints(std::size_t k) const { return vTargets[k].numPoints; }

private:
    struct Target {
        std::string buffer;
        FileSum sum;  // of what was written
        uint64 numPoints = 0;
        std::uint32_t pointsCrc = 0;
    };
    std::filesystem::path job;
    uint64 digest;
    std::vector<std::uint32_t> vTiles;
    std::vector<Target> vTargets;  // in the order of the tiles
    std::size_t bufferBytes;
    std::filesystem::path folder;  // of files without name yet; empty before there is one
    int lock = -1;                 // held on it while this lives

    void removeLeftovers() const;
    void makeFolder();
    std::filesystem::path partOf(std::size_t k) const;
    void flush(std::size_t k);
    void complete(std::size_t k, double seconds);
};

}  // namespace QUOR_ZEF
