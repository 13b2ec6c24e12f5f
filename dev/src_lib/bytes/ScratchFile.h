#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace QUOR_ZEF {

// Bytes that are put aside on the disk, in a file without a name, which vanishes however the process ends. Throws
// FileErrors that name the folder. One thread at a time.
class ScratchFile {
public:
    explicit ScratchFile(const std::filesystem::path& folder_);
    ~ScratchFile();
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;

    void write(std::uint64_t place, std::span<const char> bytes);
    // All of them must have been written.
    void read(std::uint64_t place, std::span<char> bytes) const;

private:
    std::filesystem::path folder;
    int descriptor = -1;

    [[noreturn]] void fail(int code) const;
};

// Values of one kind on such a file, by number.
template <class T>
class DiskArray {
public:
    explicit DiskArray(const std::filesystem::path& folder) : file(folder) {}

    void write(std::uint64_t first, std::span<const T> values) {
        file.write(first * sizeof(T), {reinterpret_cast<const char*>(values.data()), values.size_bytes()});
    }
    void read(std::uint64_t first, std::span<T> values) const {
        file.read(first * sizeof(T), {reinterpret_cast<char*>(values.data()), values.size_bytes()});
    }

private:
    ScratchFile file;
};

}  // namespace QUOR_ZEF
