#include "formats/LineBlocks.h"

#include <algorithm>

#include "bytes/LoadError.h"

namespace QUOR_ZEF {

// What is behind the last line feed is read again with the next lines, unless the file ends.
std::string_view LineBlocks::next() {
    constexpr std::uint64_t maxBytes = std::uint64_t{1} << 22;
    const std::uint64_t numLeft = file.getSize() - std::min(nextPlace, file.getSize());
    bytes.resize(static_cast<std::size_t>(std::min(maxBytes, numLeft)));
    file.read(nextPlace, bytes);
    std::string_view block = bytes;
    if (numLeft > maxBytes) {
        block = block.substr(0, block.rfind('\n') + 1);
        if (block.empty())
            throw LoadError("line " + std::to_string(lineNumber) + ": longer than 4 MiB; is this file text?");
    }
    nextPlace += block.size();
    lineNumber += static_cast<std::uint64_t>(std::count(block.begin(), block.end(), '\n'));
    return block;
}

}  // namespace QUOR_ZEF
