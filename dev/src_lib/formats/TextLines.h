#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "bytes/InputFile.h"
#include "formats/LineBlocks.h"

namespace QUOR_ZEF {

// The lines of a text file, some MiB at a time.
class TextLines {
public:
    // From this place on, where the line of this number begins. The file must live as long as
    // this does.
    TextLines(const InputFile& source, std::uint64_t place, std::uint64_t line)
        : blocks(source, place, line), lineNumber(line) {}

    // The lines that come next, without their line feeds: at least one, or none at the end of
    // the file. Valid until the next call that finds all of them taken. A LoadError for a line of
    // more than 4 MiB.
    std::span<const std::string_view> peek();
    void take(std::size_t num);

    // Of the first line that has not been taken.
    std::uint64_t getLineNumber() const { return lineNumber; }
    // Behind the lines that peek() has shown.
    std::uint64_t getPosition() const { return blocks.getPosition(); }

private:
    LineBlocks blocks;
    std::vector<std::string_view> vLines;
    std::size_t numTaken = 0;  // of them
    std::uint64_t lineNumber;

    void load();
};

}  // namespace QUOR_ZEF
