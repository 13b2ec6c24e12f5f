#include "view/png.h"

#include <zlib.h>

#include <cstddef>
#include <new>
#include <string_view>
#include <vector>

#include "bytes/AtomicFile.h"

namespace QUOR_ZEF {

namespace {

void appendBig(std::string& bytes, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift & 0xff);
}

void writeChunk(AtomicFile& file, std::string_view type, std::string_view body) {
    std::string length, sum;
    appendBig(length, static_cast<std::uint32_t>(body.size()));
    const auto bytesOf = [](std::string_view text) { return reinterpret_cast<const Bytef*>(text.data()); };
    const uLong crc = crc32_z(crc32_z(0, bytesOf(type), type.size()), bytesOf(body), body.size());
    appendBig(sum, static_cast<std::uint32_t>(crc));
    for (const std::string_view part : {std::string_view(length), type, body, std::string_view(sum)}) file.write(part);
}

// Each row as the differences from the one above.
std::vector<Bytef> filteredRows(const Image& image) {
    constexpr Bytef upFilter = 2;
    const std::size_t rowBytes = std::size_t{3} * image.width;
    std::vector<Bytef> vBytes;
    vBytes.reserve((rowBytes + 1) * image.height);
    for (std::size_t row = 0; row < image.height; ++row) {
        vBytes.push_back(upFilter);
        const std::uint8_t* const p = image.rgba.data() + row * 4 * image.width;
        for (std::size_t i = 0; i < std::size_t{4} * image.width; ++i) {
            if (i % 4 == 3) continue;
            const std::uint8_t above = row == 0 ? std::uint8_t{0} : *(p + i - std::size_t{4} * image.width);
            vBytes.push_back(static_cast<Bytef>(p[i] - above));
        }
    }
    return vBytes;
}

}  // namespace

void savePng(const std::string& path, const Image& image) {
    constexpr int level = 4;  // higher ones take several times as long for a tenth of the size
    const std::vector<Bytef> vRows = filteredRows(image);
    uLongf size = compressBound(vRows.size());
    std::string body(size, '\0');
    if (compress2(reinterpret_cast<Bytef*>(body.data()), &size, vRows.data(), vRows.size(), level) != Z_OK)
        throw std::bad_alloc();
    body.resize(size);
    std::string header;
    appendBig(header, image.width);
    appendBig(header, image.height);
    constexpr std::string_view eightBitRgb("\x08\x02\0\0\0", 5);
    header += eightBitRgb;
    AtomicFile file(path);
    file.write("\x89PNG\r\n\x1a\n");
    writeChunk(file, "IHDR", header);
    writeChunk(file, "IDAT", body);
    writeChunk(file, "IEND", {});
    if (!file.commit()) throw FileError(path + ": " + file.getError());
}

}  // namespace QUOR_ZEF
