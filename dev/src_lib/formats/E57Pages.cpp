#include "formats/E57Pages.h"

#include <algorithm>
#include <cstring>

#include "bytes/FileBytes.h"
#include "bytes/LoadError.h"
#include "formats/crc32c.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

// The only number of the format whose first byte weighs most.
std::uint32_t loadBigEndian(const char* p) {
    return __builtin_bswap32(loadValue<std::uint32_t>(p));
}

bool isGoodPage(const char* p) {
    return crc32c({p, E57Pages::payloadBytes}) == loadBigEndian(p + E57Pages::payloadBytes);
}

// How many pages there are before the first one whose checksum is wrong.
std::size_t countGoodPages(const char* pPages, std::size_t num) {
    constexpr std::size_t minPages = 256;  // of a thread
    const auto firstBad = [&](std::size_t begin, std::size_t end) {
        while (begin != end && isGoodPage(pPages + begin * E57Pages::pageBytes)) ++begin;
        return begin == end ? num : begin;
    };
    const std::vector<std::size_t> vFirst = parallelChunkResults<std::size_t>(num, minPages, firstBad);
    return vFirst.empty() ? num : *std::min_element(vFirst.begin(), vFirst.end());
}

}  // namespace

std::uint64_t E57Pages::toLogical(std::uint64_t physical) {
    return physical / pageBytes * payloadBytes + std::min(physical % pageBytes, payloadBytes);
}

std::uint64_t E57Pages::toPhysical(std::uint64_t logical) {
    return logical / payloadBytes * pageBytes + logical % payloadBytes;
}

void E57Pages::load(std::uint64_t page, std::uint64_t num) {
    firstPage = page;
    numPages = 0;
    vWindow.resize(num * pageBytes);
    file.read(page * pageBytes, vWindow);
    numPages = countGoodPages(vWindow.data(), num);
    for (std::uint64_t i = 1; i < numPages; ++i)
        std::memmove(vWindow.data() + i * payloadBytes, vWindow.data() + i * pageBytes, payloadBytes);
}

std::string_view E57Pages::viewFrom(std::uint64_t place, std::uint64_t numBytes, std::uint64_t numAtOnce) {
    if (numBytes == 0) return {};
    if (place > getSize() || numBytes > getSize() - place)
        throw LoadError(e57Place(place) + std::to_string(numBytes) + " bytes are needed, but the file ends at byte " +
                        std::to_string(file.getSize()) + "; it is cut short, copy it anew");
    const std::uint64_t page = place / payloadBytes;
    const std::uint64_t numNeeded = (place % payloadBytes + numBytes + payloadBytes - 1) / payloadBytes;
    const auto isThere = [&] { return page >= firstPage && page + numNeeded <= firstPage + numPages; };
    if (!isThere()) load(page, std::min(std::max(numNeeded, numAtOnce), file.getSize() / pageBytes - page));
    if (!isThere())
        throw LoadError("byte " + std::to_string((firstPage + numPages) * pageBytes) +
                        ": the checksum of the page that begins here is wrong" + copyAnew);
    return {vWindow.data() + (place - firstPage * payloadBytes), numBytes};
}

std::string E57Pages::read(std::uint64_t place, std::uint64_t numBytes) {
    return std::string(viewFrom(place, numBytes, 0));
}

std::string_view E57Pages::view(std::uint64_t place, std::size_t numBytes) {
    constexpr std::uint64_t numAtOnce = 4096;
    return viewFrom(place, numBytes, numAtOnce);
}

std::string e57Place(std::uint64_t logical) {
    return "byte " + std::to_string(E57Pages::toPhysical(logical)) + ": ";
}

}  // namespace QUOR_ZEF
