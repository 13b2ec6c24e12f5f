#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "bytes/InputFile.h"

namespace QUOR_ZEF {

// An E57 file without the checksums that end its pages. Places are those in the payload, so
// called logical ones, unless they are named physical. What a call uses is checked: a page
// whose checksum is wrong, or that the file does not have, is a LoadError.
class E57Pages {
public:
    static constexpr std::uint64_t pageBytes = 1024, payloadBytes = 1020;

    // The file must live as long as this does.
    explicit E57Pages(const InputFile& source) : file(source) {}

    // Of the whole pages that are there.
    std::uint64_t getSize() const { return file.getSize() / pageBytes * payloadBytes; }

    static std::uint64_t toLogical(std::uint64_t physical);
    static std::uint64_t toPhysical(std::uint64_t logical);

    // These bytes, without a look at what lies around.
    std::string read(std::uint64_t place, std::uint64_t numBytes);

    // The same, up to 64 KiB, from memory that is filled 4 MiB at a time and that the next call
    // may overwrite; made for calls with ascending places.
    std::string_view view(std::uint64_t place, std::size_t numBytes);

private:
    const InputFile& file;
    std::vector<char> vWindow;
    std::uint64_t firstPage = 0;
    std::uint64_t numPages = 0;  // good ones in the window, from the first on

    // Puts pages into the window, up to the first bad one.
    void load(std::uint64_t page, std::uint64_t num);
    std::string_view viewFrom(std::uint64_t place, std::uint64_t numBytes, std::uint64_t numAtOnce);
};

// The end of a message about damage.
inline constexpr const char* copyAnew = "; the file is damaged, copy or export it anew";

// How a message begins that tells a place in the payload.
std::string e57Place(std::uint64_t logical);

}  // namespace QUOR_ZEF
