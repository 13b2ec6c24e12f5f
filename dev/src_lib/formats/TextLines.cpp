#include "formats/TextLines.h"

#include <algorithm>
#include <string>

#include "bytes/LoadError.h"
#include "bytes/textNumbers.h"

namespace QUOR_ZEF {

std::span<const std::string_view> TextLines::peek() {
    if (numTaken == vLines.size()) load();
    return std::span(vLines).subspan(numTaken);
}

void TextLines::take(std::size_t num) {
    numTaken += num;
    lineNumber += num;
}

// What is behind the last line feed is read again with the next lines, unless the file ends.
void TextLines::load() {
    constexpr std::uint64_t maxBytes = std::uint64_t{1} << 22;
    vLines.clear();
    numTaken = 0;
    const std::uint64_t numLeft = file.getSize() - std::min(nextPlace, file.getSize());
    vBytes.resize(static_cast<std::size_t>(std::min(maxBytes, numLeft)));
    file.read(nextPlace, vBytes);
    const char* p = vBytes.data();
    const char* const pEnd = p + vBytes.size();
    while (p != pEnd) {
        const char* const pFeed = lineEnd(p, pEnd);
        if (pFeed == pEnd && numLeft > maxBytes) break;
        vLines.emplace_back(p, static_cast<std::size_t>(pFeed - p));
        p = pFeed == pEnd ? pEnd : pFeed + 1;
    }
    nextPlace += static_cast<std::uint64_t>(p - vBytes.data());
    if (vLines.empty() && numLeft > 0)
        throw LoadError("line " + std::to_string(lineNumber) + ": longer than 4 MiB; is this file text?");
}

}  // namespace QUOR_ZEF
