#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "bytes/InputFile.h"

namespace QUOR_ZEF {

// The lines of a text file, some MiB at a time.
class LineBlocks {
public:
    // From this place on, where the line of this number begins. The file must live as long as
    // this does.
    LineBlocks(const InputFile& source, std::uint64_t place, std::uint64_t line)
        : file(source), nextPlace(place), lineNumber(line) {}

    // Whole lines with their line feeds, of which only the last one of the file may lack its own;
    // empty at the end of the file. Valid until the next call. A LoadError for a line of more than
    // 4 MiB.
    std::string_view next();

    // Of the first line that next() has not given.
    std::uint64_t getLineNumber() const { return lineNumber; }
    // Where it begins.
    std::uint64_t getPosition() const { return nextPlace; }

private:
    const InputFile& file;
    std::string bytes;
    std::uint64_t nextPlace;
    std::uint64_t lineNumber;
};

}  // namespace QUOR_ZEF
