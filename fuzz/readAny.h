#pragma once

#include <cstring>
#include <string>
#include <string_view>

#include "bytes/InputFile.h"
#include "bytes/LoadError.h"
#include "bytes/gzip.h"
#include "files/formatTable.h"
#include "formats/crc32c.h"
#include "io/loadCloud.h"
#include "io/meshFormats.h"

namespace zef_fuzz {

// Hardly any file with a fault would pass the checksums of E57 otherwise.
inline std::string withChecksums(std::string bytes) {
    constexpr std::size_t pageBytes = 1024, payloadBytes = 1020;
    for (std::size_t page = 0; page + pageBytes <= bytes.size(); page += pageBytes) {
        const std::uint32_t sum = __builtin_bswap32(QUOR_ZEF::crc32c({bytes.data() + page, payloadBytes}));
        std::memcpy(bytes.data() + page + payloadBytes, &sum, sizeof sum);
    }
    return bytes;
}

inline void readStream(const QUOR_ZEF::InputFile& file, QUOR_ZEF::OpenStream open) {
    const std::unique_ptr<QUOR_ZEF::PointStream> pStream = open(file, {});
    if (!pStream) return;
    for (QUOR_ZEF::PointBlock block; pStream->next(block); block = {}) {
    }
}

inline void readWhole(QUOR_ZEF::InputFile& file, const std::string& ending, bool bMeshes) {
    QUOR_ZEF::PointFile cloud = QUOR_ZEF::loadCloud(file, {ending, {}, false});
    if (bMeshes && cloud.numTriangles() > 0) meshOf(std::move(cloud), "x", {.mergeEqual = true});
}

// Whether or not it holds what is expected.
template <class Fn>
void tryTo(const Fn& fn) {
    try {
        fn();
    } catch (const QUOR_ZEF::LoadError&) {
    }
}

// In all ways that there are to read bytes with this ending, such as ".ply"; but for a LoadError, what goes wrong
// leaves it.
inline void readAny(const std::string& ending, std::string bytes) {
    using namespace QUOR_ZEF;
    if (ending == ".gz") {
        if (isGzip(bytes)) tryTo([&] { unpackGzip(bytes); });
        return;
    }
    if (ending == ".e57") bytes = withChecksums(std::move(bytes));
    InputFile file = InputFile::of(bytes);
    const Format& format = *formatOfEnding(ending);
    if (format.bWhole) tryTo([&] { readWhole(file, ending, format.bMeshes); });
    if (format.open) tryTo([&] { readStream(file, format.open); });
}

}  // namespace zef_fuzz
