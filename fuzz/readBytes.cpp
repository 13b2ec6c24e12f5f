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

// Reads any bytes as a file with the ending of this target: nothing but a LoadError may come of it.

using namespace QUOR_ZEF;

namespace {

constexpr std::string_view ending = ZEF_FUZZ_ENDING;

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

void readWhole(InputFile& file, bool bMeshes) {
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

void readAny(std::string_view bytes) {
    if (ending == ".gz") {
        if (isGzip(bytes)) tryTo([&] { unpackGzip(bytes); });
        return;
    }
    InputFile file = InputFile::of(bytes);
    const Format& format = *formatOfEnding(ending);
    if (format.bWhole) tryTo([&] { readWhole(file, format.bMeshes); });
    if (format.open) tryTo([&] { readStream(file, format.open); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size) {
    std::string bytes(reinterpret_cast<const char*>(pData), size);
    if (ending == ".e57") bytes = withChecksums(std::move(bytes));
    readAny(bytes);
    return 0;
}
