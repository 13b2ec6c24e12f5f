#pragma once

#include <cstdint>
#include <memory>

#include "formats/lasRecords.h"

namespace QUOR_ZEF {

// Where a chunk lies in the file. The end may lie behind it where it is not known.
struct LazChunk {
    std::uint64_t begin = 0, end = 0;
    std::uint64_t numPoints = 0;  // to be decoded, 1 or more
};

// Decodes the points of one chunk in order. What fails throws a LoadError; what was appended
// before that is good. Memory does not depend on what the chunk says of itself.
class LazChunkDecoder {
public:
    virtual ~LazChunkDecoder() = default;

    // Appends so many points more, at most those that are left.
    virtual void decode(std::uint64_t num, RecordSlice& out) = 0;

    // Of the file: where the next chunk begins, once all points are decoded.
    virtual std::uint64_t getEnd() const = 0;
};

// Of compressors 1 and 2. All items share one stream, so that all are decoded.
std::unique_ptr<LazChunkDecoder> makePointDecoder(const InputFile& file, const LasHeader& header,
                                                  const LasFields& fields, const LazChunk& chunk);

// Of compressor 3. Layers that nobody wants are never read.
std::unique_ptr<LazChunkDecoder> makeLayerDecoder(const InputFile& file, const LasHeader& header,
                                                  const LasFields& fields, const LazChunk& chunk);

}  // namespace QUOR_ZEF
