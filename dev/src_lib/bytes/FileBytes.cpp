#include "bytes/FileBytes.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <system_error>
#include <utility>

#include "frame/Progress.h"
#include "frame/Run.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t hugePage = std::size_t{2} << 20;
constexpr std::size_t readBlock = std::size_t{1} << 22;  // short enough to cancel between two
constexpr std::size_t growth = std::size_t{1} << 20;

// Closes the file, also when an exception passes.
struct Descriptor {
    int number;
    ~Descriptor() {
        if (number >= 0) ::close(number);
    }
};

std::size_t roundUp(std::size_t num, std::size_t step) {
    return (num + step - 1) / step * step;
}

}  // namespace

bool FileBytes::load(const std::string& name) {
    const Descriptor file{::open(name.c_str(), O_RDONLY | O_CLOEXEC)};
    return file.number < 0 ? fail(errno) : load(file.number);
}

bool FileBytes::load(int descriptor) {
    struct ::stat info {};
    if (::fstat(descriptor, &info) != 0) return fail(errno);
    if (S_ISDIR(info.st_mode)) return fail(EISDIR);
    return readAll(descriptor, S_ISREG(info.st_mode) ? static_cast<std::size_t>(info.st_size) : 0);
}

// One byte more than expected is asked for, so that the end is seen without
// growing; a file that changes its size meanwhile is read to where it ends.
bool FileBytes::readAll(int descriptor, std::size_t expected) {
    if (!grow(expected + 1)) return false;
    OptionalStage stage("IO_load", expected);
    for (;;) {
        pollRun(0);
        if (size == capacity && !grow(capacity + capacity / 2 + growth)) return false;
        const ssize_t num = ::read(descriptor, pData.get() + size, std::min(capacity - size, readBlock));
        if (num == 0) return true;
        if (num > 0) {
            size += static_cast<std::size_t>(num);
            stage.tick(static_cast<uint64>(num));
        } else if (errno != EINTR) {
            return fail(errno);
        }
    }
}

bool FileBytes::grow(std::size_t newCapacity) {
    const bool bHuge = newCapacity >= hugePage;
    const std::size_t rounded = roundUp(newCapacity, bHuge ? hugePage : 64);
    const auto alignment = static_cast<std::align_val_t>(bHuge ? hugePage : 64);
    std::unique_ptr<char, Free> pNew(static_cast<char*>(::operator new(rounded, alignment, std::nothrow)), {alignment});
    if (!pNew) return fail(ENOMEM);
    if (bHuge) adviseHugePages(pNew.get(), rounded);
    if (size > 0) std::memcpy(pNew.get(), pData.get(), size);
    pData = std::move(pNew);
    capacity = newCapacity;
    return true;
}

bool FileBytes::fail(int code) {
    error = std::generic_category().message(code);
    return false;
}

std::size_t memoryLimit(std::size_t fileSize) {
    return fileSize * 16 + (std::size_t{1} << 20);
}

void adviseHugePages(void* pMemory, std::size_t numBytes) {
    const auto address = reinterpret_cast<std::uintptr_t>(pMemory);
    const std::uintptr_t first = roundUp(address, hugePage);
    const std::uintptr_t last = (address + numBytes) / hugePage * hugePage;
    // Only a hint: where it is refused, everything works as before.
    if (last <= first) return;
    static_cast<void>(::madvise(static_cast<char*>(pMemory) + (first - address), last - first, MADV_HUGEPAGE));
}

void reserveMore(std::vector<Point3>& vPoints, std::size_t num) {
    const std::size_t needed = vPoints.size() + num;
    if (needed <= vPoints.capacity()) return;
    vPoints.reserve(std::max(needed, vPoints.size() + vPoints.size() / 4));
    adviseHugePages(vPoints.data() + vPoints.size(), (vPoints.capacity() - vPoints.size()) * sizeof(Point3));
}

}  // namespace QUOR_ZEF
