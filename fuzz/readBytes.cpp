#include <cstring>
#include <string>
#include <string_view>

#include "bytes/InputFile.h"
#include "bytes/LoadError.h"
#include "bytes/gzip.h"
#include "files/formatTable.h"
#include "formats/crc32c.h"
#include "fuzz/targets.h"
#include "io/loadCloud.h"
#include "io/meshFormats.h"

using namespace QUOR_ZEF;

namespace {

// Otherwise hardly any file would pass its checksums.
std::string withChecksums(std::string bytes) {
    constexpr std::size_t pageBytes = 1024, payloadBytes = 1020;
    for (std::size_t page = 0; page + pageBytes <= bytes.size(); page += pageBytes) {
        const std::uint32_t sum = __builtin_bswap32(crc32c({bytes.data() + page, payloadBytes}));
        std::memcpy(bytes.data() + page + payloadBytes, &sum, sizeof sum);
    }
    return bytes;
}

void readStream(const InputFile& file, OpenStream open) {
    const std::unique_ptr<PointStream> pStream = open(file, {});
    if (!pStream) return;
    for (PointBlock block; pStream->next(block); block = {}) {
    }
}

void readWhole(InputFile& file, std::string_view ending, bool bMeshes) {
    PointFile cloud = loadCloud(file, {std::string(ending), {}, false});
    if (bMeshes && cloud.numTriangles() > 0) meshOf(std::move(cloud), "x", {.mergeEqual = true});
}

// Whether or not it holds what is expected.
template <class Fn>
void tryTo(const Fn& fn) {
    try {
        fn();
    } catch (const LoadError&) {
    }
}

}  // namespace

namespace zef_fuzz {

void readBytes(std::string_view ending, std::string bytes) {
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
