#include "formats/TextLines.h"

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

void TextLines::load() {
    vLines.clear();
    numTaken = 0;
    for (std::string_view block = blocks.next(); !block.empty();) vLines.push_back(takeLine(block));
}

}  // namespace QUOR_ZEF
