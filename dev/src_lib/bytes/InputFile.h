#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace QUOR_ZEF {

// A file whose parts are read as they are needed, so that it may be larger than memory. Pipes
// and devices, which have no places to go to, are held in memory as a whole.
class InputFile {
public:
    // Throws a LoadError if the file cannot be opened.
    explicit InputFile(const std::string& path);
    // Of bytes that are in memory already, and must stay there.
    static InputFile of(std::string_view bytes) { return InputFile(bytes, nullptr); }
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    std::uint64_t getSize() const { return size; }

    // Fills all of out with the bytes from this place on. A LoadError if the file ends before,
    // or cannot be read. From any threads at once.
    void read(std::uint64_t place, std::span<char> out) const;

    // All bytes, held in memory from now on. A LoadError as above. One thread.
    std::string_view hold();

private:
    struct Source;
    InputFile(std::string_view bytes, std::nullptr_t);
    std::string name;
    std::unique_ptr<Source> pSource;
    std::uint64_t size = 0;
};

}  // namespace QUOR_ZEF
