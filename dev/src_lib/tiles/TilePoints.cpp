#include "tiles/TilePoints.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <span>
#include <system_error>
#include <utility>

#include "bytes/FileBytes.h"
#include "bytes/InputFile.h"
#include "bytes/LoadError.h"
#include "formats/crc32c.h"
#include "frame/Run.h"
#include "tiles/rawArrays.h"

namespace fs = std::filesystem;

namespace QUOR_ZEF {

namespace {

// A file: the mark, the points, the footer; in the byte order of this machine.
constexpr std::string_view fileMark = "zefpnts1";
constexpr std::size_t footerBytes = 24;
constexpr const char* cure = "; delete this file and split the job again";

struct Footer {
    uint64 digest = 0, numPoints = 0;
    std::uint32_t tile = 0, crc = 0;  // of the points
};
static_assert(sizeof(Footer) == footerBytes);

void appendPoint(std::string& buffer, const Point3& p) {
    std::array<char, pointBytes> bytes;
    std::memcpy(bytes.data(), &p.px, 3 * sizeof(double));
    const std::array<std::uint8_t, 5> color = {p.r, p.g, p.b, p.a, p.bHasColor};
    std::memcpy(bytes.data() + 3 * sizeof(double), color.data(), color.size());
    buffer.append(bytes.data(), bytes.size());
}

Footer readFooter(const InputFile& file) {
    std::array<char, fileMark.size()> mark{};
    if (file.getSize() < mark.size() + footerBytes) throw LoadError(std::string("cut short") + cure);
    file.read(0, mark);
    if (std::string_view(mark.data(), mark.size()) != fileMark)
        throw LoadError(std::string("no points of a tile") + cure);
    std::array<char, footerBytes> bytes{};
    file.read(file.getSize() - footerBytes, bytes);
    return loadValue<Footer>(bytes.data());
}

// Before anything else is made of them.
void checkFooter(const Footer& footer, uint64 digest, std::uint32_t tile, uint64 numBytes) {
    if (numBytes % pointBytes != 0 || footer.numPoints != numBytes / pointBytes)
        throw LoadError(std::string("cut short or changed") + cure);
    if (footer.digest != digest || footer.tile != tile)
        throw LoadError(std::string("these are points of another job or tile") + cure);
}

std::vector<Point3> readAll(const InputFile& file, uint64 digest, std::uint32_t tile) {
    constexpr std::size_t pointsPerBlock = 40'000;
    const Footer footer = readFooter(file);
    checkFooter(footer, digest, tile, file.getSize() - fileMark.size() - footerBytes);
    std::vector<Point3> vPoints;
    vPoints.reserve(footer.numPoints);
    std::vector<char> vBlock(std::min<uint64>(pointsPerBlock, footer.numPoints) * pointBytes);
    std::uint32_t crc = 0;
    while (vPoints.size() < footer.numPoints) {
        const std::size_t num = std::min<uint64>(pointsPerBlock, footer.numPoints - vPoints.size());
        const std::span<char> block = std::span(vBlock).first(num * pointBytes);
        file.read(fileMark.size() + vPoints.size() * pointBytes, block);
        crc = crc32c({block.data(), block.size()}, crc);
        for (std::size_t i = 0; i < num; ++i) vPoints.push_back(pointAt(block.data() + i * pointBytes));
        pollRun(0);
    }
    if (crc != footer.crc) throw LoadError(std::string("changed, since its checksum differs") + cure);
    return vPoints;
}

[[noreturn]] void failAt(const fs::path& path, int code) {
    throw FileError(path.string() + ": " + std::generic_category().message(code) +
                    "; once that is cured, the same call goes on");
}

// Appends the bytes; bSync: and waits until all of the file is on the disk.
void appendTo(const fs::path& path, std::string_view bytes, bool bSync) {
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (descriptor < 0) failAt(path, errno);
    int code = 0;
    while (!bytes.empty() && code == 0) {
        const ssize_t num = ::write(descriptor, bytes.data(), bytes.size());
        if (num >= 0)
            bytes.remove_prefix(static_cast<std::size_t>(num));
        else if (errno != EINTR)
            code = errno;
    }
    if (code == 0 && bSync && ::fsync(descriptor) != 0 && errno != EINVAL && errno != EROFS) code = errno;
    if (::close(descriptor) != 0 && code == 0) code = errno;
    if (code != 0) failAt(path, code);
}

constexpr const char* partPrefix = ".parts-";

// -1 if another process holds it.
int lockOf(const fs::path& folder) {
    const int lock = ::open((folder / "lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (lock >= 0 && ::flock(lock, LOCK_EX | LOCK_NB) == 0) return lock;
    if (lock >= 0) ::close(lock);
    return -1;
}

}  // namespace

std::vector<Point3> readTilePoints(const fs::path& job, uint64 digest, std::uint32_t tile) {
    const fs::path path = pointsPath(job, tile);
    try {
        return readAll(InputFile(path.string()), digest, tile);
    } catch (const LoadError& error) {
        throw FileError(path.string() + ": " + error.what());
    }
}

TilePointWriter::TilePointWriter(const fs::path& jobFolder, uint64 planDigest, std::vector<std::uint32_t> tiles,
                                 std::size_t numBytes)
    : job(jobFolder), digest(planDigest), vTiles(std::move(tiles)), vTargets(vTiles.size()) {
    constexpr std::size_t least = std::size_t{1} << 12, most = std::size_t{4} << 20;
    bufferBytes = std::clamp(numBytes / std::max<std::size_t>(vTiles.size(), 1), least, most);
    removeLeftovers();
    makeFolder();
    for (Target& target : vTargets) target.buffer = fileMark;
}

TilePointWriter::~TilePointWriter() {
    std::error_code ignored;
    if (!folder.empty()) fs::remove_all(folder, ignored);
    if (lock >= 0) ::close(lock);
}

// Those that nobody holds the lock of.
void TilePointWriter::removeLeftovers() const {
    std::error_code error;
    std::vector<fs::path> vFolders;
    for (fs::directory_iterator it(job / "points", error), end; !error && it != end; it.increment(error))
        if (it->path().filename().string().starts_with(partPrefix)) vFolders.push_back(it->path());
    for (const fs::path& left : vFolders) {
        const int held = lockOf(left);
        if (held < 0) continue;
        fs::remove_all(left, error);
        ::close(held);
    }
}

void TilePointWriter::makeFolder() {
    std::string pattern = (job / "points" / (std::string(partPrefix) + "XXXXXX")).string();
    if (!::mkdtemp(pattern.data())) failAt(pattern, errno);
    folder = pattern;
    // A file system that knows no locks leaves what a killed run wrote to people.
    lock = lockOf(folder);
}

fs::path TilePointWriter::partOf(std::size_t k) const {
    return folder / std::to_string(vTiles[k]);
}

void TilePointWriter::add(std::size_t k, const Point3& point) {
    Target& target = vTargets[k];
    if (target.buffer.size() + pointBytes > bufferBytes) flush(k);
    if (target.buffer.capacity() < bufferBytes) target.buffer.reserve(bufferBytes);
    appendPoint(target.buffer, point);
    ++target.numPoints;
}

void TilePointWriter::flush(std::size_t k) {
    Target& target = vTargets[k];
    const std::string_view bytes = target.buffer;
    appendTo(partOf(k), bytes, false);
    const std::size_t skipped = target.sum.numBytes == 0 ? fileMark.size() : 0;
    target.pointsCrc = crc32c(bytes.substr(skipped), target.pointsCrc);
    target.sum.crc = crc32c(bytes, target.sum.crc);
    target.sum.numBytes += bytes.size();
    target.buffer.clear();
    pollRun(0);
}

void TilePointWriter::complete(std::size_t k, double seconds) {
    flush(k);
    Target& target = vTargets[k];
    const Footer footer = {digest, target.numPoints, vTiles[k], target.pointsCrc};
    const std::string_view bytes(reinterpret_cast<const char*>(&footer), sizeof(footer));
    appendTo(partOf(k), bytes, true);
    target.sum.crc = crc32c(bytes, target.sum.crc);
    target.sum.numBytes += bytes.size();
    const fs::path path = pointsPath(job, vTiles[k]);
    std::error_code error;
    fs::rename(partOf(k), path, error);
    if (error) throw FileError(path.string() + ": " + error.message());
    writeRecord(job, digest, {StepKind::POINTS, vTiles[k]}, {target.sum, target.numPoints, 0, 0, seconds});
    std::string().swap(target.buffer);
}

void TilePointWriter::finish(double seconds) {
    for (std::size_t k = 0; k < vTargets.size(); ++k)
        complete(k, seconds / static_cast<double>(std::max<std::size_t>(vTargets.size(), 1)));
}

}  // namespace QUOR_ZEF
